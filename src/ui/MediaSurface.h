// MediaSurface: what the preview's pictures are shown on.
#pragma once

#include <memory>
#include <string>

#include "ports/Media.h"
#include "ui/Controls.h"

namespace pellora {

class MediaSurface : public Control {
 public:
  MediaSurface(Window* window, std::string name)
      : Control(window, std::move(name), "PictureBox", 0), Frame(this, nullptr) {}
  Property<std::shared_ptr<const MediaFrame>> Frame;  // null: blank, so that what lies below shows

  // Size on the screen in its own pixels; 0 before the first showing.
  int PixelWidth() const { return pixelWidth_; }
  int PixelHeight() const { return pixelHeight_; }
  // From the view.
  void Resized(int width, int height) {
    pixelWidth_ = width;
    pixelHeight_ = height;
  }

 private:
  int pixelWidth_ = 0;
  int pixelHeight_ = 0;
};

}  // namespace pellora
