// PreviewFrames: assembles the preview process's messages (preview/Protocol.h) from pieces of any size. Bytes are
// received straight into their frame.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "desktop/preview/Protocol.h"
#include "ports/Media.h"

namespace pellora {

class PreviewFrames {
 public:
  enum class Event { Nothing, Rendered, Ended, Frame, Malformed };

  explicit PreviewFrames(std::uint32_t largestSide = kMaxPreviewSide) : largestSide_(largestSide) {}

  // Where to put the next bytes, at most as many as this; empty after Malformed.
  std::span<char> WriteArea();
  // The message that the `count` bytes just received complete, if any.
  Event Received(std::size_t count);
  // The frame just completed; once.
  std::shared_ptr<const MediaFrame> TakeFrame() { return std::move(frame_); }

 private:
  Event HeadComplete();

  const std::uint32_t largestSide_;
  PreviewHead head_;
  std::shared_ptr<MediaFrame> frame_;  // being filled, or just completed
  bool inFrame_ = false;
  bool malformed_ = false;
  std::size_t filled_ = 0;  // bytes of the header or of the frame
};

}  // namespace pellora
