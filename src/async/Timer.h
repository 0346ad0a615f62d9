// Timer: the timer control of the windows. Enabling starts a full interval; setting the present value does nothing. The
// timer keeps ticking while a handler of an earlier tick waits.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "ports/EventLoop.h"
#include "ports/Platform.h"

namespace pellora {

class Timer {
 public:
  Timer(Platform& platform, std::uint32_t interval) : interval_(interval) {
    alarm_ = platform.events.NewAlarm([this] {
      if (OnTimer) OnTimer();
    });
  }

  void SetEnabled(bool enabled) {
    if (enabled == enabled_) return;
    enabled_ = enabled;
    if (enabled) {
      alarm_->Start(interval_, true);
    } else {
      alarm_->Stop();
    }
  }
  bool Enabled() const { return enabled_; }
  std::uint32_t Interval() const { return interval_; }

  std::function<void()> OnTimer;  // set once, before the timer is enabled

 private:
  std::uint32_t interval_;  // milliseconds
  bool enabled_ = false;
  std::unique_ptr<Alarm> alarm_;
};

}  // namespace pellora
