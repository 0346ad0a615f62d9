// PreviewSurface: paints the preview's pictures, in proportion, on an opaque ground. Without a picture it paints
// nothing.
#pragma once

#include <QSize>
#include <QWidget>
#include <memory>

#include "ui/MediaSurface.h"

namespace pellora {

struct MediaFrame;
class MediaSurface;

class PreviewSurface : public QWidget {
  Q_OBJECT

 public:
  explicit PreviewSurface(QWidget* parent = nullptr);
  void SetFrame(std::shared_ptr<const MediaFrame> frame);
  QSize PixelSize() const;  // in screen pixels

 signals:
  void Resized();

 protected:
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;

 private:
  std::shared_ptr<const MediaFrame> frame_;
};

}  // namespace pellora
