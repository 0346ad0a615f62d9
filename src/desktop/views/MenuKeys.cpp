#include "desktop/views/MenuKeys.h"

#include <QAction>
#include <QApplication>
#include <QContextMenuEvent>
#include <QEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QMenuBar>
#include <QWidget>

namespace pellora {

namespace {

// Like the Menu key.
void OpenMenuOf(QWidget& widget) {
  const QPoint place = widget.inputMethodQuery(Qt::ImCursorRectangle).toRect().center();
  QContextMenuEvent event(QContextMenuEvent::Keyboard, place, widget.mapToGlobal(place));
  QApplication::sendEvent(&widget, &event);
}

// With its first entry chosen.
bool OpenMenuBar(const QWidget& window) {
  auto* const bar = window.findChild<QMenuBar*>();
  if (bar == nullptr || !bar->isVisible()) return false;
  for (QAction* const action : bar->actions()) {
    if (!action->isVisible() || !action->isEnabled() || action->menu() == nullptr) continue;
    bar->setActiveAction(action);
    const QList<QAction*> entries = action->menu()->actions();
    if (!entries.isEmpty()) action->menu()->setActiveAction(entries.first());
    return true;
  }
  return false;
}

// With the menus that have opened it.
void CloseMenus() {
  while (auto* const menu = qobject_cast<QMenu*>(QApplication::activePopupWidget())) {
    if (!menu->close()) return;
  }
}

}  // namespace

MenuKeys::MenuKeys() { QCoreApplication::instance()->installEventFilter(this); }

bool MenuKeys::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() != QEvent::KeyPress) return false;
  auto* const widget = qobject_cast<QWidget*>(watched);
  const auto& key = static_cast<const QKeyEvent&>(*event);
  if (widget == nullptr || key.key() != Qt::Key_F10 || key.isAutoRepeat()) return false;
  if (const QWidget* const popup = QApplication::activePopupWidget()) {
    if (qobject_cast<const QMenu*>(popup) == nullptr || key.modifiers() != Qt::NoModifier) return false;
    CloseMenus();
    return true;
  }
  if (key.modifiers() == Qt::NoModifier) return OpenMenuBar(*widget->window());
  if (key.modifiers() != Qt::ShiftModifier) return false;
  OpenMenuOf(*widget);
  return true;
}

}  // namespace pellora
