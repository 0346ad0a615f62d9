#include "core/Record.h"

#include "platform/Failure.h"

namespace pellora {

const SegmentRecord& DownloadRecord::Segment(int i) const {
  if (i < 0 || static_cast<std::size_t>(i) >= Segments.size()) {
    throw Failure(FailureNumber::OutOfRange, "no such segment");
  }
  return Segments[static_cast<std::size_t>(i)];
}

SegmentRecord& DownloadRecord::Segment(int i) {
  return const_cast<SegmentRecord&>(static_cast<const DownloadRecord&>(*this).Segment(i));
}

}  // namespace pellora
