// XTray: whether the X display has a tray, by the freedesktop.org System Tray Protocol.
#pragma once

namespace pellora {

// Only on the platform "xcb". Asks the display and waits for its answer.
bool XTrayStands();

}  // namespace pellora
