#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QElapsedTimer>
#include <QSocketNotifier>
#include <chrono>
#include <thread>
#include <vector>

#include "Support.h"
#include "async/EventGate.h"
#include "desktop/QtEventLoop.h"
#include "ports/Failure.h"

namespace pellora {
namespace {

class QtEventLoopTest : public testing::Test {
 protected:
  EventGate gate;
  QtEventLoop events{gate};
  std::vector<int> seen;

  void PostNumber(int number) {
    events.Post([this, number] { seen.push_back(number); });
  }
  bool Saw(std::size_t count) {
    return RunUntil([&] { return seen.size() >= count; });
  }
};

TEST_F(QtEventLoopTest, DeliversPostedEventsInOrderAfterTheCall) {
  for (int i = 0; i < 100; ++i) PostNumber(i);
  EXPECT_TRUE(seen.empty());
  ASSERT_TRUE(Saw(100));
  for (int i = 0; i < 100; ++i) EXPECT_EQ(seen[static_cast<std::size_t>(i)], i);
}

TEST_F(QtEventLoopTest, ContinuesAfterAFailingEvent) {
  events.Post([] { throw Failure(FailureNumber::InvalidCall, "abandoned"); });
  PostNumber(1);
  EXPECT_TRUE(Saw(1));
}

TEST_F(QtEventLoopTest, NeverTicksEarly) {
  QElapsedTimer clock;
  clock.start();
  const auto alarm = events.NewAlarm([&] { seen.push_back(static_cast<int>(clock.elapsed())); });
  alarm->Start(50, false);
  ASSERT_TRUE(Saw(1));
  EXPECT_GE(seen[0], 50);
  RunFor(80);
  EXPECT_EQ(seen.size(), 1u);
}

TEST_F(QtEventLoopTest, RepeatsUntilStoppedInsideItsTick) {
  std::unique_ptr<Alarm> alarm;
  alarm = events.NewAlarm([&] {
    seen.push_back(0);
    if (seen.size() == 3) alarm->Stop();
  });
  alarm->Start(5, true);
  ASSERT_TRUE(Saw(3));
  RunFor(30);
  EXPECT_EQ(seen.size(), 3u);
}

TEST_F(QtEventLoopTest, SurvivesAnAlarmDestroyedInsideItsTick) {
  auto alarm = events.NewAlarm([] {});
  std::string after;
  alarm = events.NewAlarm([&, text = std::string(100, 'x')] {
    alarm.reset();
    after = text;
    seen.push_back(1);
  });
  alarm->Start(1, true);
  ASSERT_TRUE(Saw(1));
  RunFor(20);
  EXPECT_EQ(seen.size(), 1u);
  EXPECT_EQ(after, std::string(100, 'x'));
}

TEST_F(QtEventLoopTest, NeverTicksAfterStopEvenIfDue) {
  const auto alarm = events.NewAlarm([&] { seen.push_back(1); });
  alarm->Start(1, false);
  std::this_thread::sleep_for(std::chrono::milliseconds(5));
  alarm->Stop();
  RunFor(20);
  EXPECT_TRUE(seen.empty());
}

TEST_F(QtEventLoopTest, TicksEqualAlarmsInStartOrder) {
  std::vector<std::unique_ptr<Alarm>> alarms;
  alarms.reserve(8);
  for (int i = 0; i < 8; ++i) alarms.push_back(events.NewAlarm([this, i] { seen.push_back(i); }));
  for (const auto& alarm : alarms) alarm->Start(10, false);
  ASSERT_TRUE(Saw(8));
  EXPECT_EQ(seen, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7}));
}

TEST_F(QtEventLoopTest, ReadySocketPrecedesADueAlarmAfterALongHandler) {
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
  QSocketNotifier notifier(ends[0], QSocketNotifier::Read);
  QObject::connect(&notifier, &QSocketNotifier::activated, [&] {
    notifier.setEnabled(false);
    seen.push_back(1);
  });
  const auto alarm = events.NewAlarm([&] { seen.push_back(2); });
  alarm->Start(10, false);
  events.Post([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    ASSERT_EQ(write(ends[1], "x", 1), 1);
  });
  ASSERT_TRUE(Saw(2));
  EXPECT_EQ(seen, (std::vector<int>{1, 2}));
  close(ends[0]);
  close(ends[1]);
}

TEST_F(QtEventLoopTest, RepostingEventDoesNotStarveAlarms) {
  std::function<void()> again = [&] { events.Post(again); };
  events.Post(again);
  const auto alarm = events.NewAlarm([&] { seen.push_back(1); });
  alarm->Start(5, true);
  EXPECT_TRUE(Saw(5));
}

TEST(QtEventLoop, CanBeDestroyedBeforeItsAlarms) {
  EventGate gate;
  auto events = std::make_unique<QtEventLoop>(gate);
  const auto alarm = events->NewAlarm([] {});
  alarm->Start(1, true);
  events.reset();
  alarm->Stop();
  RunFor(5);
}

}  // namespace
}  // namespace pellora
