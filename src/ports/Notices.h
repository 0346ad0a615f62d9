// Notices: short messages of the desktop, and what its taskbar shows on the program's entry. Where nobody shows them,
// every call does nothing.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace pellora {

struct Notice {
  struct Button {
    std::string key;  // not shown; "default" is a click on the message itself, for which most desktops show no button
    std::string caption;
  };
  std::string title;  // plain text, like all of it
  std::string text;   // lines apart by "\n"
  std::vector<Button> buttons;
  bool stopped = false;  // it names a download that has stopped by itself
};

struct TaskbarState {
  std::int64_t count = 0;       // 0: none is shown
  std::optional<double> share;  // 0 to 1; nothing: no progress is shown

  bool operator==(const TaskbarState&) const = default;
};

class Notices {
 public:
  virtual ~Notices() = default;
  // `chosen` comes in a later event, at most once, with the button's key.
  virtual void Show(const Notice& notice, std::function<void(const std::string& key)> chosen) = 0;
  virtual void ShowTaskbar(const TaskbarState& state) = 0;
};

}  // namespace pellora
