#include "desktop/views/WindowPlace.h"

#include <QApplication>
#include <QEvent>
#include <QGuiApplication>
#include <QScreen>
#include <QStringList>
#include <QVariant>
#include <QWidget>
#include <algorithm>
#include <optional>
#include <utility>

#include "desktop/views/ViewMemory.h"

namespace pellora {

namespace {

constexpr const char* kPlace = "place";
constexpr const char* kWidth = "width";
constexpr const char* kMaximised = "maximised";
// In this time after the showing it is the desktop that places the window, not the user.
constexpr qint64 kSettled = 1000;  // ms
constexpr int kLargest = 32767;
// On no screen.
constexpr QPoint kNowhere(-kLargest, -kLargest);

// "left,top,width,height", and whether it is maximised.
struct Remembered {
  QRect place;
  bool maximised = false;
};

std::optional<Remembered> Read(const std::string& text) {
  const QStringList parts = QString::fromStdString(text).split(u',');
  if (parts.size() < 4) return std::nullopt;
  int numbers[4] = {};
  for (int at = 0; at < 4; ++at) {
    bool whole = false;
    numbers[at] = parts[at].toInt(&whole);
    if (!whole || numbers[at] < -kLargest || numbers[at] > kLargest) return std::nullopt;
  }
  if (numbers[2] <= 0 || numbers[3] <= 0) return std::nullopt;
  return Remembered{QRect(numbers[0], numbers[1], numbers[2], numbers[3]),
                    parts.size() > 4 && parts[4] == QLatin1String(kMaximised)};
}

std::string Written(const QRect& place, bool maximised) {
  QString text = QStringLiteral("%1,%2,%3,%4").arg(place.x()).arg(place.y()).arg(place.width()).arg(place.height());
  if (maximised) text += QStringLiteral(",") + QLatin1String(kMaximised);
  return text.toStdString();
}

// The place within the screen on which most of it is; nothing if it is on none.
std::optional<QRect> OnScreen(QRect place) {
  QRect screen;
  qint64 most = 0;
  for (const QScreen* const each : QGuiApplication::screens()) {
    const QRect shared = each->availableGeometry() & place;
    const qint64 area = shared.isEmpty() ? 0 : qint64{shared.width()} * shared.height();
    if (area <= most) continue;
    most = area;
    screen = each->availableGeometry();
  }
  if (most == 0) return std::nullopt;
  place.setSize(place.size().boundedTo(screen.size() - kFrame));
  const QSize whole = place.size() + kFrame;
  place.moveLeft(std::clamp(place.left(), screen.left(), screen.right() - whole.width() + 1));
  place.moveTop(std::clamp(place.top(), screen.top(), screen.bottom() - whole.height() + 1));
  return place;
}

}  // namespace

bool DesktopPlacesWindows() { return QGuiApplication::platformName().startsWith(QLatin1String("wayland")); }

void PlaceOverActiveWindow(QWidget& dialog, const QSize& size) {
  const QWidget* const active = QApplication::activeWindow();
  if (active == nullptr || active == &dialog || DesktopPlacesWindows() || QGuiApplication::screens().size() < 2) return;
  QRect place(QPoint(), size);
  place.moveCenter(active->frameGeometry().center());
  if (const std::optional<QRect> seen = OnScreen(place)) dialog.move(seen->topLeft());
}

WindowPlace::WindowPlace(QWidget& form, const std::string& name, ViewMemory& memory)
    : form_(form),
      memory_(memory),
      key_(name + ".place"),
      kind_(form.property("remembers").toString().toStdString()),
      corner_(kNowhere) {}

void WindowPlace::Restore() {
  if (kind_.empty()) return;
  const std::optional<Remembered> kept = Read(memory_.Get(key_).value_or(""));
  if (!kept) return;
  corner_ = kept->place.topLeft();
  if (kind_ == kWidth) {
    form_.resize(std::min(kept->place.width(), form_.screen()->availableSize().width()), form_.height());
    return;
  }
  const std::optional<QRect> place = OnScreen(kept->place);
  form_.resize(place ? place->size() : kept->place.size().boundedTo(form_.screen()->availableSize() - kFrame));
  if (kind_ != kPlace) return;
  moved_ = place && !DesktopPlacesWindows() && !IsOnAnother(*place);
  if (moved_) form_.move(place->topLeft());
  if (kept->maximised) form_.setWindowState(form_.windowState() | Qt::WindowMaximized);
  normal_ = place.value_or(QRect());
}

void WindowPlace::StayOnScreen() {
  if (!moved_ || form_.isMaximized() || form_.isFullScreen()) return;
  const std::optional<QRect> place = OnScreen(QRect(form_.pos(), form_.size()));
  if (place && place->topLeft() != form_.pos()) form_.move(place->topLeft());
}

bool WindowPlace::IsOnAnother(const QRect& place) const {
  const QWidgetList windows = QApplication::topLevelWidgets();
  return std::any_of(windows.begin(), windows.end(), [&](const QWidget* other) {
    return other != &form_ && other->isVisible() && other->objectName() == form_.objectName() &&
           other->pos() == place.topLeft();
  });
}

void WindowPlace::Watch(const QEvent& event) {
  switch (event.type()) {
    case QEvent::Show:
      if (!event.spontaneous()) shown_.start();
      return;
    case QEvent::Hide:
      if (!event.spontaneous()) shown_.invalidate();
      moved_ = false;
      return;
    case QEvent::Move:
    case QEvent::Resize:
      // One that grows before its frame is known is taken there without it.
      if (shown_.isValid() && shown_.elapsed() < kSettled) StayOnScreen();
      return Remember();
    case QEvent::WindowStateChange:
      return Remember();
    default:
      return;
  }
}

// The frame's position, and the size without it, as they are set again.
void WindowPlace::Remember() {
  if (kind_.empty() || !shown_.isValid() || form_.isMinimized() || form_.isFullScreen()) return;
  if (!form_.isMaximized()) normal_ = QRect(form_.pos(), form_.size());
  if (shown_.elapsed() < kSettled) return;
  QRect place = normal_.isValid() ? normal_ : form_.normalGeometry();
  if (DesktopPlacesWindows()) place.moveTopLeft(corner_);
  if (place.isValid()) memory_.Set(key_, Written(place, form_.isMaximized()));
}

}  // namespace pellora
