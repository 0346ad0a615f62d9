// Places for the web engine's downloads, and starts at any setting.
#include "WebFixture.h"
#include "transferwin/TransferWindow.h"

namespace pellora {
namespace {

class WebQueue : public WebFixture {
 protected:
  WebQueue() {
    sim.settings().values[{"Pellora", "MaxSimulDownlads"}] = "2";
    Start();
  }
  std::int16_t Listed(const std::string& url) {
    return Record(url, [](auto& r) {
      r.FileName.clear();
      r.Host = "h";
    });
  }
  std::int16_t Queued(const std::string& url) {
    const std::int16_t index = Listed(url);
    Rec(index).Queued = 1;
    return index;
  }
  TransferWindow& Window(int index) { return dynamic_cast<TransferWindow&>(*program().TransferWindowAt(index)); }
};

TEST_F(WebQueue, TakesItsPlaceAtOnceSoThatABurstOfAddsKeepsToTheLimit) {
  Do([&] {
    for (int i = 0; i < 10; ++i) app->MenuURL("https://h/" + std::to_string(i), "", "");
  });
  EXPECT_EQ(engines.size(), 2U);
  EXPECT_EQ(program().ActiveCount(), 2);
  for (int i = 3; i <= 10; ++i) EXPECT_EQ(Rec(i).Queued, 1) << i;
}

TEST_F(WebQueue, GivesAFreedPlaceToTheFirstInOrderBeforeTheNextTick) {
  for (int i = 0; i < 5; ++i) Add("https://h/" + std::to_string(i));
  ASSERT_EQ(engines.size(), 2U);
  Do([&] { engines[0]->Finish("/d/0", 10); });
  ASSERT_EQ(engines.size(), 3U);
  EXPECT_EQ(EngineOf(3), engines[2].get());
  EXPECT_EQ(Rec(3).Queued, 0);
  Do([&] { engines[1]->Stop("No."); });
  EXPECT_EQ(engines.size(), 4U);
  EXPECT_EQ(program().ActiveCount(), 2);
}

TEST_F(WebQueue, LeavesATurnToTheClassicEngineAtItsTick) {
  Add("https://h/0");
  Add("https://h/1");
  const std::int16_t classic = Queued("http://origin.example/c");
  const std::int16_t web = Queued("https://h/2");
  Do([&] { engines[0]->Finish("/d/0", 10); });
  EXPECT_EQ(engines.size(), 2U);
  EXPECT_EQ(Rec(classic).Queued, 1);
  sim.RunFor(500);
  EXPECT_EQ(Rec(classic).Queued, 0);
  EXPECT_TRUE(Rec(classic).Active);
  EXPECT_EQ(Rec(web).Queued, 1);
}

TEST_F(WebQueue, StartsManyAtOneTickWhereThereArePlaces) {
  program().settings.MaxSimulDownlads = 99;
  for (int i = 0; i < 10; ++i) Queued("https://h/" + std::to_string(i));
  sim.RunFor(500);
  EXPECT_EQ(engines.size(), 10U);
}

TEST_F(WebQueue, ResumesAQueuedDownloadThatHasItsWindow) {
  for (int i = 0; i < 3; ++i) Add("https://h/" + std::to_string(i));
  Do([&] { engines[0]->PauseDownload(); });
  ASSERT_EQ(engines.size(), 3U);  // the third has its place
  sim.tasks().Spawn(window().Restart(1));
  EXPECT_EQ(engines[0]->resumes, 0);
  EXPECT_EQ(Rec(1).Queued, 1);
  Do([&] { engines[1]->Finish("/d/1", 10); });
  EXPECT_EQ(engines[0]->resumes, 1);
  EXPECT_EQ(Rec(1).Queued, 0);
  EXPECT_EQ(program().ActiveCount(), 2);
}

TEST_F(WebQueue, KeepsToTheLimitAtTheResumeButtonOfTheWindow) {
  for (int i = 0; i < 3; ++i) Add("https://h/" + std::to_string(i));
  Do([&] { engines[0]->PauseDownload(); });
  Do([&] { Window(1).Command3.Click(); });
  EXPECT_EQ(engines[0]->resumes, 0);
  EXPECT_EQ(Rec(1).Queued, 1);
}

TEST_F(WebQueue, PassesOverADownloadUntilItsTime) {
  const std::int16_t first = Queued("https://h/0");
  program().AddWeb(first).notBefore = sim.platform().clock.Now() + 10.0 / 86400;
  const std::int16_t second = Queued("https://h/1");
  sim.RunFor(1000);
  EXPECT_EQ(Rec(first).Queued, 1);
  EXPECT_TRUE(Rec(second).Active);
  sim.RunFor(10'000);
  EXPECT_TRUE(Rec(first).Active);
}

TEST_F(WebQueue, StartsNothingOfANewSchemeWhileTheEngineIsOff) {
  const std::int16_t queued = Queued("https://h/0");
  const std::int16_t scheduled = Listed("https://h/1");
  Rec(scheduled).Scheduled = 1;
  const std::int16_t paused = Listed("sftp://h/2");
  program().settings.WebEngine = kWebEngineOff;
  program().settings.Schedule = true;
  program().settings.ScheduleDate = 1;
  sim.RunFor(2000);
  Do([&] { app->ResumeAll(); });
  Do([&] { sim.tasks().Spawn(window().Restart(paused)); });
  sim.RunFor(2000);
  EXPECT_TRUE(engines.empty());
  EXPECT_TRUE(sim.network().Log().empty());
  for (const std::int16_t index : {queued, scheduled, paused}) {
    EXPECT_EQ(program().TransferWindowAt(index), nullptr) << index;
    EXPECT_FALSE(Rec(index).Active) << index;
    EXPECT_EQ(Rec(index).Queued, 0) << index;
    EXPECT_EQ(InfoOf(index).state, "failed") << index;
    EXPECT_EQ(InfoOf(index).reason, Text(820)) << index;
  }
}

TEST_F(WebQueue, DoesNotResumeABegunDownloadWhileTheEngineIsOff) {
  Add("https://h/0");
  Do([&] { engines[0]->PauseDownload(); });
  program().settings.WebEngine = kWebEngineOff;
  Do([&] { Window(1).Command3.Click(); });
  Do([&] { app->ResumeAll(); });
  EXPECT_EQ(engines[0]->resumes, 0);
  EXPECT_FALSE(Rec(1).Active);
  EXPECT_EQ(window().StatusBar1.Panels().at(0), Text(820));
}

TEST_F(WebQueue, StartsNothingWhileTheProgramEnds) {
  for (int i = 0; i < 4; ++i) Add("https://h/" + std::to_string(i));
  Do([&] { app->SaveAndQuit(); });
  sim.RunFor(1000);
  EXPECT_EQ(engines.size(), 2U);
}

}  // namespace
}  // namespace pellora
