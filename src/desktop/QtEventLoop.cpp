#include "desktop/QtEventLoop.h"

#include <algorithm>
#include <chrono>

#include "async/EventGate.h"

namespace pellora {

namespace {

constexpr std::int64_t kNanosPerMilli = 1000000;

std::int64_t NowNanos() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

}  // namespace

struct QtEventLoop::AlarmState {
  std::function<void()> tick;
  bool queued = false;
  Due due{};
  std::int64_t interval = 0;  // nanoseconds; 0: once
};

class QtEventLoop::QtAlarm final : public Alarm {
 public:
  QtAlarm(QtEventLoop& loop, std::function<void()> tick)
      : loop_(loop), alive_(loop.alive_), state_(std::make_shared<AlarmState>()) {
    state_->tick = std::move(tick);
  }
  ~QtAlarm() override { QtAlarm::Stop(); }

  void Start(std::uint32_t milliseconds, bool repeating) override {
    Stop();
    const std::int64_t span = std::int64_t{milliseconds} * kNanosPerMilli;
    // A repeating alarm of zero length must not starve the loop.
    state_->interval = repeating ? std::max(span, kNanosPerMilli) : 0;
    state_->due = loop_.Enqueue(NowNanos() + span, {{}, state_});
    state_->queued = true;
  }

  void Stop() override {
    if (!alive_.expired() && state_->queued) loop_.queue_.erase(state_->due);
    state_->queued = false;
    state_->interval = 0;
  }

 private:
  QtEventLoop& loop_;
  std::weak_ptr<int> alive_;
  std::shared_ptr<AlarmState> state_;
};

QtEventLoop::QtEventLoop(EventGate& gate) : gate_(gate) {
  timer_.setTimerType(Qt::PreciseTimer);
  timer_.setSingleShot(true);
  QObject::connect(&timer_, &QTimer::timeout, &timer_, [this] { Round(); });
}

QtEventLoop::~QtEventLoop() = default;

void QtEventLoop::Post(std::function<void()> event) { Enqueue(NowNanos(), {std::move(event), nullptr}); }

std::unique_ptr<Alarm> QtEventLoop::NewAlarm(std::function<void()> tick) {
  return std::make_unique<QtAlarm>(*this, std::move(tick));
}

QtEventLoop::Due QtEventLoop::Enqueue(std::int64_t due, Entry entry) {
  const Due at{due, order_++};
  const bool first = queue_.empty() || at < queue_.begin()->first;
  queue_.emplace(at, std::move(entry));
  if (first) Arm();
  return at;
}

void QtEventLoop::Round() {
  const std::int64_t now = NowNanos();
  const std::uint64_t roundStart = order_;
  // Entries added during the round wait for the next one, after the sockets that are ready by then.
  for (bool ticked = false; !ticked && !queue_.empty();) {
    const auto next = queue_.begin();
    const Due due = next->first;
    if (due.first > now || due.second >= roundStart) break;
    const Entry entry = std::move(next->second);
    queue_.erase(next);
    if (entry.alarm) {
      ticked = true;
      Tick(entry.alarm, due.first);
    } else {
      gate_.Deliver(entry.event);
    }
  }
  Arm();
}

void QtEventLoop::Tick(const std::shared_ptr<AlarmState>& alarm, std::int64_t due) {
  alarm->queued = false;
  if (alarm->interval > 0) {
    // Missed ticks are skipped.
    const std::int64_t now = NowNanos();
    const std::int64_t next = due + alarm->interval;
    alarm->due = Enqueue(next > now ? next : now + alarm->interval, {{}, alarm});
    alarm->queued = true;
  }
  // `alarm` keeps the function alive if the tick destroys its Alarm.
  gate_.Deliver(alarm->tick);
}

void QtEventLoop::Arm() {
  if (queue_.empty()) {
    timer_.stop();
    return;
  }
  const std::int64_t wait = queue_.begin()->first.first - NowNanos();
  const std::int64_t milliseconds = wait <= 0 ? 0 : (wait + kNanosPerMilli - 1) / kNanosPerMilli;
  timer_.start(static_cast<int>(std::min<std::int64_t>(milliseconds, 3'600'000)));
}

}  // namespace pellora
