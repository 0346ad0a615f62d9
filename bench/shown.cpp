// Measures when a program's window is shown: starts the program and watches the display.
//
//   shown CLASS SECONDS PROGRAM [ARGUMENT...]
//
// Prints the milliseconds from the start of the process until its first window of that class is mapped, until it has
// painted something, and until the middle of it (where the lists are) looks as it does at the end. After SECONDS the
// program is ended by SIGTERM.
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds kPollInterval{4};  // between two looks at the window

struct Free {
  void operator()(void* reply) const { std::free(reply); }
};
template <class Reply>
using Owned = std::unique_ptr<Reply, Free>;

[[noreturn]] void Die(std::string_view what) {
  std::cerr << "shown: " << what << "\n";
  std::exit(1);
}

class Display {
 public:
  Display() : connection_(xcb_connect(nullptr, nullptr)) {
    if (xcb_connection_has_error(connection_) != 0) Die("no display");
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
    Select(screen->root, XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY);
  }
  ~Display() { xcb_disconnect(connection_); }
  Display(const Display&) = delete;
  Display& operator=(const Display&) = delete;

  // The next window of that class mapped meanwhile, or 0. Window managers put windows into frames, so each window is
  // checked itself.
  xcb_window_t Mapped(std::string_view className) {
    while (const Owned<xcb_generic_event_t> event{xcb_poll_for_event(connection_)}) {
      const int type = event->response_type & 0x7F;
      if (type == XCB_CREATE_NOTIFY) {
        Select(reinterpret_cast<const xcb_create_notify_event_t*>(event.get())->window,
               XCB_EVENT_MASK_STRUCTURE_NOTIFY);
      } else if (type == XCB_MAP_NOTIFY) {
        const auto& map = *reinterpret_cast<const xcb_map_notify_event_t*>(event.get());
        if (map.override_redirect == 0 && ClassOf(map.window) == className) return map.window;
      }
    }
    return 0;
  }

  // The pixels in the middle of the window; empty while they cannot be read.
  std::string Look(xcb_window_t window) {
    const Owned<xcb_get_geometry_reply_t> size{
        xcb_get_geometry_reply(connection_, xcb_get_geometry(connection_, window), nullptr)};
    if (!size) return {};
    const auto part = [](int whole, int percent) { return static_cast<std::uint16_t>(whole * percent / 100); };
    const Owned<xcb_get_image_reply_t> image{xcb_get_image_reply(
        connection_,
        xcb_get_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, window, static_cast<std::int16_t>(part(size->width, 2)),
                      static_cast<std::int16_t>(part(size->height, 20)), part(size->width, 60), part(size->height, 70),
                      ~0U),
        nullptr)};
    if (!image) return {};
    return {reinterpret_cast<const char*>(xcb_get_image_data(image.get())),
            static_cast<std::size_t>(xcb_get_image_data_length(image.get()))};
  }

 private:
  void Select(xcb_window_t window, std::uint32_t events) {
    xcb_change_window_attributes(connection_, window, XCB_CW_EVENT_MASK, &events);
    xcb_flush(connection_);
  }

  // The second word of WM_CLASS.
  std::string ClassOf(xcb_window_t window) {
    const Owned<xcb_get_property_reply_t> reply{xcb_get_property_reply(
        connection_, xcb_get_property(connection_, 0, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, 64), nullptr)};
    if (!reply) return {};
    const std::string both(static_cast<const char*>(xcb_get_property_value(reply.get())),
                           static_cast<std::size_t>(xcb_get_property_value_length(reply.get())));
    const std::size_t second = both.find('\0') + 1;
    return second == 0 ? std::string() : std::string(both.c_str() + second);
  }

  xcb_connection_t* connection_;
};

double Milliseconds(Clock::time_point from, Clock::time_point to) {
  return std::chrono::duration<double, std::milli>(to - from).count();
}

struct Look {
  Clock::time_point at;
  std::string picture;
};

// A mapped window that is not painted yet has one colour.
bool HasContent(std::string_view picture) {
  return picture.size() > 4 && picture.substr(4) != picture.substr(0, picture.size() - 4);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) Die("usage: shown CLASS SECONDS PROGRAM [ARGUMENT...]");
  Display display;
  display.Mapped("");
  const auto began = Clock::now();
  const pid_t child = fork();
  if (child < 0) Die("no process");
  if (child == 0) {
    execv(argv[3], argv + 3);
    _exit(127);
  }
  const auto end = began + std::chrono::milliseconds(static_cast<std::int64_t>(std::strtod(argv[2], nullptr) * 1000));
  xcb_window_t window = 0;
  Clock::time_point mapped;
  std::vector<Look> looks;  // from the first with content, one for each change
  for (auto now = began; now < end; now = Clock::now()) {
    if (window == 0) {
      window = display.Mapped(argv[1]);
      mapped = Clock::now();
    }
    if (window != 0) {
      Look look{Clock::now(), display.Look(window)};
      const bool changed = looks.empty() ? HasContent(look.picture) : looks.back().picture != look.picture;
      if (changed && !look.picture.empty()) looks.push_back(std::move(look));
    }
    std::this_thread::sleep_for(window == 0 ? std::chrono::milliseconds(1) : kPollInterval);
  }
  kill(child, SIGTERM);
  int status = 0;
  waitpid(child, &status, 0);
  if (looks.empty()) Die("no window was shown");
  std::cout << Milliseconds(began, mapped) << " " << Milliseconds(began, looks.front().at) << " "
            << Milliseconds(began, looks.back().at) << "\n";
}
