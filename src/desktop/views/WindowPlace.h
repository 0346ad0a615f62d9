// WindowPlace: remembers where a window is and how large. What of it is kept the form says by its property "remembers":
// "place" (and size), "size" or "width"; a form without it is not remembered.
//
// A window returns only to where it is on a screen, and not onto another one of its kind. Where the desktop places all
// windows, only sizes are restored and changed; the position stays what it was on another desktop.
#pragma once

#include <QElapsedTimer>
#include <QPoint>
#include <QRect>
#include <QSize>
#include <string>

class QEvent;
class QWidget;

namespace pellora {

class ViewMemory;

// Room for the desktop's window frame, whose size is unknown until the window is shown.
inline constexpr QSize kFrame(12, 44);

// On Wayland a program neither knows nor chooses where its windows are.
bool DesktopPlacesWindows();

// Before a dialog is shown: with several screens, puts it over the window that the user works in, if that is one of the
// program's. It does not belong to that window, with which the desktop would minimise it: a hidden message would block
// the program.
void PlaceOverActiveWindow(QWidget& dialog, const QSize& size);

class WindowPlace {
 public:
  // Both must outlive it. `name` is that of the window's class.
  WindowPlace(QWidget& form, const std::string& name, ViewMemory& memory);

  void Restore();                   // before the first showing
  void StayOnScreen();              // after the first showing, which may enlarge it for a while
  void Watch(const QEvent& event);  // each event of the form

 private:
  void Remember();
  bool IsOnAnother(const QRect& place) const;

  QWidget& form_;
  ViewMemory& memory_;
  const std::string key_;
  const std::string kind_;
  QPoint corner_;        // as it is remembered
  QRect normal_;         // as it is when neither maximised nor minimised
  bool moved_ = false;   // to the remembered place, before the showing
  QElapsedTimer shown_;  // since the window was shown; invalid while it is hidden
};

}  // namespace pellora
