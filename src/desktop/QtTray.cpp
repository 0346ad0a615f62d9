#include "desktop/QtTray.h"

#include <QAction>
#include <algorithm>

#include "desktop/DisplayText.h"
#include "desktop/ProgramIcon.h"

namespace pellora {

QtTray::QtTray() {
  for (std::size_t level = 0; level < icons_.size(); ++level) {
    for (const int size : {16, 24, 32, 48}) icons_[level].addPixmap(ProgramIcon(size, static_cast<int>(level)));
  }
  icon_.setIcon(icons_[0]);
  icon_.setContextMenu(&menu_);
  QObject::connect(&icon_, &QSystemTrayIcon::activated, &icon_, [this](QSystemTrayIcon::ActivationReason reason) {
    if (reason == QSystemTrayIcon::DoubleClick && defaultAction_) defaultAction_();
  });
}

void QtTray::AddEntry(std::function<std::string()> text, std::function<void()> action) {
  QAction* const entry = menu_.addAction(DisplayText(text()));
  QObject::connect(entry, &QAction::triggered, entry, [action = std::move(action)] { action(); });
  QObject::connect(&menu_, &QMenu::aboutToShow, entry,
                   [entry, text = std::move(text)] { entry->setText(DisplayText(text())); });
}

void QtTray::Show() {
  if (QSystemTrayIcon::isSystemTrayAvailable()) icon_.show();
}

void QtTray::SetTip(const std::string& text) {
  // Each change goes over the bus to the desktop; most ticks change nothing.
  const QString tip = DisplayText(text);
  if (tip != icon_.toolTip()) icon_.setToolTip(tip);
}

void QtTray::SetLevel(int level) {
  const int wanted = std::clamp(level, 0, static_cast<int>(icons_.size()) - 1);
  if (wanted == level_) return;
  level_ = wanted;
  icon_.setIcon(icons_[static_cast<std::size_t>(wanted)]);
}

}  // namespace pellora
