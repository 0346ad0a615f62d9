// Clock: the platform's times. Never keep "now" across a wait.
#pragma once

#include <cstdint>

namespace pellora {

class Clock {
 public:
  virtual ~Clock() = default;
  // Milliseconds since the machine started, suspended time included, modulo 2^32.
  virtual std::uint32_t TickCount() const = 0;
  // Local wall-clock seconds since midnight, with fractions; 0 again at midnight.
  virtual double SecondsSinceMidnight() const = 0;
  // Local wall-clock time as days since 30 December 1899, the time of day as the fraction.
  virtual double Now() const = 0;
};

// The signed distance from `then` to `now`, both tick counts; correct across the wrap at 2^32.
inline std::int32_t TicksSince(std::uint32_t now, std::uint32_t then) { return static_cast<std::int32_t>(now - then); }

}  // namespace pellora
