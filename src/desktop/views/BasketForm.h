// BasketForm: the drop basket on the desktop: a frameless square that takes no focus. It passes the mouse and drops to
// its window, and follows the window's position.
//
// A Wayland compositor places windows itself and keeps none on top; there the compositor moves the basket.
#pragma once

#include <QWidget>

#include "desktop/views/FormHost.h"

namespace pellora {

class DownloadBasket;

class BasketForm : public QWidget, public WindowFollower {
  Q_OBJECT

 public:
  explicit BasketForm(QWidget* parent = nullptr);

  void Follow(Window& window) override;

  // The basket while it reports that a button was released, for the menu that this opens; else null. Neither positions
  // on the screen nor the widgets under the mouse tell it on Wayland.
  static BasketForm* Clicked();
  void LetGo() override { basket_ = nullptr; }

 protected:
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dragMoveEvent(QDragMoveEvent* event) override;
  void dropEvent(QDropEvent* event) override;
  void showEvent(QShowEvent* event) override;

 private:
  // The mouse position in the window as the model has placed it; the widget may lag behind.
  QPointF PlaceInWindow(const QMouseEvent& event) const;
  void ApplyPlace();

  DownloadBasket* basket_ = nullptr;
  const bool placedByDesktop_;  // by the compositor
};

}  // namespace pellora
