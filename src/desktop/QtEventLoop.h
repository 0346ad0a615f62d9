// QtEventLoop: the EventLoop on Qt's dispatcher.
//
// Posted events and alarms are kept in one queue by due time, then by order, served by one precise timer. Qt's plain
// UNIX dispatcher serves notifiers before timers, so a ready socket comes before a due alarm; a round delivers at most
// one alarm, so that sockets are checked again before the next one. (The GLib dispatcher would starve timers under a
// steady flow of data; main() turns it off.)
#pragma once

#include <QTimer>
#include <cstdint>
#include <map>
#include <utility>

#include "ports/EventLoop.h"

namespace pellora {

class EventGate;

class QtEventLoop final : public EventLoop {
 public:
  explicit QtEventLoop(EventGate& gate);
  ~QtEventLoop() override;
  QtEventLoop(const QtEventLoop&) = delete;
  QtEventLoop& operator=(const QtEventLoop&) = delete;

  void Post(std::function<void()> event) override;
  std::unique_ptr<Alarm> NewAlarm(std::function<void()> tick) override;

 private:
  class QtAlarm;
  struct AlarmState;
  struct Entry {
    std::function<void()> event;        // a posted event, or empty
    std::shared_ptr<AlarmState> alarm;  // an alarm's tick, or null
  };
  // Nanoseconds of the monotonic clock when due, then the order of the calls.
  using Due = std::pair<std::int64_t, std::uint64_t>;

  Due Enqueue(std::int64_t due, Entry entry);
  void Round();
  void Tick(const std::shared_ptr<AlarmState>& alarm, std::int64_t due);
  void Arm();

  EventGate& gate_;
  QTimer timer_;
  std::map<Due, Entry> queue_;
  std::uint64_t order_ = 0;
  // Alarms may outlive the loop and then leave the queue alone.
  std::shared_ptr<int> alive_ = std::make_shared<int>(0);
};

}  // namespace pellora
