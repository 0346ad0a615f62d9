// Lock: for the few things that threads of a port share with the event loop. Held for a moment only, never across a
// wait.
#pragma once

#include <atomic>

namespace pellora {

class Lock {
 public:
  class Guard {
   public:
    explicit Guard(Lock& lock) : lock_(lock) {
      while (lock_.flag_.test_and_set(std::memory_order_acquire)) lock_.flag_.wait(true, std::memory_order_relaxed);
    }
    ~Guard() {
      lock_.flag_.clear(std::memory_order_release);
      lock_.flag_.notify_one();
    }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

   private:
    Lock& lock_;
  };

 private:
  std::atomic_flag flag_;
};

}  // namespace pellora
