// QtTray: the icon in the notification area. Without such an area it does nothing; the program then stays
// reachable by a second start.
#pragma once

#include <QIcon>
#include <QMenu>
#include <QSystemTrayIcon>
#include <array>
#include <functional>

#include "platform/Desktop.h"

namespace pellora {

class QtTray final : public Tray {
 public:
  QtTray();

  // What a left double click does.
  void SetDefaultAction(std::function<void()> action) { defaultAction_ = std::move(action); }
  // Adds a menu entry; `text` is asked anew each time the menu opens, "&" marks the access key.
  void AddEntry(std::function<std::string()> text, std::function<void()> action);
  // Shows the icon if there is a notification area. Asks the desktop and may take a while: once, at start.
  void Show();

  void SetTip(const std::string& text) override;
  void SetLevel(int level) override;

 private:
  std::array<QIcon, 5> icons_;
  QMenu menu_;
  QSystemTrayIcon icon_;
  std::function<void()> defaultAction_;
  int level_ = 0;
};

}  // namespace pellora
