// InThreads: calls that wait for a disk, which serves many at once.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

#include "ports/Failure.h"

namespace pellora {

// Calls `flush` for the numbers below `count`, in several threads. Throws one of the failures, after all calls.
template <class Function>
void InThreads(std::size_t count, const Function& flush) {
  constexpr std::size_t kMostThreads = 16;
  std::atomic<std::size_t> next = 0;
  std::mutex mutex;
  std::exception_ptr failed;
  const auto run = [&] {
    for (std::size_t at = next++; at < count; at = next++) {
      try {
        flush(at);
      } catch (const Failure&) {
        const std::lock_guard lock(mutex);
        failed = std::current_exception();
      }
    }
  };
  std::vector<std::jthread> threads;
  try {
    while (threads.size() + 1 < std::min(count, kMostThreads)) threads.emplace_back(run);
  } catch (const std::system_error&) {
    // With fewer threads it takes longer.
  }
  run();
  threads.clear();
  if (failed) std::rethrow_exception(failed);
}

}  // namespace pellora
