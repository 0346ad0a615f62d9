// ObjectNames: the widget name that belongs to a control's name. The names of controls are those of the
// program; a form cannot hold all of them, since its widgets become members of a C++ class.
#pragma once

#include <QString>
#include <string>

namespace pellora {

// "Prog(0)" is "Prog_0"; a name that is a C++ keyword ("delete") is "menu_delete".
QString ObjectName(const std::string& controlName);

}  // namespace pellora
