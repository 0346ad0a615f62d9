#include "desktop/PreviewFrames.h"

namespace pellora {

namespace {

template <class Value>
std::span<char> BytesOf(Value* values, std::size_t count) {
  return {reinterpret_cast<char*>(values), count * sizeof(Value)};  // NOLINT: plain numbers, filled as they come
}

}  // namespace

std::span<char> PreviewFrames::Room() {
  if (lost_) return {};
  const std::span<char> all = inFrame_ ? BytesOf(frame_->pixels.data(), frame_->pixels.size()) : BytesOf(&head_, 1);
  return all.subspan(filled_);
}

PreviewFrames::Said PreviewFrames::Took(std::size_t count) {
  if (lost_) return Said::Nonsense;
  const bool complete = Room().size() == count;
  filled_ += count;
  if (!complete) return Said::Nothing;
  filled_ = 0;
  if (!inFrame_) return HeadComplete();
  inFrame_ = false;
  return Said::Frame;
}

PreviewFrames::Said PreviewFrames::HeadComplete() {
  if (head_.message == kPreviewRendered) return Said::Rendered;
  if (head_.message == kPreviewEnded) return Said::Ended;
  lost_ = head_.message != kPreviewFrame || head_.width == 0 || head_.height == 0 || head_.width > largestSide_ ||
          head_.height > largestSide_;
  if (lost_) return Said::Nonsense;
  frame_ = std::make_shared<MediaFrame>();
  frame_->width = static_cast<int>(head_.width);
  frame_->height = static_cast<int>(head_.height);
  frame_->pixels.resize(static_cast<std::size_t>(head_.width) * head_.height);
  inFrame_ = true;
  return Said::Nothing;
}

}  // namespace pellora
