// ProcessorTime: limits the processor time of a process. The kernel ends it at its limit.
#pragma once

#include <sys/types.h>

#include <chrono>

namespace pellora {

class ProcessorTime {
 public:
  // For a process that has not been waited for. Grants `most` at once.
  ProcessorTime(pid_t process, std::chrono::milliseconds most);

  void Renew();                               // grants `most` from now on
  void Extend(std::chrono::milliseconds by);  // in addition to what is left
  // A process can block the kernel's signal; it must be killed then.
  bool IsExceeded() const;

 private:
  std::chrono::milliseconds Used() const;
  void SetLimit();

  const pid_t process_;
  const std::chrono::milliseconds most_;
  std::chrono::milliseconds limit_{0};
};

}  // namespace pellora
