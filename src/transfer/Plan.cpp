#include "transfer/Plan.h"

#include <algorithm>

#include "ports/Failure.h"

namespace pellora {

namespace {

constexpr std::int32_t kTwoSegmentsFrom = 10000;
constexpr std::int32_t kAllSegmentsFrom = 100000;

std::int32_t WantedSegments(std::int32_t fileSize) {
  if (fileSize < kTwoSegmentsFrom) return 1;
  if (fileSize < kAllSegmentsFrom) return 2;
  return 8;
}

}  // namespace

std::vector<PlannedRange> PlanSegments(std::int32_t fileSize, std::int32_t maxSegments) {
  if (maxSegments == 0) throw Failure(FailureNumber::DivisionByZero, "a plan needs at least one segment");
  if (maxSegments < 0) throw Failure(FailureNumber::OutOfRange, "the number of segments is negative");
  fileSize = std::max(fileSize, 0);
  const std::int32_t count = std::min(WantedSegments(fileSize), maxSegments);
  const std::int32_t share = fileSize / count;
  const std::int32_t first = fileSize - (count - 1) * share;

  std::vector<PlannedRange> ranges;
  ranges.reserve(static_cast<std::size_t>(count));
  ranges.push_back({0, first - 1, first});
  for (std::int32_t i = 1; i < count; ++i) {
    const std::int32_t start = first + (i - 1) * share;
    ranges.push_back({start, start + share - 1, share});
  }
  return ranges;
}

}  // namespace pellora
