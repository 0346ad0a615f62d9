#include "desktop/SystemClock.h"

#include <atomic>
#include <ctime>

namespace pellora {

namespace {

struct LocalTime {
  std::tm parts{};
  double fraction = 0;  // of the second
};

// The time zone may change while the program runs. Looking for that costs system calls, and the time is asked for
// often.
void FollowTimeZone(std::time_t now) {
  static std::atomic<std::time_t> lookedAt = 0;
  if (lookedAt.exchange(now) != now) tzset();
}

LocalTime ReadLocalTime() {
  std::timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  LocalTime local;
  FollowTimeZone(now.tv_sec);
  localtime_r(&now.tv_sec, &local.parts);
  local.fraction = static_cast<double>(now.tv_nsec) / 1e9;
  return local;
}

}  // namespace

std::uint32_t SystemClock::TickCount() const {
  std::timespec now{};
  clock_gettime(CLOCK_BOOTTIME, &now);
  return static_cast<std::uint32_t>(static_cast<std::uint64_t>(now.tv_sec) * 1000 +
                                    static_cast<std::uint64_t>(now.tv_nsec) / 1000000);
}

double SystemClock::SecondsSinceMidnight() const {
  const LocalTime local = ReadLocalTime();
  return local.parts.tm_hour * 3600 + local.parts.tm_min * 60 + local.parts.tm_sec + local.fraction;
}

double SystemClock::Now() const {
  constexpr double kDaysTo1970 = 25569;  // 30 December 1899 to 1 January 1970
  LocalTime local = ReadLocalTime();
  const std::time_t seconds = timegm(&local.parts);  // the local time, taken as if it were UTC
  return kDaysTo1970 + (static_cast<double>(seconds) + local.fraction) / 86400;
}

}  // namespace pellora
