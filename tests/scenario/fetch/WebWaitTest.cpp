// Downloads that wait give their place in the limit to others.
#include <gtest/gtest.h>

#include "WebApp.h"
#include "core/WebTexts.h"
#include "ports/Dialogs.h"

namespace pellora {
namespace {

constexpr const char* kBusy = "https://busy.example/a.bin";
constexpr const char* kFree = "https://free.example/b.bin";

class WebWait : public testing::Test, public WebApp {
 protected:
  WebWait() : busy(sim.network(), "busy.example", 443), free(sim.network(), "free.example", 443) {
    busy.File("/a.bin", content);
    busy.Traits("/a.bin").validators = {{.etag = "\"1\"", .modified = 1'700'000'000}};
    free.File("/b.bin", content);
    Start();
    program().settings.MaxSimulDownlads = 1;
  }
  void AnswersBusy(const std::string& seconds) { busy.Always({.status = 503, .retryAfter = seconds}); }
  void FreeTakes(std::uint64_t seconds) {
    program().settings.MaxSegments = 1;
    free.Always({.wire = {.bytesPerSecond = 20'000'000 / seconds}});
  }
  const SimContent content = SimContent::Generated(20'000'000, 7);
  SimHttpServer busy, free;
};

TEST_F(WebWait, LongerThanAMinuteGivesThePlaceToTheNext) {
  AnswersBusy("90");
  FreeTakes(200);
  Add(kBusy);
  Add(kFree);
  EXPECT_EQ(StateWord(2), "queued");
  sim.RunFor(2000);
  EXPECT_EQ(StateWord(1), "active");
  EXPECT_EQ(StateWord(2), "active");
  EXPECT_EQ(program().ActiveCount(), 1);
  EXPECT_NE(Web(1).reason, "");
}

TEST_F(WebWait, UpToAMinuteKeepsThePlace) {
  AnswersBusy("50");
  Add(kBusy);
  Add(kFree);
  sim.RunFor(45'000);
  EXPECT_EQ(StateWord(1), "active");
  EXPECT_EQ(StateWord(2), "queued");
}

TEST_F(WebWait, ThatIsOverTakesAFreePlace) {
  AnswersBusy("90");
  Add(kBusy);
  sim.RunFor(2000);
  EXPECT_EQ(program().ActiveCount(), 0);
  busy.Always({});
  ASSERT_TRUE(RunUntilReceived(1'000'000, 1, 95'000));
  EXPECT_EQ(program().ActiveCount(), 1);
  EXPECT_TRUE(RunUntilFinished(1));
}

TEST_F(WebWait, ThatIsOverQueuesWhereNoPlaceIsFree) {
  AnswersBusy("90");
  FreeTakes(200);
  Add(kBusy);
  Add(kFree);
  sim.RunFor(2000);
  busy.Always({});
  sim.RunFor(100'000);
  EXPECT_EQ(StateWord(1), "queued");
  EXPECT_EQ(StateWord(2), "active");
  EXPECT_EQ(program().ActiveCount(), 1);
  ASSERT_TRUE(RunUntilFinished(2));
  ASSERT_TRUE(RunUntilFinished(1));
  EXPECT_TRUE(sim.disk().Holds(Record(1).SavePath, content));
}

TEST_F(WebWait, ThatIsPausedStaysSo) {
  AnswersBusy("90");
  FreeTakes(200);
  Add(kBusy);
  Add(kFree);
  sim.RunFor(2000);
  const std::string id = app.List().at(0).id;
  sim.Do([&] { EXPECT_EQ(app.Pause(id), ""); });
  busy.Always({});
  EXPECT_EQ(StateWord(1), "paused");
  sim.RunFor(100'000);
  EXPECT_EQ(StateWord(1), "paused");
  EXPECT_EQ(StateWord(2), "active");
}

TEST_F(WebWait, ThatIsQueuedIsStillThereAfterAKill) {
  AnswersBusy("90");
  FreeTakes(2000);
  Add(kBusy);
  Add(kFree);
  sim.RunFor(100'000);
  ASSERT_EQ(StateWord(1), "queued");
  sim.disk().CutNow();
  sim.RunFor(1000);
  WebApp next({.disk = sim.disk().TakeState()});
  SimHttpServer again(next.sim.network(), "busy.example", 443);
  again.File("/a.bin", content);
  next.Start();
  EXPECT_EQ(next.StateWord(2), "paused");
  EXPECT_TRUE(next.RunUntilFinished(1));
}

TEST_F(WebWait, ForAnAnswerGivesThePlaceAndTheAnswerWaitsForOne) {
  program().settings.MaxSegments = 1;
  Add(kBusy);
  ASSERT_TRUE(RunUntilReceived(1'000'000));
  const std::string id = app.List().at(0).id;
  sim.Do([&] { EXPECT_EQ(app.Pause(id), ""); });
  sim.RunFor(3000);
  const SimContent changed = SimContent::Generated(20'000'000, 8);
  busy.File("/a.bin", changed);
  busy.Traits("/a.bin").validators = {{.etag = "\"2\"", .modified = 1'800'000'000}};
  FreeTakes(100);
  Add(kFree);
  sim.RunFor(1000);
  sim.Do([&] { app.ResumeAll(); });
  sim.RunFor(1000);
  EXPECT_EQ(StateWord(1), "queued");
  program().settings.MaxSimulDownlads = 2;
  ASSERT_TRUE(sim.RunUntil([&] { return WindowOf() && WindowOf()->Asks(); }));
  EXPECT_EQ(StateWord(1), "failed");
  EXPECT_EQ(program().ActiveCount(), 1);
  program().settings.MaxSimulDownlads = 1;
  Decide(true);
  EXPECT_EQ(StateWord(1), "queued");
  EXPECT_EQ(program().ActiveCount(), 1);
  ASSERT_TRUE(RunUntilFinished(2));
  ASSERT_TRUE(RunUntilFinished(1));
  EXPECT_TRUE(sim.disk().Holds(Record(1).SavePath, changed));
}

}  // namespace
}  // namespace pellora
