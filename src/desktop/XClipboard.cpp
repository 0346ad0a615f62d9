#include "desktop/XClipboard.h"

#include <poll.h>
#include <xcb/xcb.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace pellora {

namespace {

using Clock = std::chrono::steady_clock;

template <class Reply>
using Owned = std::unique_ptr<Reply, void (*)(void*)>;
using Event = Owned<xcb_generic_event_t>;

constexpr int kSent = 0x80;  // marks the kind of an event that a client has sent

// One request for the selection, by the Inter-Client Communication Conventions Manual 2.0, sections 2.4 and 2.7.2.
class Request {
 public:
  Request(xcb_connection_t& display, std::size_t limit, std::chrono::milliseconds patience)
      : display_(display), limit_(limit), end_(Clock::now() + patience) {}

  XClipboardText Read() {
    clipboard_ = Atom("CLIPBOARD");
    utf8_ = Atom("UTF8_STRING");
    pieces_ = Atom("INCR");
    place_ = Atom("PELLORA_CLIPBOARD");
    if (xcb_connection_has_error(&display_) != 0) return {.offered = false, .text = {}};
    CreateWindow();
    xcb_convert_selection(&display_, window_, clipboard_, utf8_, place_, XCB_CURRENT_TIME);
    const Event answer = Wait([](const xcb_generic_event_t& event) { return Kind(event) == XCB_SELECTION_NOTIFY; });
    if (!answer) return {};
    if (reinterpret_cast<const xcb_selection_notify_event_t&>(*answer).property == XCB_ATOM_NONE) {
      return {.offered = false, .text = {}};
    }
    const auto whole = TakeProperty();
    if (!whole) return {};
    if (whole->type == pieces_) return {.text = TakePieces()};
    return {.text = std::string(TextOf(*whole))};
  }

 private:
  static int Kind(const xcb_generic_event_t& event) { return event.response_type & ~kSent; }
  static std::string_view TextOf(const xcb_get_property_reply_t& reply) {
    return {static_cast<const char*>(xcb_get_property_value(&reply)),
            static_cast<std::size_t>(xcb_get_property_value_length(&reply))};
  }

  xcb_atom_t Atom(std::string_view name) {
    const auto cookie = xcb_intern_atom(&display_, 0, static_cast<std::uint16_t>(name.size()), name.data());
    const Owned<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(&display_, cookie, nullptr), std::free);
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
  }

  void CreateWindow() {
    const xcb_screen_t* const screen = xcb_setup_roots_iterator(xcb_get_setup(&display_)).data;
    const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
    window_ = xcb_generate_id(&display_);
    xcb_create_window(&display_, XCB_COPY_FROM_PARENT, window_, screen->root, 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &events);
  }

  // The next such event; null once the patience is over.
  template <class Wanted>
  Event Wait(Wanted wanted) {
    xcb_flush(&display_);
    while (xcb_connection_has_error(&display_) == 0) {
      Event event(xcb_poll_for_event(&display_), std::free);
      if (event && wanted(*event)) return event;
      if (event) continue;
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end_ - Clock::now());
      if (left.count() <= 0) break;
      pollfd readable{xcb_get_file_descriptor(&display_), POLLIN, 0};
      poll(&readable, 1, static_cast<int>(left.count()));
    }
    return {nullptr, std::free};
  }

  // Deletes it too, which asks for the next piece; null if it is too long.
  Owned<xcb_get_property_reply_t> TakeProperty() {
    const auto most = static_cast<std::uint32_t>(limit_ / 4 + 1);  // in units of four bytes
    const auto cookie = xcb_get_property(&display_, 1, window_, place_, XCB_ATOM_ANY, 0, most);
    Owned<xcb_get_property_reply_t> reply(xcb_get_property_reply(&display_, cookie, nullptr), std::free);
    if (reply && (reply->bytes_after > 0 || TextOf(*reply).size() > limit_)) reply.reset();
    return reply;
  }

  std::optional<std::string> TakePieces() {
    std::string text;
    while (text.size() <= limit_) {
      const Event piece = Wait([this](const xcb_generic_event_t& event) {
        const auto& change = reinterpret_cast<const xcb_property_notify_event_t&>(event);
        return Kind(event) == XCB_PROPERTY_NOTIFY && change.atom == place_ && change.state == XCB_PROPERTY_NEW_VALUE;
      });
      const auto reply = piece ? TakeProperty() : Owned<xcb_get_property_reply_t>(nullptr, std::free);
      if (!reply) return std::nullopt;
      if (TextOf(*reply).empty()) return text;
      text += TextOf(*reply);
    }
    return std::nullopt;
  }

  xcb_connection_t& display_;
  const std::size_t limit_;
  const Clock::time_point end_;
  xcb_window_t window_ = XCB_WINDOW_NONE;
  xcb_atom_t clipboard_ = XCB_ATOM_NONE;
  xcb_atom_t utf8_ = XCB_ATOM_NONE;
  xcb_atom_t pieces_ = XCB_ATOM_NONE;
  xcb_atom_t place_ = XCB_ATOM_NONE;  // the property in which the text arrives
};

}  // namespace

XClipboardText ReadXClipboard(std::size_t limit, std::chrono::milliseconds patience) {
  const std::unique_ptr<xcb_connection_t, void (*)(xcb_connection_t*)> display(xcb_connect(nullptr, nullptr),
                                                                               xcb_disconnect);
  if (xcb_connection_has_error(display.get()) != 0) return {.offered = false, .text = {}};
  return Request(*display, limit, patience).Read();
}

}  // namespace pellora
