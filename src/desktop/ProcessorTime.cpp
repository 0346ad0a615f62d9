#include "desktop/ProcessorTime.h"

#include <sys/resource.h>

#include <algorithm>
#include <ctime>

namespace pellora {

namespace {

constexpr std::chrono::seconds kGrace{2};  // the kernel checks once a second

}  // namespace

ProcessorTime::ProcessorTime(pid_t process, std::chrono::milliseconds most) : process_(process), most_(most) {
  Renew();
}

void ProcessorTime::Renew() {
  limit_ = Used() + most_;
  SetLimit();
}

void ProcessorTime::Extend(std::chrono::milliseconds by) {
  limit_ += by;
  SetLimit();
}

bool ProcessorTime::IsExceeded() const { return Used() > limit_ + kGrace; }

std::chrono::milliseconds ProcessorTime::Used() const {
  clockid_t clock{};
  timespec used{};
  if (clock_getcpuclockid(process_, &clock) != 0 || clock_gettime(clock, &used) != 0) return {};
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::seconds(used.tv_sec) +
                                                               std::chrono::nanoseconds(used.tv_nsec));
}

// Sets only the soft limit: an unprivileged process could not raise the hard one again.
void ProcessorTime::SetLimit() {
  rlimit limit{};
  if (prlimit(process_, RLIMIT_CPU, nullptr, &limit) != 0) return;
  const auto seconds = std::chrono::ceil<std::chrono::seconds>(limit_).count();
  limit.rlim_cur = std::min(static_cast<rlim_t>(seconds), limit.rlim_max);
  prlimit(process_, RLIMIT_CPU, &limit, nullptr);
}

}  // namespace pellora
