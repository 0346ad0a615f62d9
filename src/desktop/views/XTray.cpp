#include "desktop/views/XTray.h"

#include <xcb/xcb.h>

#include <QGuiApplication>
#include <cstdlib>
#include <memory>
#include <string>

namespace pellora {

namespace {

template <class Reply>
using Owned = std::unique_ptr<Reply, void (*)(void*)>;

int ScreenNumber() {
  char* host = nullptr;
  int display = 0;
  int screen = 0;
  if (xcb_parse_display(nullptr, &host, &display, &screen) == 0) return 0;
  const Owned<char> owned(host, std::free);
  return screen;
}

}  // namespace

bool HasXTray() {
  auto* const x = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
  if (x == nullptr || x->connection() == nullptr) return false;
  xcb_connection_t* const display = x->connection();
  // A tray owns the selection of its screen.
  const std::string name = "_NET_SYSTEM_TRAY_S" + std::to_string(ScreenNumber());
  const auto request = xcb_intern_atom(display, 1, static_cast<std::uint16_t>(name.size()), name.c_str());
  const Owned<xcb_intern_atom_reply_t> atom(xcb_intern_atom_reply(display, request, nullptr), std::free);
  if (!atom || atom->atom == XCB_ATOM_NONE) return false;  // no client has ever used the name
  const auto owner = xcb_get_selection_owner(display, atom->atom);
  const Owned<xcb_get_selection_owner_reply_t> reply(xcb_get_selection_owner_reply(display, owner, nullptr), std::free);
  return reply && reply->owner != XCB_WINDOW_NONE;
}

}  // namespace pellora
