// SimBackground: file work in virtual time. Each work is done at some moment behind its call, and the news of it come
// at a later one, so that anything may happen before, between and after the two; the seed says when. A kill comes
// inside of a work, where it cuts the disk; what an ended program had still to do is dropped.
#pragma once

#include <cstdint>
#include <deque>

#include "SimLoop.h"
#include "SimRandom.h"
#include "platform/Background.h"

namespace pellora {

class SimBackground final : public Background {
 public:
  SimBackground(SimLoop& loop, std::uint64_t seed) : loop_(loop), random_(seed) {}

  // The port.
  void Run(Work work, Done done) override;

  // The test's own view.
  // How long a work takes at most, with the news of it, in milliseconds.
  void SetMost(std::uint32_t milliseconds) { most_ = milliseconds; }
  // Works given and not over, that in progress included.
  std::size_t Pending() const { return jobs_.size(); }
  std::uint64_t Given() const { return given_; }  // ever
  // Works that were begun are as finished by then as their thread got; nothing is delivered any more.
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
