#include "core/Record.h"

#include "ports/Failure.h"

namespace pellora {

namespace {

template <class Array>
auto& At(Array& segments, int i) {
  if (i < 0 || static_cast<std::size_t>(i) >= segments.size()) {
    throw Failure(FailureNumber::OutOfRange, "no such segment");
  }
  return segments[static_cast<std::size_t>(i)];
}

}  // namespace

SegmentRecord& DownloadRecord::Segment(int i) { return At(Segments, i); }
const SegmentRecord& DownloadRecord::Segment(int i) const { return At(Segments, i); }

void DownloadRecord::DropPlan() {
  Segments.assign(1, SegmentRecord{});
  SegmentCount = 0;
}

}  // namespace pellora
