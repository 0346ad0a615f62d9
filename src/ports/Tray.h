// Tray: the program's one icon in the desktop's notification area. Without such an area every call does nothing; an
// area that appears later shows the icon.
#pragma once

#include <string>

namespace pellora {

// Mouse events on the icon; the values are those of the window messages.
enum TrayMouse : int {
  kTrayMove = 512,
  kTrayLeftDown = 513,
  kTrayLeftUp = 514,
  kTrayLeftDoubleClick = 515,
  kTrayRightDown = 516,
};

class TrayEvents {
 public:
  // A desktop that opens the icon's menu itself reports no right button.
  virtual void TrayMouseEvent(int message) = 0;

 protected:
  ~TrayEvents() = default;
};

class Tray {
 public:
  virtual ~Tray() = default;
  // `picture` names one of the program's drawings; `tip` is plain text; `events` outlives the icon. The icon's menu
  // is made of the menu entries of the window of type "PelloraCatcher", in their order.
  virtual void Add(const std::string& picture, const std::string& tip, TrayEvents& events) = 0;
  virtual void SetPicture(const std::string& picture) = 0;
  virtual void SetTip(const std::string& tip) = 0;
  // No event follows.
  virtual void Delete() = 0;
};

}  // namespace pellora
