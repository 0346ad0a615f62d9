#include "fetch/SpeedMeter.h"

#include <algorithm>
#include <numeric>

namespace pellora {

namespace {
constexpr auto kSpan = static_cast<std::int64_t>(SpeedMeter::kSteps);
}  // namespace

void SpeedMeter::Start(std::int64_t now) {
  bytes_.fill(0);
  start_ = now;
  step_ = now / kStep;
}

void SpeedMeter::MoveTo(std::int64_t now) {
  const std::int64_t step = now / kStep;
  for (std::int64_t cleared = std::max(step_ + 1, step - kSpan + 1); cleared <= step; ++cleared) {
    bytes_.at(static_cast<std::size_t>(cleared % kSpan)) = 0;
  }
  step_ = std::max(step_, step);
}

void SpeedMeter::Received(std::int64_t now, std::int64_t bytes) {
  if (start_ < 0) Start(now);
  MoveTo(now);
  bytes_.at(static_cast<std::size_t>(step_ % kSpan)) += bytes;
}

double SpeedMeter::BytesPerSecond(std::int64_t now) const {
  if (start_ < 0 || now - start_ < kMeasuredAfter) return -1;
  SpeedMeter moved = *this;
  moved.MoveTo(now);
  // From the start of the oldest step that still counts, or from the connection's own start.
  const std::int64_t from = std::max(start_, (moved.step_ - kSpan + 1) * kStep);
  const std::int64_t sum = std::accumulate(moved.bytes_.begin(), moved.bytes_.end(), std::int64_t{0});
  return static_cast<double>(sum) * 1000 / static_cast<double>(now - from);
}

}  // namespace pellora
