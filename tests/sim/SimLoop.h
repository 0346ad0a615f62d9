// SimLoop: virtual time and the event queue of a simulated run.
//
// Four lanes are checked in this order after every event: the world (servers and the test's actions, outside the
// program), arrivals (reported by sockets), alarms, posted events. Time moves only when no lane has anything ready.
// Alarms of equal time tick in the order of the calls, arrivals of one source come in order; the seed decides which of
// several sources comes first, and whether a posted event or an arrival that became ready after it goes first.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>

#include "SimRandom.h"
#include "SimTrace.h"
#include "async/EventGate.h"
#include "ports/Clock.h"
#include "ports/EventLoop.h"

namespace pellora {

// Thrown by every port call that touches the disk once the process is cut off. It is not a Failure, so that the program
// never catches it.
class SimKilled : public std::runtime_error {
 public:
  SimKilled() : std::runtime_error("the simulated process was killed") {}
};

// Where an event of the program came from.
enum class SimLane { Arrival, Alarm, Post };

// A run made more events than allowed, or had none while waiting for some.
class SimRunaway : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class SimLoop final : public EventLoop, public Clock {
 public:
  using Micros = std::int64_t;
  static constexpr Micros kMillisecond = 1000;
  static constexpr Micros kSecond = 1000 * kMillisecond;
  static constexpr Micros kDay = 86400 * kSecond;

  SimLoop(EventGate& gate, SimRandom& random, std::uint32_t startTick, double startSerial);
  ~SimLoop() override;

  // The ports.
  void Post(std::function<void()> event) override;
  std::unique_ptr<Alarm> NewAlarm(std::function<void()> tick) override;
  std::uint32_t TickCount() const override;
  double SecondsSinceMidnight() const override;
  double Now() const override;

  // For the other parts of the simulator. Arrivals with the same `source` keep their order.
  // An arrival is delivered through the gate; a world event is not.
  void Arrive(std::uint64_t source, Micros at, std::function<void()> event);
  void InWorld(Micros at, std::function<void()> event);
  Micros Time() const { return now_; }  // since the start of the run
  SimTrace& Trace() { return trace_; }
  SimRandom& Random() { return random_; }

  // Ends the run: nothing more is delivered. The current event completes.
  void End() { ended_ = true; }
  bool Ended() const { return ended_; }
  bool Killed() const { return killed_; }
  void NoteKilled() { ended_ = killed_ = true; }

  // Running. `condition` is checked before the first event and after each.
  bool RunUntil(const std::function<bool()>& condition, Micros limit);
  // Runs everything due within `span`; the clock is then exactly there.
  void RunFor(Micros span);
  // Runs everything that is ready without time moving.
  void RunReady();
  // True once all lanes are empty; False if that does not happen within `limit`.
  bool RunUntilIdle(Micros limit);
  bool Idle() const { return world_.empty() && arrivals_.empty() && alarms_.empty() && posts_.empty(); }

  // Sets the wall clock but not the tick count.
  void SetWallClock(double serial);
  // Lets time pass while the program does not run (a busy or sleeping machine): what was due meanwhile comes late.
  void Stall(Micros span) { now_ += span; }

  std::uint64_t Events() const { return events_; }
  std::size_t RunningAlarms() const { return alarms_.size(); }
  // `hook` is called after each delivered event of the program, outside the event.
  void SetAfterEach(std::function<void(SimLane lane)> hook) { afterEach_ = std::move(hook); }
  // The maximum number of events in one run call, and without time moving.
  void SetEventLimits(std::uint64_t perRun, std::uint64_t atOneTime) {
    perRun_ = perRun;
    atOneTime_ = atOneTime;
  }

 private:
  friend class SimAlarm;
  struct AlarmState;
  struct Event {
    std::uint64_t source = 0;
    std::function<void()> run;
  };
  using Key = std::pair<Micros, std::uint64_t>;  // due, number

  void StartAlarm(const std::shared_ptr<AlarmState>& alarm, std::uint32_t milliseconds, bool repeating);
  void StopAlarm(AlarmState& alarm);
  bool StepReady();  // one ready event; False if there is none
  bool NextDue(Micros& due) const;
  bool Advance(Micros end);  // to the next due time, at most `end`; False if there is none
  void RunWorld();
  void RunArrival();
  void RunAlarm();
  void RunPost();
  bool PostMayGo();
  void Deliver(SimLane lane, const std::function<void()>& event);
  void Guarded(const std::function<void()>& event);
  void Count();
  [[noreturn]] void GiveUp(const std::string& why);
  void BeginRun();

  EventGate& gate_;
  SimRandom& random_;
  SimTrace trace_;
  std::uint32_t startTick_;
  Micros wallOffset_;  // wall clock in microseconds since day 0, at time 0
  Micros now_ = 0;
  std::uint64_t next_ = 1;
  std::map<Key, Event> world_;
  std::map<Key, Event> arrivals_;
  std::map<Key, std::shared_ptr<AlarmState>> alarms_;
  std::map<std::uint64_t, std::function<void()>> posts_;
  std::function<void(SimLane)> afterEach_;
  bool ended_ = false;
  bool killed_ = false;
  bool running_ = false;
  std::uint64_t events_ = 0;
  std::uint64_t runStart_ = 0;
  std::uint64_t timeStart_ = 0;
  std::uint64_t perRun_ = 50'000'000;
  std::uint64_t atOneTime_ = 2'000'000;
};

}  // namespace pellora
