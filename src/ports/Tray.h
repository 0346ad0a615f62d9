// Tray: the program's one icon in the desktop's notification area. Where a desktop has none, every call
// does nothing; an area that comes later takes the icon up.
#pragma once

#include <string>

namespace pellora {

// What the mouse did on the icon, by the numbers of the window messages that these events are.
enum TrayMouse : int {
  kTrayMove = 512,
  kTrayLeftDown = 513,
  kTrayLeftUp = 514,
  kTrayLeftDoubleClick = 515,
  kTrayRightDown = 516,
};

class TrayEvents {
 public:
  // A desktop that opens the icon's menu by itself tells nothing of the right button.
  virtual void TrayMouseEvent(int message) = 0;

 protected:
  ~TrayEvents() = default;
};

class Tray {
 public:
  virtual ~Tray() = default;
  // Adds the icon, with the name of one of the program's drawings and a plain text. `events` outlives it.
  // Its menu is that of the window of type "PelloraCatcher": its menu entries in their order.
  virtual void Add(const std::string& picture, const std::string& tip, TrayEvents& events) = 0;
  virtual void SetPicture(const std::string& picture) = 0;
  virtual void SetTip(const std::string& tip) = 0;
  // No event comes from here on.
  virtual void Delete() = 0;
};

}  // namespace pellora
