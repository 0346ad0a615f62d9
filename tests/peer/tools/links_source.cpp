// Drops a list of links onto a window, offered only as text/uri-list, which no toolkit's drag does:
// links_source WINDOW X Y LIST
// WINDOW is a number of the X server, X and Y are screen coordinates. Prints 1 if the drop was accepted, otherwise 0.
#include <poll.h>
#include <xcb/xcb.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>

namespace {

using Event = std::unique_ptr<xcb_generic_event_t, void (*)(void*)>;
using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kVersion = 5;  // of the XDND protocol
constexpr auto kTimeout = std::chrono::seconds(60);

class Drag {
 public:
  Drag(xcb_connection_t* display, xcb_window_t target, std::string list)
      : display_(display), target_(target), list_(std::move(list)), source_(xcb_generate_id(display)) {
    const xcb_screen_t* const screen = xcb_setup_roots_iterator(xcb_get_setup(display)).data;
    xcb_create_window(display_, XCB_COPY_FROM_PARENT, source_, screen->root, 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, 0, nullptr);
    xcb_set_selection_owner(display_, source_, Atom("XdndSelection"), XCB_CURRENT_TIME);
  }

  // Whether the target accepted the drop at that position.
  bool Drop(std::uint32_t x, std::uint32_t y) {
    Send("XdndEnter", kVersion << 24U, links_, 0, 0);
    Send("XdndPosition", 0, x << 16U | y, XCB_CURRENT_TIME, Atom("XdndActionCopy"));
    const std::optional<std::uint32_t> status = Answer("XdndStatus");
    if (!status || (*status & 1U) == 0) return false;
    Send("XdndDrop", 0, XCB_CURRENT_TIME, 0, 0);
    const std::optional<std::uint32_t> finished = Answer("XdndFinished");
    return finished && (*finished & 1U) != 0;
  }

 private:
  xcb_atom_t Atom(const char* name) {
    const auto cookie = xcb_intern_atom(display_, 0, static_cast<std::uint16_t>(std::strlen(name)), name);
    const std::unique_ptr<xcb_intern_atom_reply_t, void (*)(void*)> reply(
        xcb_intern_atom_reply(display_, cookie, nullptr), std::free);
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
  }

  void Send(const char* message, std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d) {
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = target_;
    event.type = Atom(message);
    const std::uint32_t data[] = {source_, a, b, c, d};
    std::memcpy(event.data.data32, data, sizeof data);
    xcb_send_event(display_, 0, target_, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&event));
    xcb_flush(display_);
  }

  // The flags in the target's message. Meanwhile sends the list on request.
  std::optional<std::uint32_t> Answer(const char* kind) {
    const xcb_atom_t wanted = Atom(kind);
    const auto end = Clock::now() + kTimeout;
    while (Clock::now() < end) {
      const Event event(xcb_poll_for_event(display_), std::free);
      if (!event) {
        pollfd readable{xcb_get_file_descriptor(display_), POLLIN, 0};
        poll(&readable, 1, 100);
        continue;
      }
      const int type = event->response_type & 0x7F;
      if (type == XCB_SELECTION_REQUEST) SendList(reinterpret_cast<xcb_selection_request_event_t&>(*event));
      if (type != XCB_CLIENT_MESSAGE) continue;
      const auto& message = reinterpret_cast<xcb_client_message_event_t&>(*event);
      if (message.type == wanted) return message.data.data32[1];
    }
    return std::nullopt;
  }

  void SendList(const xcb_selection_request_event_t& request) {
    const bool has = request.target == links_;
    if (has) {
      xcb_change_property(display_, XCB_PROP_MODE_REPLACE, request.requestor, request.property, request.target, 8,
                          static_cast<std::uint32_t>(list_.size()), list_.data());
    }
    xcb_selection_notify_event_t event{};
    event.response_type = XCB_SELECTION_NOTIFY;
    event.requestor = request.requestor;
    event.selection = request.selection;
    event.target = request.target;
    event.property = has ? request.property : xcb_atom_t{XCB_ATOM_NONE};
    xcb_send_event(display_, 0, request.requestor, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&event));
    xcb_flush(display_);
  }

  xcb_connection_t* display_;
  xcb_window_t target_;
  std::string list_;
  xcb_window_t source_;
  xcb_atom_t links_ = Atom("text/uri-list");
};

std::uint32_t Number(const char* text) { return static_cast<std::uint32_t>(std::strtoul(text, nullptr, 0)); }

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) return 2;
  const std::unique_ptr<xcb_connection_t, void (*)(xcb_connection_t*)> display(xcb_connect(nullptr, nullptr),
                                                                               xcb_disconnect);
  if (xcb_connection_has_error(display.get()) != 0) return 1;
  Drag drag(display.get(), Number(argv[1]), argv[4]);
  std::printf("%d\n", drag.Drop(Number(argv[2]), Number(argv[3])) ? 1 : 0);
  return 0;
}
