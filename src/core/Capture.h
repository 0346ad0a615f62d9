// Capture: what the main window needs of the tray icon and the drop basket.
#pragma once

#include <string>

namespace pellora {

// The icon in the notification area and its hidden window.
class Catcher {
 public:
  virtual ~Catcher() = default;
  virtual void LoadWindow() = 0;                             // adds the icon
  virtual void refreshMessage(const std::string& text) = 0;  // the tip
  virtual void refreshIcon(int level) = 0;                   // 0 idle to 4 full speed
};

// The window that takes dropped links.
class Basket {
 public:
  virtual ~Basket() = default;
  virtual void SetShown(bool shown) = 0;
};

}  // namespace pellora
