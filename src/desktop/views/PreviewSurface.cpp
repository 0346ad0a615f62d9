#include "desktop/views/PreviewSurface.h"

#include <QImage>
#include <QPainter>
#include <QPalette>
#include <QRectF>
#include <cmath>
#include <utility>

#include "ports/Media.h"

namespace pellora {

PreviewSurface::PreviewSurface(QWidget* parent) : QWidget(parent) {
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

void PreviewSurface::SetFrame(std::shared_ptr<const MediaFrame> frame) {
  if (frame == frame_) return;
  frame_ = std::move(frame);
  update();
}

QSize PreviewSurface::PixelSize() const {
  const double ratio = devicePixelRatioF();
  return {static_cast<int>(std::lround(width() * ratio)), static_cast<int>(std::lround(height() * ratio))};
}

void PreviewSurface::paintEvent(QPaintEvent*) {
  if (!frame_) return;
  QPainter painter(this);
  painter.fillRect(rect(), palette().color(QPalette::Window));
  const QImage image(reinterpret_cast<const uchar*>(frame_->pixels.data()),  // NOLINT: 4 bytes a pixel
                     frame_->width, frame_->height, QImage::Format_RGB32);
  const QSizeF size = QSizeF(image.size()).scaled(QSizeF(rect().size()), Qt::KeepAspectRatio);
  QRectF target(QPointF((width() - size.width()) / 2, (height() - size.height()) / 2), size);
  // A picture made for this size is drawn on whole pixels, unscaled.
  const double ratio = devicePixelRatioF();
  if (std::abs(size.width() * ratio - image.width()) < 2 && std::abs(size.height() * ratio - image.height()) < 2) {
    target.setSize(QSizeF(image.size()) / ratio);
    target.moveTopLeft(QPointF(std::round(target.x() * ratio) / ratio, std::round(target.y() * ratio) / ratio));
  } else {
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
  }
  painter.drawImage(target, image);
}

void PreviewSurface::resizeEvent(QResizeEvent*) { emit Resized(); }

}  // namespace pellora
