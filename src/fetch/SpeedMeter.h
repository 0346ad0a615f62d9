// SpeedMeter: what a lane carried over the last seconds.
//
// Times are milliseconds of a clock that never goes back. The mean is over the last three seconds, in steps of a
// quarter of a second, and over less at the beginning.
#pragma once

#include <array>
#include <cstdint>

namespace pellora {

class SpeedMeter {
 public:
  static constexpr std::int64_t kStep = 250;            // ms
  static constexpr std::size_t kSteps = 12;             // three seconds
  static constexpr std::int64_t kMeasuredAfter = 1000;  // ms: earlier figures say nothing

  // Begins anew, as a connection does.
  void Start(std::int64_t now);
  void Received(std::int64_t now, std::int64_t bytes);
  // -1 before Start and while nothing is measured.
  double BytesPerSecond(std::int64_t now) const;

 private:
  void MoveTo(std::int64_t now);

  std::array<std::int64_t, kSteps> bytes_{};  // of the steps, the newest at step_ % kSteps
  std::int64_t start_ = -1;
  std::int64_t step_ = 0;  // now / kStep at the last call
};

}  // namespace pellora
