// MenuKeys: F10 opens the menu bar of a window or closes the open menu, and Shift+F10 opens the menu of what has the
// focus, as on most desktops. Qt knows neither on X11 and Wayland, but only the Menu key, which many keyboards lack.
#pragma once

#include <QObject>

namespace pellora {

class MenuKeys : public QObject {
 public:
  // Heeds the keys of all windows as long as it exists.
  MenuKeys();

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;
};

}  // namespace pellora
