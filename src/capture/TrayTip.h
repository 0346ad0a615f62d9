// TrayTip: a text as the tray icon's tip can hold it.
#pragma once

#include <string>
#include <string_view>

namespace pellora {

// At most 64 characters, cut between code points, and nothing behind a NUL.
std::string TrayTip(std::string_view text);

}  // namespace pellora
