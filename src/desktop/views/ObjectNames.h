// ObjectNames: the widget name for a control's name. Not every control name is a valid member of a form, which is a C++
// class.
#pragma once

#include <QString>
#include <string>

namespace pellora {

// "Prog(0)" is "Prog_0"; a name that is a C++ keyword ("delete") is "menu_delete".
QString ObjectName(const std::string& controlName);

}  // namespace pellora
