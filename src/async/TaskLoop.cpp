#include "async/TaskLoop.h"

#include <algorithm>
#include <utility>

#include "ports/Failure.h"

namespace pellora {

TaskLoop::TaskLoop(EventGate& gate, EventLoop& events)
    : gate_(gate), events_(events), retest_(events.NewAlarm([this] {
        armedFor_ = 0;
        ArmRetest();  // the conditions are tested after this event, as after any
      })) {
  gate_.SetAfterEvent([this] { TestConditions(); });
}

TaskLoop::~TaskLoop() {
  gate_.SetAfterEvent({});
  Clear();
}

void TaskLoop::Clear() {
  waiters_.clear();
  retest_->Stop();
  armedFor_ = 0;
  std::list<Task<>> ended;
  ended.swap(roots_);
}

void TaskLoop::Spawn(Task<> task) {
  Task<>& root = roots_.emplace_back(std::move(task));
  root.Start();
  SweepEnded();
}

void TaskLoop::ResumeLater(std::coroutine_handle<> waiting) {
  const std::uint64_t id = nextId_++;
  waiters_.push_back({id, waiting, {}, 0});
  events_.Post([this, id, alive = std::weak_ptr<int>(alive_)] {
    if (!alive.expired()) ResumeWaiter(id);
  });
}

void TaskLoop::AddWaiter(std::coroutine_handle<> waiting, std::function<bool()> condition, std::uint32_t retest) {
  waiters_.push_back({nextId_++, waiting, std::move(condition), retest});
  ArmRetest();
}

void TaskLoop::ResumeWaiter(std::uint64_t id) {
  const auto at = std::find_if(waiters_.begin(), waiters_.end(), [id](const Waiter& w) { return w.id == id; });
  if (at == waiters_.end()) return;
  const std::coroutine_handle<> handle = at->handle;
  waiters_.erase(at);
  handle.resume();
  SweepEnded();
}

// A resumed task may end other waits or begin new ones, so the search restarts after each.
void TaskLoop::TestConditions() {
  for (;;) {
    const auto ready =
        std::find_if(waiters_.begin(), waiters_.end(), [](const Waiter& w) { return w.condition && w.condition(); });
    if (ready == waiters_.end()) return;
    ResumeWaiter(ready->id);
  }
}

void TaskLoop::ArmRetest() {
  std::uint32_t soonest = 0;
  for (const Waiter& w : waiters_) {
    if (w.retest == 0) continue;
    if (soonest == 0 || w.retest < soonest) soonest = w.retest;
  }
  if (soonest == 0) {
    retest_->Stop();
    armedFor_ = 0;
    return;
  }
  if (armedFor_ != 0 && armedFor_ <= soonest) return;
  // A longer first wait counts once; from then on every condition is tested every 10 ms.
  for (Waiter& w : waiters_) {
    if (w.retest > kRetestMilliseconds) w.retest = kRetestMilliseconds;
  }
  armedFor_ = soonest;
  retest_->Start(soonest, false);
}

void TaskLoop::SweepEnded() {
  std::exception_ptr error;
  for (auto root = roots_.begin(); root != roots_.end();) {
    if (!root->Done()) {
      ++root;
      continue;
    }
    if (!error) error = root->Error();
    // The frame may hold the last reference to a window whose handler is still on the stack.
    gate_.DisposeAfterEvent(std::make_shared<Task<>>(std::move(*root)));
    root = roots_.erase(root);
  }
  if (!error) return;
  try {
    std::rethrow_exception(error);
  } catch (const Failure&) {  // NOLINT(bugprone-empty-catch): the handler is abandoned, its caller continues
  }
}

}  // namespace pellora
