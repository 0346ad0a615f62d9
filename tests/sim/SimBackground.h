// SimBackground: file work in virtual time. A work runs some time after its call, and its end is reported some time
// later, so that anything may happen before, between and after the two; the seed says when. Work that a program had not
// done at its end is dropped.
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

  // The test's own view.
  // The longest time from the beginning of a work to the report of its end, in milliseconds.
  void SetMost(std::uint32_t milliseconds) { most_ = milliseconds; }
  // Works whose end was not reported yet.
  std::size_t Pending() const { return jobs_.size(); }
  std::uint64_t Given() const { return given_; }  // ever
  // Ends the port with its program: nothing runs and nothing is reported any more.
  void Drop();

 private:
  struct Job {
    Work work;  // empty: it cannot be begun
    Done done;
  };
  void Begin();
  void Do();
  void Finish(std::exception_ptr failure);
  SimLoop::Micros SomeTime();

  SimLoop& loop_;
  SimRandom random_;
  std::uint32_t most_ = 4;
  std::deque<Job> jobs_;  // the first is in progress
  std::uint64_t given_ = 0;
  std::uint64_t run_ = 0;  // raised by Drop
};

}  // namespace pellora
