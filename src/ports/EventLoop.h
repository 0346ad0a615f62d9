// EventLoop: posted events and timers, the platform's part of waiting.
//
// Rules of every implementation: an event is posted, never delivered inside the call that asked for it;
// each is delivered through the EventGate; events of equal time come in the order asked; after
// OneShot::Stop or its destruction no tick comes; sockets that are ready come before timers that are due.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace pellora {

// One running alarm. Owned by whoever asked for it.
class Alarm {
 public:
  virtual ~Alarm() = default;
  // Ticks once, `milliseconds` from now, or again and again at that interval until Stop.
  // A running alarm starts anew.
  virtual void Start(std::uint32_t milliseconds, bool repeating) = 0;
  virtual void Stop() = 0;
};

class EventLoop {
 public:
  virtual ~EventLoop() = default;
  // Delivers `event` behind everything that is ready now.
  virtual void Post(std::function<void()> event) = 0;
  // A stopped alarm; `tick` is called for each of its ticks.
  virtual std::unique_ptr<Alarm> NewAlarm(std::function<void()> tick) = 0;
};

}  // namespace pellora
