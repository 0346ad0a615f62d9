#include "SimBackground.h"

#include <utility>

#include "SimFaults.h"
#include "ports/Failure.h"

namespace pellora {

namespace {

constexpr std::uint64_t kArrivals = ~std::uint64_t{0};  // a separate source

}  // namespace

void SimBackground::Run(Work work, Done done) {
  ++given_;
  const bool fails = SimFails("background work") || std::exchange(refuses_, false);
  jobs_.push_back({fails ? Work() : std::move(work), std::move(done)});
  if (jobs_.size() == 1) Begin();
}

SimLoop::Micros SimBackground::SomeTime() {
  return static_cast<SimLoop::Micros>(random_.Below(std::uint64_t{most_} * SimLoop::kMillisecond / 2 + 1));
}

void SimBackground::Begin() {
  loop_.InWorld(loop_.Time() + SomeTime(), [this, run = run_] {
    if (run == run_) Do();
  });
}

void SimBackground::Do() {
  std::exception_ptr failure;
  Job& job = jobs_.front();
  try {
    if (!job.work) throw Failure(FailureNumber::File, "no thread for file work");
    job.work();
  } catch (const Failure&) {
    failure = std::current_exception();
  }
  job.work = {};
  loop_.Arrive(kArrivals, loop_.Time() + SomeTime(), [this, failure, run = run_] {
    if (run == run_) Finish(failure);
  });
}

void SimBackground::Finish(std::exception_ptr failure) {
  const Done done = std::move(jobs_.front().done);
  jobs_.pop_front();
  if (!jobs_.empty()) Begin();
  done(std::move(failure));
}

void SimBackground::Drop() {
  ++run_;
  jobs_.clear();
}

}  // namespace pellora
