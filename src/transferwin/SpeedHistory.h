// SpeedHistory: the speed of a download over the last minute, in steps of half a second.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace pellora {

class SpeedHistory {
 public:
  static constexpr std::uint32_t kStep = 500;  // ms
  static constexpr std::size_t kMostSteps = 120;

  // `received` bytes were held at `tick`, a count of milliseconds that wraps around. True if a step has ended.
  bool Take(std::uint32_t tick, std::int64_t received);
  // Bytes per second, the newest last.
  const std::vector<float>& Speeds() const { return speeds_; }

 private:
  struct Moment {
    std::uint32_t tick = 0;
    std::int64_t received = 0;
  };
  std::optional<Moment> last_;  // the end of the last step
  std::vector<float> speeds_;
};

}  // namespace pellora
