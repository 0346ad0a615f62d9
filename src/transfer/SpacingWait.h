// SpacingWait: the pause between two connections, measured on the clock of local seconds since midnight.
//
// It is over when more than its length has passed. That clock goes back to 0 at midnight: a wait that
// spans midnight ends only when the clock has passed the starting value again, or at a second midnight.
// A clock that was set back on the same day, or to an earlier date, ends it at once.
#pragma once

#include <cmath>

#include "ports/Clock.h"

namespace pellora {

class SpacingWait {
 public:
  SpacingWait(const Clock& clock, double seconds)
      : clock_(clock), seconds_(seconds), start_(clock.SecondsSinceMidnight()), day_(std::floor(clock.Now())) {}

  bool Over() const {
    const double now = clock_.SecondsSinceMidnight();
    const double days = std::floor(clock_.Now()) - day_;
    if (days == 1) return now > start_;
    if (days != 0) return true;
    return now - start_ > seconds_ || now < start_;
  }

 private:
  const Clock& clock_;
  double seconds_;
  double start_;  // local seconds since midnight
  double day_;    // days since 30 December 1899
};

}  // namespace pellora
