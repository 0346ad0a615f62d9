#include "fetch/BackOff.h"

#include <algorithm>
#include <utility>

namespace pellora {

namespace {

constexpr std::int64_t kLongest = 60;                                    // s
constexpr std::int64_t kLongestRetryAfter = std::int64_t{24} * 60 * 60;  // s
constexpr int kLastStep = 6;                                             // 2^6 s is above the longest wait
constexpr std::int64_t kRecovered = std::int64_t{1} << 20;               // bytes

// One number of the sequence splitmix64.
std::uint64_t NextRandom(std::uint64_t& state) {
  state += 0x9E3779B97F4A7C15ULL;
  std::uint64_t z = state;
  z = (z ^ (z >> 30U)) * 0xBF58476D1CE4E5B9ULL;
  z = (z ^ (z >> 27U)) * 0x94D049BB133111EBULL;
  return z ^ (z >> 31U);
}

}  // namespace

std::int64_t BackOff::Next() {
  const std::int64_t wait = std::min(std::int64_t{1} << step_, kLongest) * 1000;
  step_ = std::min(step_ + 1, kLastStep);
  received_ = 0;
  const auto most = static_cast<std::uint64_t>(wait / 4);
  return wait - static_cast<std::int64_t>(NextRandom(random_) % (most + 1));
}

std::int64_t BackOff::NextAfter(std::int64_t retryAfterSeconds) {
  return std::max(Next(), std::min(retryAfterSeconds, kLongestRetryAfter) * 1000);
}

void BackOff::Received(std::int64_t bytes) {
  received_ += bytes;
  if (received_ >= kRecovered) step_ = 0;
}

bool BackOff::TakeRecovery() { return std::exchange(received_, 0) >= kRecovered; }

void Rounds::Ended(RoundCause cause) {
  if (cause == RoundCause::Failure) ++count_;
}

}  // namespace pellora
