// ProcessorTime: what a process may use of the processors from now on. At its limit the system ends it.
#pragma once

#include <sys/types.h>

#include <chrono>

namespace pellora {

class ProcessorTime {
 public:
  // Of a process that has not been waited for. It gets `most` at once.
  ProcessorTime(pid_t process, std::chrono::milliseconds most);

  void Renew();                               // `most` again, from now on
  void Extend(std::chrono::milliseconds by);  // on top of what is left
  // A process can hold off the system's signal, and has to be killed then.
  bool IsExceeded() const;

 private:
  std::chrono::milliseconds Used() const;
  void SetLimit();

  const pid_t process_;
  const std::chrono::milliseconds most_;
  std::chrono::milliseconds limit_{0};
};

}  // namespace pellora
