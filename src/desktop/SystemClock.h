// SystemClock: the machine's clocks; local time follows the system's time zone.
#pragma once

#include "ports/Clock.h"

namespace pellora {

class SystemClock final : public Clock {
 public:
  std::uint32_t TickCount() const override;
  double SecondsSinceMidnight() const override;
  double Now() const override;
};

}  // namespace pellora
