// TaskLoop: owns the running tasks and resumes those whose wait is over.
//
// Yield lets everything ready now run first. Until tests its condition after every event and at least every 10 ms;
// UntilEvent only after every event, for conditions that only an event can change. Waits never nest: handlers run from
// the platform's loop while tasks are suspended. Tasks still waiting when the TaskLoop is destroyed are destroyed with
// it, not resumed.
#pragma once

#include <coroutine>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <vector>

#include "async/EventGate.h"
#include "async/Task.h"
#include "ports/EventLoop.h"

namespace pellora {

class TaskLoop {
 public:
  static constexpr std::uint32_t kRetestMilliseconds = 10;

  TaskLoop(EventGate& gate, EventLoop& events);
  ~TaskLoop();
  TaskLoop(const TaskLoop&) = delete;
  TaskLoop& operator=(const TaskLoop&) = delete;

  // Runs `task` up to its first wait and keeps it until it ends.
  void Spawn(Task<> task);

  // Destroys every task where it waits.
  void Clear();

  class YieldAwaiter {
   public:
    explicit YieldAwaiter(TaskLoop& loop) : loop_(loop) {}
    bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> waiting) { loop_.ResumeLater(waiting); }
    void await_resume() const noexcept {}

   private:
    TaskLoop& loop_;
  };

  class UntilAwaiter {
   public:
    UntilAwaiter(TaskLoop& loop, std::function<bool()> condition, std::uint32_t retest)
        : loop_(loop), condition_(std::move(condition)), retest_(retest) {}
    bool await_ready() const { return condition_(); }
    void await_suspend(std::coroutine_handle<> waiting) { loop_.AddWaiter(waiting, std::move(condition_), retest_); }
    void await_resume() const noexcept {}

   private:
    TaskLoop& loop_;
    std::function<bool()> condition_;
    std::uint32_t retest_;
  };

  YieldAwaiter Yield() { return YieldAwaiter(*this); }
  // `firstRetest`: milliseconds until the first test without an event, if the caller knows that earlier ones would
  // fail.
  UntilAwaiter Until(std::function<bool()> condition, std::uint32_t firstRetest = kRetestMilliseconds) {
    return {*this, std::move(condition), firstRetest};
  }
  UntilAwaiter UntilEvent(std::function<bool()> condition) { return {*this, std::move(condition), 0}; }

  // Tasks that have not ended, for tests of leaks and of bounded waiting.
  std::size_t RunningTasks() const { return roots_.size(); }

 private:
  struct Waiter {
    std::uint64_t id;
    std::coroutine_handle<> handle;
    std::function<bool()> condition;  // empty: resumed by its posted event
    std::uint32_t retest;             // 0: no test between events
  };

  void ResumeLater(std::coroutine_handle<> waiting);
  void AddWaiter(std::coroutine_handle<> waiting, std::function<bool()> condition, std::uint32_t retest);
  void ResumeWaiter(std::uint64_t id);
  void TestConditions();
  void ArmRetest();
  void SweepEnded();

  EventGate& gate_;
  EventLoop& events_;
  std::list<Task<>> roots_;
  std::vector<Waiter> waiters_;
  std::uint64_t nextId_ = 1;
  std::shared_ptr<int> alive_ = std::make_shared<int>(0);
  std::unique_ptr<Alarm> retest_;
  std::uint32_t armedFor_ = 0;  // 0: the alarm is stopped
};

}  // namespace pellora
