#include "desktop/PreviewFrames.h"

namespace pellora {

namespace {

template <class Value>
std::span<char> BytesOf(Value* values, std::size_t count) {
  return {reinterpret_cast<char*>(values), count * sizeof(Value)};  // NOLINT: plain numbers, filled byte by byte
}

}  // namespace

std::span<char> PreviewFrames::WriteArea() {
  if (malformed_) return {};
  const std::span<char> all = inFrame_ ? BytesOf(frame_->pixels.data(), frame_->pixels.size()) : BytesOf(&head_, 1);
  return all.subspan(filled_);
}

PreviewFrames::Event PreviewFrames::Received(std::size_t count) {
  if (malformed_) return Event::Malformed;
  const bool complete = WriteArea().size() == count;
  filled_ += count;
  if (!complete) return Event::Nothing;
  filled_ = 0;
  if (!inFrame_) return HeadComplete();
  inFrame_ = false;
  return Event::Frame;
}

PreviewFrames::Event PreviewFrames::HeadComplete() {
  if (head_.message == kPreviewRendered) return Event::Rendered;
  if (head_.message == kPreviewEnded) return Event::Ended;
  malformed_ = head_.message != kPreviewFrame || head_.width == 0 || head_.height == 0 || head_.width > largestSide_ ||
               head_.height > largestSide_;
  if (malformed_) return Event::Malformed;
  frame_ = std::make_shared<MediaFrame>();
  frame_->width = static_cast<int>(head_.width);
  frame_->height = static_cast<int>(head_.height);
  frame_->pixels.resize(static_cast<std::size_t>(head_.width) * head_.height);
  inFrame_ = true;
  return Event::Nothing;
}

}  // namespace pellora
