// EventGate: the one door through which every event of the platform enters the logic.
//
// A Failure abandons the handler and ends here. After the outermost event the waiting tasks test their conditions, and
// then everything that the event disposed of is released, so that a window or connection may drop itself in its own
// handler.
#pragma once

#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "ports/Failure.h"

namespace pellora {

class EventGate {
 public:
  EventGate() = default;
  EventGate(const EventGate&) = delete;
  EventGate& operator=(const EventGate&) = delete;

  template <class Handler>
  void Deliver(Handler&& handler) {
    ++depth_;
    {
      const Leave leave{*this};
      try {
        std::forward<Handler>(handler)();
      } catch (const Failure&) {  // NOLINT(bugprone-empty-catch): the handler is abandoned, its caller continues
      }
    }
    if (depth_ == 0) AfterEvent();
  }

  // Keeps an object until the event in progress is over; outside events it is released at once.
  void DisposeAfterEvent(std::shared_ptr<void> object) {
    if (depth_ > 0) disposed_.push_back(std::move(object));
  }

  // Keeps an object until LetGo that may have no other holder: a loaded window, a transfer without a slot.
  void Keep(std::shared_ptr<void> object) { kept_.push_back(std::move(object)); }
  // Releases it after the event in progress.
  void LetGo(const void* object) {
    for (auto at = kept_.begin(); at != kept_.end(); ++at) {
      if (at->get() != object) continue;
      std::shared_ptr<void> last = std::move(*at);
      kept_.erase(at);
      DisposeAfterEvent(std::move(last));
      return;
    }
  }
  // At the end of the program, while everything that its windows refer to still exists.
  void LetGoOfAll() {
    std::vector<std::shared_ptr<void>> kept;
    kept.swap(kept_);
    std::vector<std::shared_ptr<void>> disposed;
    disposed.swap(disposed_);
  }

  // Called after each outermost event. Set once, by the TaskLoop.
  void SetAfterEvent(std::function<void()> hook) { hook_ = std::move(hook); }

 private:
  struct Leave {
    EventGate& gate;
    ~Leave() { --gate.depth_; }
  };

  void AfterEvent() {
    {
      ++depth_;
      const Leave leave{*this};
      if (hook_) hook_();
    }
    // Releasing one may dispose of more; they go at once.
    std::vector<std::shared_ptr<void>> ended;
    ended.swap(disposed_);
  }

  int depth_ = 0;
  std::vector<std::shared_ptr<void>> disposed_;
  std::vector<std::shared_ptr<void>> kept_;
  std::function<void()> hook_;
};

}  // namespace pellora
