// PreviewFrames: what the preview process says (preview/Protocol.h), put together from pieces of any size. No
// byte is copied twice: the next ones are read to where they belong.
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
  enum class Said { Nothing, Rendered, Ended, Frame, Nonsense };

  explicit PreviewFrames(std::uint32_t largestSide = kLargestPreviewSide) : largestSide_(largestSide) {}

  // Where the next bytes go, as many as belong there; nowhere behind Nonsense.
  std::span<char> Room();
  // What was said with the `count` bytes that were put there.
  Said Took(std::size_t count);
  // The frame that was just told of; once.
  std::shared_ptr<const MediaFrame> TakeFrame() { return std::move(frame_); }

 private:
  Said HeadComplete();

  const std::uint32_t largestSide_;
  PreviewHead head_;
  std::shared_ptr<MediaFrame> frame_;  // being filled, or just told of
  bool inFrame_ = false;
  bool lost_ = false;
  std::size_t filled_ = 0;  // bytes of the head or of the frame
};

}  // namespace pellora
