// Background: file work that may take long, done outside of the event loop, so that no window waits for a disk.
//
// The works run one at a time, in the order given. A work touches nothing but what it captured by value: paths, and
// files that nothing else uses until it is over. An event that comes later says that it is over, and what failed.
#pragma once

#include <exception>
#include <functional>

#include "platform/Task.h"

namespace pellora {

struct Platform;

class Background {
 public:
  using Work = std::function<void()>;
  // `failure` holds the Failure that ended the work, or that kept it from being begun; null: all went well.
  using Done = std::function<void(std::exception_ptr failure)>;

  virtual ~Background() = default;
  // Runs `work` behind those given before, releases what it captured, and posts `done`. Works not begun when the
  // program ends are never run, and that in progress may be cut short, as by a kill.
  virtual void Run(Work work, Done done) = 0;
};

// Runs `work` and waits for its end. Throws the Failure that it ended in.
Task<> InBackground(const Platform* platform, Background::Work work);

}  // namespace pellora
