// DisplayText: bytes of the program as text for people: UTF-8, or Windows-1252 where they are not valid UTF-8.
#pragma once

#include <QString>
#include <string_view>

namespace pellora {

// Without NUL characters, which neither the bus nor a label takes.
QString DisplayText(std::string_view bytes);

}  // namespace pellora
