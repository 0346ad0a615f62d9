#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "SimPlatform.h"
#include "async/TaskLoop.h"
#include "async/Timer.h"
#include "ports/Clock.h"
#include "ports/Failure.h"

namespace pellora {
namespace {

// The state shared with a test's tasks.
struct Stage {
  SimPlatform sim;
  TaskLoop& tasks = sim.tasks();
  std::string log;
  bool go = false;
  int tests = 0;  // of a counted condition
};

class TaskLoopTest : public testing::Test, protected Stage {};

Task<> YieldOnce(Stage* s) {
  s->log += "a";
  co_await s->tasks.Yield();
  s->log += "b";
}

Task<> WaitForGo(Stage* s) {
  co_await s->tasks.Until([s] {
    ++s->tests;
    return s->go;
  });
  s->log += "go";
}

Task<> WaitForGoByEvent(Stage* s) {
  co_await s->tasks.UntilEvent([s] {
    ++s->tests;
    return s->go;
  });
  s->log += "go";
}

Task<int> DeepFailure(Stage* s) {
  co_await s->tasks.Yield();
  throw Failure(FailureNumber::OutOfRange, "deep");
}

Task<int> MiddleLevel(Stage* s) {
  const int value = co_await DeepFailure(s);
  s->log += "unreached";
  co_return value + 1;
}

Task<> CatchesAtTheTop(Stage* s) {
  try {
    const int value = co_await MiddleLevel(s);
    s->log += std::to_string(value);
  } catch (const Failure& failure) {
    s->log += failure.what();
  }
  co_await s->tasks.Yield();
  s->log += " on";
}

Task<> LetsItThrough(Stage* s) {
  const int value = co_await MiddleLevel(s);
  s->log += std::to_string(value);
}

Task<> ThrowsAnError(Stage* s) {
  co_await s->tasks.Yield();
  throw std::logic_error("wrong");
}

Task<> HoldsUntilGo(Stage* s, std::shared_ptr<std::string> held) {
  co_await s->tasks.Until([s] { return s->go; });
  s->log += *held;
}

Task<int> Sum(Stage* s, int depth) {
  if (depth == 0) co_return 0;
  const int below = co_await Sum(s, depth - 1);
  co_return below + 1;
}

Task<> SumUp(Stage* s, int depth) {
  const int sum = co_await Sum(s, depth);
  s->log += std::to_string(sum);
}

TEST_F(TaskLoopTest, TaskRunsInPlaceUpToItsFirstWait) {
  tasks.Spawn(YieldOnce(this));
  EXPECT_EQ(log, "a");
  EXPECT_EQ(tasks.RunningTasks(), 1U);
  sim.RunReady();
  EXPECT_EQ(log, "ab");
  EXPECT_EQ(tasks.RunningTasks(), 0U);
}

TEST_F(TaskLoopTest, YieldLetsEverythingReadyRunFirst) {
  sim.loop().Arrive(1, 0, [this] { log += "1"; });
  sim.loop().Post([this] { log += "2"; });
  tasks.Spawn(YieldOnce(this));
  sim.RunReady();
  EXPECT_EQ(log, "a12b");
}

TEST_F(TaskLoopTest, UntilTestsAgainAfterEveryEvent) {
  tasks.Spawn(WaitForGo(this));
  const int before = tests;
  sim.RunReady();
  EXPECT_EQ(tests, before);
  sim.Do([] {});
  EXPECT_EQ(tests, before + 1);
  sim.Do([this] { go = true; });
  EXPECT_EQ(log, "go");
  EXPECT_EQ(sim.Elapsed(), 0);
}

TEST_F(TaskLoopTest, UntilTestsAgainEveryTenMilliseconds) {
  tasks.Spawn(WaitForGo(this));
  const int before = tests;
  sim.RunFor(9);
  EXPECT_EQ(tests, before);
  sim.RunFor(1);
  EXPECT_EQ(tests, before + 1);
  sim.RunFor(1000);
  EXPECT_EQ(tests, before + 101);
  go = true;  // not by an event
  sim.RunFor(10);
  EXPECT_EQ(log, "go");
}

TEST_F(TaskLoopTest, UntilTestsEveryTenMillisecondsAfterALongFirstTest) {
  tasks.Spawn([](Stage* s) -> Task<> {
    co_await s->tasks.Until(
        [s] {
          ++s->tests;
          return s->go;
        },
        200);
  }(this));
  const int before = tests;
  sim.RunFor(199);
  EXPECT_EQ(tests, before);
  sim.RunFor(101);
  EXPECT_EQ(tests, before + 11);
}

TEST_F(TaskLoopTest, UntilEventIsNotTestedByTimeAlone) {
  tasks.Spawn(WaitForGoByEvent(this));
  const int before = tests;
  go = true;
  sim.RunFor(1000);
  EXPECT_EQ(tests, before);
  sim.Do([] {});
  EXPECT_EQ(log, "go");
}

TEST_F(TaskLoopTest, NothingTicksWithoutAWaitingTask) {
  tasks.Spawn(WaitForGo(this));
  sim.Do([this] { go = true; });
  EXPECT_TRUE(sim.RunUntilIdle(20));
}

TEST_F(TaskLoopTest, FailurePropagatesThroughTwoLevels) {
  tasks.Spawn(CatchesAtTheTop(this));
  sim.RunUntilIdle();
  EXPECT_EQ(log, "deep on");
  EXPECT_EQ(tasks.RunningTasks(), 0U);
}

TEST_F(TaskLoopTest, UncaughtFailureEndsOnlyItsTask) {
  tasks.Spawn(LetsItThrough(this));
  tasks.Spawn(YieldOnce(this));
  sim.RunUntilIdle();
  EXPECT_EQ(log, "ab");
  EXPECT_EQ(tasks.RunningTasks(), 0U);
}

TEST_F(TaskLoopTest, ProgrammingErrorIsNotSwallowed) {
  tasks.Spawn(ThrowsAnError(this));
  EXPECT_THROW(sim.RunUntilIdle(), std::logic_error);
}

TEST_F(TaskLoopTest, TaskKeepsItsObjectsUntilItEnds) {
  const auto object = std::make_shared<std::string>("alive");
  const std::weak_ptr<std::string> watch = object;
  tasks.Spawn(HoldsUntilGo(this, object));
  EXPECT_EQ(watch.use_count(), 2);
  sim.Do([this] { go = true; });
  EXPECT_EQ(log, "alive");
  EXPECT_EQ(watch.use_count(), 1);
}

TEST_F(TaskLoopTest, ClearDestroysWaitingTasksWithoutResumingThem) {
  std::weak_ptr<std::string> watch;
  {
    const auto object = std::make_shared<std::string>("alive");
    watch = object;
    tasks.Spawn(HoldsUntilGo(this, object));
  }
  tasks.Spawn(YieldOnce(this));
  tasks.Spawn(LetsItThrough(this));
  tasks.Clear();
  EXPECT_TRUE(watch.expired());
  EXPECT_EQ(tasks.RunningTasks(), 0U);
  go = true;
  EXPECT_TRUE(sim.RunUntilIdle(100));
  EXPECT_EQ(log, "a");
}

TEST_F(TaskLoopTest, ManyTasksWaitAndEndIndependently) {
  for (int i = 0; i < 1000; ++i) tasks.Spawn(WaitForGo(this));
  EXPECT_EQ(tasks.RunningTasks(), 1000U);
  sim.Do([this] { go = true; });
  EXPECT_EQ(tasks.RunningTasks(), 0U);
  EXPECT_EQ(log.size(), 2000U);
}

TEST_F(TaskLoopTest, NestedAwaitsReturnTheirValues) {
  tasks.Spawn(SumUp(this, 500));
  EXPECT_EQ(log, "500");
}

TEST_F(TaskLoopTest, RepeatingTimerTicksWhileItsTickWaits) {
  Timer timer(sim.platform(), 100);
  timer.OnTimer = [this] {
    log += "t";
    if (log == "t") tasks.Spawn(WaitForGo(this));
  };
  timer.SetEnabled(true);
  sim.RunFor(500);
  EXPECT_EQ(log, "ttttt");
  sim.Do([this] { go = true; });
  EXPECT_EQ(log, "tttttgo");
}

TEST_F(TaskLoopTest, EnablingARunningTimerKeepsItsInterval) {
  Timer timer(sim.platform(), 1000);
  timer.OnTimer = [this] { log += "t"; };
  timer.SetEnabled(true);
  sim.RunFor(600);
  timer.SetEnabled(true);
  sim.RunFor(400);
  EXPECT_EQ(log, "t");
  sim.RunFor(900);
  timer.SetEnabled(false);
  timer.SetEnabled(true);  // a new full interval
  sim.RunFor(999);
  EXPECT_EQ(log, "t");
  sim.RunFor(1);
  EXPECT_EQ(log, "tt");
}

TEST(TaskLoopLifetime, DestroyedPlatformReleasesWaitingTasks) {
  std::weak_ptr<std::string> watch;
  {
    Stage stage;
    const auto object = std::make_shared<std::string>("alive");
    watch = object;
    stage.tasks.Spawn(HoldsUntilGo(&stage, object));
    stage.tasks.Spawn(YieldOnce(&stage));
    stage.tasks.Spawn(CatchesAtTheTop(&stage));
  }
  EXPECT_TRUE(watch.expired());
}

}  // namespace
}  // namespace pellora
