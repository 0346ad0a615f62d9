// EventLoop: posted events and timers, the platform's part of waiting.
//
// Rules of every implementation: an event is posted, never delivered inside the call that requested it; each is
// delivered through the EventGate; events of equal time come in the order requested; no tick comes after Alarm::Stop or
// the alarm's destruction; ready sockets come before due timers.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace pellora {

// Owned by its creator.
class Alarm {
 public:
  virtual ~Alarm() = default;
  // Ticks once, `milliseconds` from now, or repeatedly at that interval until Stop. Restarts a running alarm.
  virtual void Start(std::uint32_t milliseconds, bool repeating) = 0;
  virtual void Stop() = 0;
};

class EventLoop {
 public:
  virtual ~EventLoop() = default;
  // Delivers `event` after everything that is ready now.
  virtual void Post(std::function<void()> event) = 0;
  // A stopped alarm; `tick` is called for each of its ticks.
  virtual std::unique_ptr<Alarm> NewAlarm(std::function<void()> tick) = 0;
};

}  // namespace pellora
