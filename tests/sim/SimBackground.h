// SimBackground: file work in virtual time. A work runs some time after the call, and its end is reported some time
// later, so that anything may happen before, between and after; the seed decides when. Work not done when the program
// ends is dropped.
#pragma once

#include <cstdint>
#include <deque>

#include "SimLoop.h"
#include "SimRandom.h"
#include "ports/Background.h"

namespace pellora {

class SimBackground final : public Background {
 public:
  SimBackground(SimLoop& loop, std::uint64_t seed) : loop_(loop), random_(seed) {}

  // The port.
  void Run(Work work, Done done) override;

  // For the test.
  // The longest time from the start of a work to the report of its end, in milliseconds.
  void SetMaxDelay(std::uint32_t milliseconds) { most_ = milliseconds; }
  // The next work cannot be started.
  void RefuseNext() { refuses_ = true; }
  // Works whose end was not reported.
  std::size_t Pending() const { return jobs_.size(); }
  std::uint64_t Given() const { return given_; }  // so far
  // Ends the port with its program: nothing more runs or is reported.
  void Drop();

 private:
  struct Job {
    Work work;  // empty: it cannot be started
    Done done;
  };
  void Begin();
  void Do();
  void Finish(std::exception_ptr failure);
  SimLoop::Micros SomeTime();

  SimLoop& loop_;
  SimRandom random_;
  std::uint32_t most_ = 4;
  bool refuses_ = false;
  std::deque<Job> jobs_;  // the first is in progress
  std::uint64_t given_ = 0;
  std::uint64_t run_ = 0;  // raised by Drop
};

}  // namespace pellora
