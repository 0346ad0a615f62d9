// XTray: whether the X display has a tray, by the freedesktop.org System Tray Protocol.
#pragma once

namespace pellora {

// Only on the platform "xcb". Queries the display and waits for its reply.
bool HasXTray();

}  // namespace pellora
