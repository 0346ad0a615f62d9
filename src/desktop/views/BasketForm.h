// BasketForm: the drop basket on the desktop: a square without a frame that takes no focus. It brings the
// mouse and what is dropped to its window, and follows the window's place.
//
// A Wayland compositor places windows by itself and keeps none on top: there the basket is moved by the
// compositor's own means.
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
  // Of the mouse, in the window as the model has placed it; the widget may lag behind.
  QPointF PlaceInWindow(const QMouseEvent& event) const;
  void ApplyPlace();

  DownloadBasket* basket_ = nullptr;
  const bool placedByDesktop_;  // by the compositor, not by us
};

}  // namespace pellora
