#include "desktop/views/BasketForm.h"

#include <QDragEnterEvent>
#include <QDropEvent>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QPointer>
#include <QScreen>
#include <QWindow>
#include <cmath>

#include "capture/DownloadBasket.h"
#include "desktop/views/DraggedData.h"
#include "desktop/views/WindowPlace.h"

namespace pellora {

namespace {

int ButtonNumber(Qt::MouseButton button) {
  switch (button) {
    case Qt::LeftButton:
      return kLeftButton;
    case Qt::RightButton:
      return kRightButton;
    case Qt::MiddleButton:
      return kMiddleButton;
    default:
      return 0;
  }
}

QPointer<BasketForm> clicked;  // NOLINT(cppcoreguidelines-avoid-non-const-global-variables): there is one mouse

QPoint ScreenOrigin() {
  const QScreen* const screen = QGuiApplication::primaryScreen();
  return screen == nullptr ? QPoint() : screen->geometry().topLeft();
}

}  // namespace

BasketForm::BasketForm(QWidget* parent)
    : QWidget(parent, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowDoesNotAcceptFocus),
      placedByDesktop_(DesktopPlacesWindows()) {
  setAttribute(Qt::WA_ShowWithoutActivating);
}

void BasketForm::Follow(Window& window) {
  basket_ = dynamic_cast<DownloadBasket*>(&window);
  ApplyPlace();
}

void BasketForm::ApplyPlace() {
  if (basket_ == nullptr) return;
  if (windowHandle() != nullptr) windowHandle()->setFlag(Qt::WindowStaysOnTopHint, basket_->TopMost);
  if (placedByDesktop_) return;
  const QPoint place = ScreenOrigin() + QPoint(static_cast<int>(std::lround(basket_->Left())),
                                               static_cast<int>(std::lround(basket_->Top())));
  if (pos() != place) move(place);
}

void BasketForm::showEvent(QShowEvent* event) {
  QWidget::showEvent(event);
  ApplyPlace();
}

QPointF BasketForm::PlaceInWindow(const QMouseEvent& event) const {
  if (placedByDesktop_) return event.position();
  return event.globalPosition() - ScreenOrigin() - QPointF(basket_->Left(), basket_->Top());
}

void BasketForm::mousePressEvent(QMouseEvent* event) {
  if (basket_ == nullptr) return;
  const QPointF at = PlaceInWindow(*event);
  basket_->MouseDown(ButtonNumber(event->button()), static_cast<float>(at.x()), static_cast<float>(at.y()));
}

void BasketForm::mouseMoveEvent(QMouseEvent* event) {
  if (basket_ == nullptr || !(event->buttons() & Qt::LeftButton)) return;
  if (placedByDesktop_) {
    if (windowHandle() != nullptr) windowHandle()->startSystemMove();
    return;
  }
  const QPointF at = PlaceInWindow(*event);
  basket_->MouseMove(kLeftButton, static_cast<float>(at.x()), static_cast<float>(at.y()));
}

void BasketForm::mouseReleaseEvent(QMouseEvent* event) {
  if (basket_ == nullptr) return;
  const QPointF at = PlaceInWindow(*event);
  clicked = this;
  basket_->MouseUp(ButtonNumber(event->button()), static_cast<float>(at.x()), static_cast<float>(at.y()));
  clicked = nullptr;
}

BasketForm* BasketForm::Clicked() { return clicked; }

// Accepts every drag; dragMoveEvent and dropEvent decide what is taken.
void BasketForm::dragEnterEvent(QDragEnterEvent* event) {
  event->setDropAction(Qt::CopyAction);
  event->accept();
}

void BasketForm::dragMoveEvent(QDragMoveEvent* event) {
  if (basket_ != nullptr) (void)basket_->OLEDragOver(DraggedData(*event->mimeData()), kDropCopy);
  event->setDropAction(Qt::CopyAction);
  event->accept();
}

void BasketForm::dropEvent(QDropEvent* event) {
  if (basket_ == nullptr || basket_->OLEDragDrop(DraggedData(*event->mimeData()), kDropNone) != kDropCopy) {
    event->setDropAction(Qt::IgnoreAction);
    event->ignore();
    return;
  }
  event->setDropAction(Qt::CopyAction);
  event->accept();
}

}  // namespace pellora
