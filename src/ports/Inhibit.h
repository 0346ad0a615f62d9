// Inhibit: asks the desktop not to suspend the computer by itself. The user's own suspend stays possible, and the
// screen may go dark.
#pragma once

#include <functional>
#include <string>

namespace pellora {

class Inhibit {
 public:
  virtual ~Inhibit() = default;
  // Asks, and goes on asking until Release; at most once in between. `reason`: what the desktop may show the user.
  // Returns at once, whether anybody answers or not. Failure(File) if it cannot be asked now.
  virtual void Hold(const std::string& reason) = 0;
  // Nothing without a Hold.
  virtual void Release() = 0;

  // The computer is about to sleep all the same, while it is held; may be empty. The sleep waits, some seconds at most,
  // until `done` is called.
  std::function<void(std::function<void()> done)> onSleep;
};

}  // namespace pellora
