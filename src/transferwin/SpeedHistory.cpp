#include "transferwin/SpeedHistory.h"

#include <algorithm>

namespace pellora {

// Nothing is reported while a download is paused or its servers are silent: of several steps that have passed only the
// last one carried bytes.
bool SpeedHistory::Take(std::uint32_t tick, std::int64_t received) {
  if (!last_ || received < last_->received) {
    last_ = Moment{tick, received};
    return false;
  }
  const std::uint32_t passed = tick - last_->tick;
  if (passed < kStep) return false;
  const std::size_t silent = std::min<std::size_t>(passed / kStep - 1, kMostSteps);
  speeds_.insert(speeds_.end(), silent, 0.0F);
  const std::uint32_t carried = std::min(passed, 2 * kStep - 1);
  speeds_.push_back(static_cast<float>(received - last_->received) * 1000.0F / static_cast<float>(carried));
  if (speeds_.size() > kMostSteps) speeds_.erase(speeds_.begin(), speeds_.end() - kMostSteps);
  last_ = Moment{tick, received};
  return true;
}

}  // namespace pellora
