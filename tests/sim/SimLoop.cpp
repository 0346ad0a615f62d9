#include "SimLoop.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "SimFaults.h"

namespace pellora {

struct SimLoop::AlarmState {
  std::function<void()> tick;
  std::uint64_t id = 0;
  bool running = false;
  Key key{};
  Micros interval = 0;  // 0: ticks once
};

class SimAlarm final : public Alarm {
 public:
  SimAlarm(SimLoop& loop, std::function<void()> tick) : loop_(loop), state_(std::make_shared<SimLoop::AlarmState>()) {
    state_->tick = std::move(tick);
    state_->id = loop_.next_++;
  }
  ~SimAlarm() override { loop_.StopAlarm(*state_); }
  void Start(std::uint32_t milliseconds, bool repeating) override { loop_.StartAlarm(state_, milliseconds, repeating); }
  void Stop() override { loop_.StopAlarm(*state_); }

 private:
  SimLoop& loop_;
  std::shared_ptr<SimLoop::AlarmState> state_;
};

SimLoop::SimLoop(EventGate& gate, SimRandom& random, std::uint32_t startTick, double startSerial)
    : gate_(gate), random_(random), startTick_(startTick), wallOffset_(0) {
  SetWallClock(startSerial);
}

SimLoop::~SimLoop() = default;

void SimLoop::Post(std::function<void()> event) { posts_.emplace(next_++, std::move(event)); }

std::unique_ptr<Alarm> SimLoop::NewAlarm(std::function<void()> tick) {
  return std::make_unique<SimAlarm>(*this, std::move(tick));
}

std::uint32_t SimLoop::TickCount() const {
  return startTick_ + static_cast<std::uint32_t>(static_cast<std::uint64_t>(now_ / kMillisecond));
}

double SimLoop::SecondsSinceMidnight() const {
  return static_cast<double>((wallOffset_ + now_) % kDay) / static_cast<double>(kSecond);
}

double SimLoop::Now() const { return static_cast<double>(wallOffset_ + now_) / static_cast<double>(kDay); }

void SimLoop::SetWallClock(double serial) {
  // A serial has a precision of about a microsecond; wall clocks are set in milliseconds.
  const double milliseconds = std::round(serial * 86400.0 * 1000.0);
  wallOffset_ = static_cast<Micros>(milliseconds) * kMillisecond - now_;
}

void SimLoop::Arrive(std::uint64_t source, Micros at, std::function<void()> event) {
  arrivals_.emplace(Key{std::max(at, now_), next_++}, Event{source, std::move(event)});
}

void SimLoop::InWorld(Micros at, std::function<void()> event) {
  world_.emplace(Key{std::max(at, now_), next_++}, Event{0, std::move(event)});
}

void SimLoop::StartAlarm(const std::shared_ptr<AlarmState>& alarm, std::uint32_t milliseconds, bool repeating) {
  StopAlarm(*alarm);
  const Micros span = static_cast<Micros>(milliseconds) * kMillisecond;
  // With an interval of 0, time would never move.
  alarm->interval = repeating ? std::max(span, kMillisecond) : 0;
  alarm->key = {now_ + (repeating ? alarm->interval : span), next_++};
  alarm->running = true;
  alarms_.emplace(alarm->key, alarm);
}

void SimLoop::StopAlarm(AlarmState& alarm) {
  if (!alarm.running) return;
  alarm.running = false;
  alarms_.erase(alarm.key);
}

void SimLoop::BeginRun() {
  if (running_) throw std::logic_error("a run call was made inside an event of the run");
  runStart_ = timeStart_ = events_;
}

bool SimLoop::RunUntil(const std::function<bool()>& condition, Micros limit) {
  BeginRun();
  const Micros end = now_ + limit;
  for (;;) {
    if (condition()) return true;
    if (ended_) return false;
    if (StepReady()) continue;
    if (Advance(end)) continue;
    now_ = std::max(now_, end);
    return condition();
  }
}

void SimLoop::RunFor(Micros span) {
  BeginRun();
  const Micros end = now_ + span;
  while (!ended_) {
    if (StepReady()) continue;
    if (Advance(end)) continue;
    now_ = std::max(now_, end);
    return;
  }
}

void SimLoop::RunReady() {
  BeginRun();
  while (!ended_ && StepReady()) {
  }
}

bool SimLoop::RunUntilIdle(Micros limit) {
  BeginRun();
  const Micros end = now_ + limit;
  while (!ended_) {
    if (StepReady()) continue;
    if (Idle()) return true;
    if (Advance(end)) continue;
    now_ = std::max(now_, end);
    return false;
  }
  return false;
}

bool SimLoop::NextDue(Micros& due) const {
  bool found = false;
  const auto look = [&](Micros at) {
    due = found ? std::min(due, at) : at;
    found = true;
  };
  if (!world_.empty()) look(world_.begin()->first.first);
  if (!arrivals_.empty()) look(arrivals_.begin()->first.first);
  if (!alarms_.empty()) look(alarms_.begin()->first.first);
  return found;
}

bool SimLoop::Advance(Micros end) {
  Micros due = 0;
  if (!NextDue(due) || due > end) return false;
  now_ = std::max(now_, due);
  timeStart_ = events_;
  return true;
}

bool SimLoop::StepReady() {
  const bool arrival = !arrivals_.empty() && arrivals_.begin()->first.first <= now_;
  const bool alarm = !alarms_.empty() && alarms_.begin()->first.first <= now_;
  if (!world_.empty() && world_.begin()->first.first <= now_) {
    RunWorld();
  } else if (!posts_.empty() && PostMayGo()) {
    RunPost();
  } else if (arrival) {
    RunArrival();
  } else if (alarm) {
    RunAlarm();
  } else {
    return false;
  }
  return true;
}

// A posted event comes after all that was ready when it was posted. Of what became ready later, only arrivals may
// overtake it: alarms and posted events keep the order of their calls.
bool SimLoop::PostMayGo() {
  const std::uint64_t number = posts_.begin()->first;
  if (!alarms_.empty()) {
    const Key& alarm = alarms_.begin()->first;
    if (alarm.first <= now_ && (alarm.first < now_ || alarm.second < number)) return false;
  }
  if (arrivals_.empty()) return true;
  const Key& arrival = arrivals_.begin()->first;
  if (arrival.first > now_) return true;
  if (arrival.first < now_ || arrival.second < number) return false;
  return random_.Coin();
}

void SimLoop::RunWorld() {
  auto event = world_.extract(world_.begin());
  Count();
  Guarded(event.mapped().run);
}

void SimLoop::RunArrival() {
  // The seed chooses one of the ready sources; its first arrival is delivered.
  constexpr std::size_t kLooked = 64;
  std::vector<std::map<Key, Event>::iterator> firsts;
  for (auto at = arrivals_.begin(); at != arrivals_.end() && at->first.first <= now_ && firsts.size() < kLooked; ++at) {
    const std::uint64_t source = at->second.source;
    const bool known =
        std::any_of(firsts.begin(), firsts.end(), [&](const auto& first) { return first->second.source == source; });
    if (!known) firsts.push_back(at);
  }
  const std::size_t chosen = firsts.size() == 1 ? 0 : static_cast<std::size_t>(random_.Below(firsts.size()));
  auto event = arrivals_.extract(firsts[chosen]);
  Count();
  trace_.Note(now_, "arrival", event.mapped().source);
  Deliver(SimLane::Arrival, event.mapped().run);
}

void SimLoop::RunAlarm() {
  const std::shared_ptr<AlarmState> alarm = alarms_.begin()->second;  // its tick may destroy the Alarm
  alarms_.erase(alarms_.begin());
  alarm->running = false;
  if (alarm->interval > 0) {
    // Ticks missed in a stall are skipped.
    Micros due = alarm->key.first + alarm->interval;
    if (due <= now_) due = now_ + alarm->interval - (now_ - alarm->key.first) % alarm->interval;
    alarm->key = {due, next_++};
    alarm->running = true;
    alarms_.emplace(alarm->key, alarm);
  }
  Count();
  trace_.Note(now_, "tick", alarm->id);
  Deliver(SimLane::Alarm, alarm->tick);
}

void SimLoop::RunPost() {
  auto event = posts_.extract(posts_.begin());
  Count();
  trace_.Note(now_, "post", event.key());
  Deliver(SimLane::Post, event.mapped());
}

void SimLoop::Deliver(SimLane lane, const std::function<void()>& event) {
  Guarded([&] { gate_.Deliver(event); });
  if (afterEach_) afterEach_(lane);
}

void SimLoop::Guarded(const std::function<void()>& event) {
  running_ = true;
  struct Leave {
    bool& running;
    ~Leave() { running = false; }
  };
  const Leave leave{running_};
  try {
    event();
  } catch (const SimKilled&) {
    NoteKilled();
  }
}

void SimLoop::Count() {
  ++events_;
  if (SimTorturer::present && SimTorturer::present->ShouldStop(events_ - timeStart_)) End();
  if (events_ - timeStart_ > atOneTime_) GiveUp("too many events without time moving");
  if (events_ - runStart_ > perRun_) GiveUp("too many events in one run");
}

void SimLoop::GiveUp(const std::string& why) {
  ended_ = true;
  throw SimRunaway(why + " (" + std::to_string(events_ - runStart_) + "); the last ones:\n" + trace_.Tail());
}

}  // namespace pellora
