// TrayTip: a text cut to what the tray icon's tip can hold. The text comes from MainWindow::ShowSpeed.
#pragma once

#include <string>
#include <string_view>

namespace pellora {

// At most 64 characters, cut between code points, up to the first NUL.
std::string TrayTip(std::string_view text);

}  // namespace pellora
