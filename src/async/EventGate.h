// EventGate: the one door through which every event of the platform enters the logic.
//
// It is the boundary behind which a handler is abandoned at its first Failure. When the outermost event
// is over it releases what the event disposed of, so that a window or a connection may drop itself in
// its own handler, and then lets the waiting tasks look again.
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

  // Delivers one event. A Failure ends the handler and goes no further.
  template <class Handler>
  void Deliver(Handler&& handler) {
    ++depth_;
    {
      const Leave leave{*this};
      try {
        std::forward<Handler>(handler)();
      } catch (const Failure&) {  // NOLINT(bugprone-empty-catch): the handler is abandoned, its caller goes on
      }
    }
    if (depth_ == 0) AfterEvent();
  }

  // Keeps an object until the event in progress is over; at once outside of events.
  void DisposeAfterEvent(std::shared_ptr<void> object) {
    if (depth_ > 0) disposed_.push_back(std::move(object));
  }

  // Keeps an object that nobody else may hold until LetGo: a loaded window, a transfer without a slot.
  void Keep(std::shared_ptr<void> object) { kept_.push_back(std::move(object)); }
  // Lets go of it after the event in progress.
  void LetGo(const void* object) {
    for (auto at = kept_.begin(); at != kept_.end(); ++at) {
      if (at->get() != object) continue;
      std::shared_ptr<void> last = std::move(*at);
      kept_.erase(at);
      DisposeAfterEvent(std::move(last));
      return;
    }
  }
  // At the end of the program, while everything that its windows refer to still stands.
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
    // What is released here may dispose of more; that is released with it.
    std::vector<std::shared_ptr<void>> ended;
    ended.swap(disposed_);
  }

  int depth_ = 0;
  std::vector<std::shared_ptr<void>> disposed_;
  std::vector<std::shared_ptr<void>> kept_;
  std::function<void()> hook_;
};

}  // namespace pellora
