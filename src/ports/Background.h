// Background: slow file work, done outside the event loop so that no window waits for a disk.
//
// Pieces of work run one at a time, in the order given. Each uses only what it captured by value: paths, and files
// that nothing else uses until it has ended. A later event reports its end.
#pragma once

#include <exception>
#include <functional>

namespace pellora {

class Background {
 public:
  using Work = std::function<void()>;
  // `failure` holds the Failure that ended the work or kept it from starting; null on success.
  using Done = std::function<void(std::exception_ptr failure)>;

  virtual ~Background() = default;
  // Runs `work` after all earlier work, releases what it captured, and posts `done`. When the program ends, work that
  // has not started is dropped, and the piece in progress may be cut short as by a kill.
  virtual void Run(Work work, Done done) = 0;
};

}  // namespace pellora
