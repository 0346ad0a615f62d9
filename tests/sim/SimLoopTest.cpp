#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "SimLoop.h"
#include "SimPlatform.h"
#include "ports/Failure.h"

namespace pellora {
namespace {

constexpr SimLoop::Micros kMs = SimLoop::kMillisecond;

class SimLoopTest : public testing::Test {
 protected:
  std::unique_ptr<Alarm> NewAlarm(const std::string& letter) {
    return sim.loop().NewAlarm([this, letter] { order += letter; });
  }
  void Post(const std::string& letter) {
    sim.loop().Post([this, letter] { order += letter; });
  }
  void Arrive(std::uint64_t source, SimLoop::Micros at, const std::string& letter) {
    sim.loop().Arrive(source, at, [this, letter] { order += letter; });
  }

  SimPlatform sim;
  std::string order;
};

TEST_F(SimLoopTest, ReportsEachEventAndItsLaneAfterItEnds) {
  sim.loop().SetAfterEach([this](SimLane lane) { order += std::to_string(static_cast<int>(lane)); });
  const auto alarm = NewAlarm("a");
  alarm->Start(20, false);
  Post("p");
  Arrive(1, 10 * kMs, "r");
  sim.loop().InWorld(5 * kMs, [this] { order += "w"; });  // not an event of the program
  EXPECT_EQ(sim.loop().RunningAlarms(), 1U);
  sim.RunFor(50);
  EXPECT_EQ(order, "p2wr0a1");
  EXPECT_EQ(sim.loop().RunningAlarms(), 0U);
}

TEST_F(SimLoopTest, HashDoesNotDependOnKeepingEntries) {
  SimPlatform other({.seed = sim.Seed()});
  other.trace().KeepNoEntries();
  for (SimPlatform* const one : {&sim, &other}) {
    one->loop().Post([] {});
    one->RunFor(10);
  }
  EXPECT_EQ(sim.trace().Hash(), other.trace().Hash());
  EXPECT_FALSE(sim.trace().Lines().empty());
  EXPECT_TRUE(other.trace().Lines().empty());
}

TEST_F(SimLoopTest, TicksEqualAlarmsInStartOrder) {
  const auto a = NewAlarm("a");
  const auto b = NewAlarm("b");
  const auto c = NewAlarm("c");
  b->Start(50, false);
  c->Start(50, false);
  a->Start(50, false);
  sim.RunFor(50);
  EXPECT_EQ(order, "bca");
}

TEST_F(SimLoopTest, DeliversNothingInsideTheRequestingCall) {
  const auto alarm = NewAlarm("a");
  alarm->Start(0, false);
  Post("p");
  Arrive(1, sim.loop().Time(), "s");
  EXPECT_EQ(order, "");
  sim.RunReady();
  EXPECT_EQ(order.size(), 3U);
}

TEST_F(SimLoopTest, DeliversPostedEventsInOrderAfterReadyOnes) {
  const auto alarm = NewAlarm("a");
  alarm->Start(0, false);
  Arrive(1, sim.loop().Time(), "s");
  Post("p");
  Post("q");
  sim.RunReady();
  EXPECT_EQ(order, "sapq");
}

TEST_F(SimLoopTest, PostingEventDoesNotOvertakeOthers) {
  sim.loop().Post([this] {
    order += "1";
    Post("3");
  });
  Post("2");
  sim.RunReady();
  EXPECT_EQ(order, "123");
}

TEST_F(SimLoopTest, ReadySocketsComeBeforeDueTimers) {
  const auto alarm = NewAlarm("a");
  alarm->Start(10, false);
  Arrive(1, 10 * kMs, "s");
  sim.RunFor(10);
  EXPECT_EQ(order, "sa");
}

TEST_F(SimLoopTest, ArrivalsOfOneSourceKeepTheirOrder) {
  for (const char* letter : {"a", "b", "c", "d", "e"}) Arrive(9, 5 * kMs, letter);
  sim.RunFor(5);
  EXPECT_EQ(order, "abcde");
}

TEST(SimLoop, SeedOrdersEqualArrivalsOfDifferentSources) {
  std::set<std::string> orders;
  for (std::uint64_t seed = 1; seed <= 20; ++seed) {
    SimPlatform sim({.seed = seed});
    std::string order;
    sim.loop().Arrive(1, 0, [&] { order += "a"; });
    sim.loop().Arrive(2, 0, [&] { order += "b"; });
    sim.RunReady();
    orders.insert(order);
  }
  EXPECT_EQ(orders, (std::set<std::string>{"ab", "ba"}));
}

TEST_F(SimLoopTest, NeverTicksAfterStop) {
  const auto alarm = NewAlarm("a");
  alarm->Start(10, true);
  sim.RunFor(25);
  alarm->Stop();
  sim.RunFor(1000);
  EXPECT_EQ(order, "aa");
}

TEST_F(SimLoopTest, NeverTicksADueAlarmStoppedByAnEqualOne) {
  auto victim = NewAlarm("v");
  const auto stopper = sim.loop().NewAlarm([&] { victim->Stop(); });
  stopper->Start(10, false);
  victim->Start(10, true);
  sim.RunFor(100);
  EXPECT_EQ(order, "");
}

TEST_F(SimLoopTest, NeverTicksAnAlarmDestroyedInsideItsTick) {
  std::unique_ptr<Alarm> alarm;
  alarm = sim.loop().NewAlarm([&] {
    order += "a";
    alarm.reset();
    order += "b";
  });
  alarm->Start(10, true);
  sim.RunFor(100);
  EXPECT_EQ(order, "ab");
}

TEST_F(SimLoopTest, RestartedAlarmTicksOnlyAtItsNewTime) {
  const auto alarm = NewAlarm("a");
  alarm->Start(10, false);
  sim.RunFor(9);
  alarm->Start(10, false);
  sim.RunFor(9);
  EXPECT_EQ(order, "");
  sim.RunFor(1);
  EXPECT_EQ(order, "a");
}

TEST_F(SimLoopTest, RunForEndsExactlyAndIncludesEventsDueThen) {
  const auto alarm = NewAlarm("a");
  alarm->Start(10, true);
  sim.RunFor(30);
  EXPECT_EQ(order, "aaa");
  EXPECT_EQ(sim.Elapsed(), 30);
  sim.RunFor(9);
  EXPECT_EQ(order, "aaa");
  EXPECT_EQ(sim.Elapsed(), 39);
}

TEST_F(SimLoopTest, RunUntilStopsAtTheEventThatMadeItTrue) {
  const auto alarm = NewAlarm("a");
  const auto other = NewAlarm("b");
  alarm->Start(10, true);
  other->Start(20, false);
  EXPECT_TRUE(sim.RunUntil([&] { return order == "aa" || order == "ab" || order == "ba"; }));
  EXPECT_EQ(sim.Elapsed(), 20);
  EXPECT_EQ(order.size(), 2U);
}

TEST_F(SimLoopTest, RunUntilStopsExactlyAtItsLimit) {
  EXPECT_FALSE(sim.RunUntil([] { return false; }, 777));
  EXPECT_EQ(sim.Elapsed(), 777);
}

TEST_F(SimLoopTest, RunUntilIdleEndsWithTheLastEvent) {
  const auto alarm = NewAlarm("a");
  alarm->Start(123, false);
  EXPECT_TRUE(sim.RunUntilIdle());
  EXPECT_EQ(sim.Elapsed(), 123);
  alarm->Start(10, true);
  EXPECT_FALSE(sim.RunUntilIdle(1000));
}

TEST_F(SimLoopTest, TimeMovesOnlyWhenNothingIsReady) {
  int left = 1000;
  std::function<void()> again = [&] {
    EXPECT_EQ(sim.Elapsed(), 0);
    if (--left > 0) sim.loop().Post(again);
  };
  sim.loop().Post(again);
  const auto alarm = sim.loop().NewAlarm([&] { EXPECT_EQ(left, 0); });
  alarm->Start(1, false);
  sim.RunFor(1);
  EXPECT_EQ(left, 0);
}

TEST_F(SimLoopTest, RepeatingAlarmDoesNotMakeUpForMissedTicks) {
  std::vector<double> times;
  const auto alarm = sim.loop().NewAlarm([&] { times.push_back(sim.Elapsed()); });
  alarm->Start(100, true);
  sim.Stall(350);
  sim.RunFor(150);
  EXPECT_EQ(times, (std::vector<double>{350, 400, 500}));
}

TEST_F(SimLoopTest, RunOfTooManyEventsIsAborted) {
  sim.loop().SetEventLimits(1000, 500);
  std::function<void()> again = [&] { sim.loop().Post(again); };
  sim.loop().Post(again);
  EXPECT_THROW(sim.RunFor(1), SimRunaway);
  EXPECT_TRUE(sim.Ended());
}

TEST_F(SimLoopTest, NothingIsDeliveredAfterTheProgramEnded) {
  const auto alarm = NewAlarm("a");
  alarm->Start(10, true);
  sim.loop().Post([this] {
    sim.machine().End(3);
    order += "rest";
  });
  Post("p");
  sim.RunFor(100);
  EXPECT_EQ(order, "rest");
  EXPECT_EQ(sim.machine().endCode, 3);
  EXPECT_TRUE(sim.Ended());
}

TEST_F(SimLoopTest, FailureEndsOnlyItsEvent) {
  sim.loop().Post([] { throw Failure(FailureNumber::OutOfRange, "index"); });
  Post("p");
  sim.RunReady();
  EXPECT_EQ(order, "p");
}

TEST_F(SimLoopTest, ProgrammingErrorReachesTheTest) {
  sim.loop().Post([] { throw std::out_of_range("vector"); });
  EXPECT_THROW(sim.RunReady(), std::out_of_range);
}

TEST_F(SimLoopTest, RunInsideAnEventIsRefused) {
  sim.loop().Post([this] { sim.RunFor(1); });
  EXPECT_THROW(sim.RunReady(), std::logic_error);
}

TEST(SimClock, StartsAtTheGivenTickAndWraps) {
  SimPlatform sim({.startTick = kTickNearWrap});
  const std::uint32_t before = sim.platform().clock.TickCount();
  EXPECT_EQ(before, 4294957296U);
  sim.RunFor(10'500);
  EXPECT_EQ(sim.platform().clock.TickCount(), 500U);
  EXPECT_EQ(TicksSince(sim.platform().clock.TickCount(), before), 10'500);
}

TEST(SimClock, PassesTheSignBit) {
  SimPlatform sim({.startTick = kTickNearSign});
  sim.RunFor(10'001);
  EXPECT_EQ(sim.platform().clock.TickCount(), 0x80000001U);
}

TEST(SimClock, ReturnsToZeroAtMidnight) {
  SimPlatform sim({.startSerial = 46000.0});
  sim.SetTimeOfDay(86399.5);
  EXPECT_EQ(sim.platform().clock.SecondsSinceMidnight(), 86399.5);
  const std::uint32_t tick = sim.platform().clock.TickCount();
  sim.RunFor(750);
  EXPECT_EQ(sim.platform().clock.SecondsSinceMidnight(), 0.25);
  EXPECT_EQ(sim.platform().clock.Now(), 46001.0 + 0.25 / 86400);
  EXPECT_EQ(TicksSince(sim.platform().clock.TickCount(), tick), 750);
}

TEST(SimClock, SettingTheWallClockMovesNothingElse) {
  SimPlatform sim;
  const std::uint32_t tick = sim.platform().clock.TickCount();
  sim.SetWallClock(50000.5);
  EXPECT_EQ(sim.platform().clock.Now(), 50000.5);
  EXPECT_EQ(sim.platform().clock.SecondsSinceMidnight(), 43200);
  EXPECT_EQ(sim.platform().clock.TickCount(), tick);
}

}  // namespace
}  // namespace pellora
