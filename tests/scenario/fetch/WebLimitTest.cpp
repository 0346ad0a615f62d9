// Limits of speed on downloads by the web engine.
#include <algorithm>
#include <cmath>
#include <vector>

#include "SimFileServer.h"
#include "WebApp.h"
#include "WebRig.h"
#include "core/ListFile.h"
#include "core/SpeedLimit.h"
#include "core/SpeedLimits.h"
#include "fetch/WebRecords.h"

namespace pellora {
namespace {

constexpr std::int64_t kKiB = 1024;

class WebLimit : public testing::Test, public WebRig {
 protected:
  WebLimit() : origin(sim.network(), "o.example", 443) {
    for (const char* const path : {"/a.bin", "/b.bin", "/c.bin"}) origin.File(path, content);
    program.settings.MaxSimulDownlads = 10;
  }
  void Limit(std::int32_t kib) {
    sim.Do([&] {
      program.settings.SpeedLimit = kib;
      program.speed->Update();
    });
  }
  std::int64_t Total() const { return static_cast<std::int64_t>(program.SessionTotal()); }
  // Bytes per second of each half second from now on.
  void Watch(int seconds) {
    for (int i = 0; i < 2 * seconds; ++i) {
      sim.RunFor(500);
      totals.push_back(Total());
    }
  }
  // The largest deviation of any ten seconds that were watched, in percent.
  double Deviation(std::int64_t kib) const {
    double worst = 0;
    for (std::size_t i = 0; i + 20 < totals.size(); ++i) {
      const auto bytes = static_cast<double>(totals[i + 20] - totals[i]);
      worst = std::max(worst, std::abs(bytes / 10 / static_cast<double>(kib * kKiB) - 1) * 100);
    }
    return worst;
  }

  const SimContent content = SimContent::Generated(200'000'000, 7);
  SimHttpServer origin;
  std::vector<std::int64_t> totals;
};

TEST_F(WebLimit, AnyTenSecondsOfAllDownloadsAreWithinFivePercent) {
  Limit(1000);
  Start("https://o.example/a.bin");
  Start("https://o.example/b.bin");
  sim.RunFor(1000);
  Watch(40);
  EXPECT_LT(Deviation(1000), 5);
}

TEST_F(WebLimit, ALowLimitIsKeptToo) {
  Limit(20);
  Start("https://o.example/a.bin");
  sim.RunFor(2000);
  Watch(40);
  EXPECT_LT(Deviation(20), 5);
}

TEST_F(WebLimit, TwoDownloadsShareFairlyWhateverTheirConnections) {
  Limit(1000);
  program.settings.MaxSegments = 8;
  Start("https://o.example/a.bin");
  program.settings.MaxSegments = 1;
  Start("https://o.example/b.bin");
  sim.RunFor(30'000);
  EXPECT_NEAR(static_cast<double>(Web(2).received), static_cast<double>(Web(1).received), 1500.0 * kKiB);
  EXPECT_NEAR(static_cast<double>(Total()), 30'000.0 * kKiB, 1500.0 * kKiB);
}

TEST_F(WebLimit, WhatASlowServerLeavesGoesToTheOtherDownload) {
  SimHttpServer slow(sim.network(), "slow.example", 443);
  slow.File("/s.bin", content);
  slow.Always({.wire = {.bytesPerSecond = 20'000}});
  slow.SetLimit({.most = 1});
  Limit(1000);
  Start("https://slow.example/s.bin");
  Start("https://o.example/a.bin");
  sim.RunFor(2000);
  Watch(30);
  EXPECT_LT(Deviation(1000), 5);
  EXPECT_GT(Web(2).received, 29'000 * kKiB);
}

TEST_F(WebLimit, TheLimitOfOneDownloadLeavesTheOtherFree) {
  const std::int16_t limited = Start("https://o.example/a.bin");
  Start("https://o.example/b.bin");
  SetSpeedLimitOf(program, limited, 100 * kKiB);
  EXPECT_EQ(SpeedLimitOf(program, limited), 100 * kKiB);
  sim.RunFor(1000);
  const std::int64_t before = Web(limited).received;
  ASSERT_TRUE(RunUntilFinished(2));
  sim.RunFor(20'000);
  EXPECT_NEAR(static_cast<double>(Web(limited).bytesPerSecond), 100.0 * kKiB, 5.0 * kKiB);
  EXPECT_LT(Web(limited).received - before, 60'000 * kKiB);
}

TEST_F(WebLimit, ChangesAtOnceWhileItRunsAndEndsWithTheWholeFile) {
  origin.File("/small.bin", SimContent::Generated(20'000'000, 8));
  Start("https://o.example/small.bin");
  Limit(500);
  sim.RunFor(1000);
  Watch(12);
  EXPECT_LT(Deviation(500), 5);
  Limit(100);
  totals.clear();
  Watch(12);
  EXPECT_LT(Deviation(100), 5);
  Limit(0);
  const std::int64_t began = sim.platform().clock.TickCount();
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_LT(sim.platform().clock.TickCount() - began, 4000);
  EXPECT_TRUE(sim.disk().Holds("/home/u/dl/small.bin", SimContent::Generated(20'000'000, 8)));
}

TEST_F(WebLimit, FewerConnectionsAreOpenWhereEachWouldGetLessThan16KiB) {
  program.settings.MaxSegments = 8;
  Limit(48);
  Start("https://o.example/a.bin");
  sim.RunFor(5000);
  EXPECT_EQ(origin.Open(), 3);
  Limit(16);
  sim.RunFor(5000);
  EXPECT_EQ(origin.Open(), 1);
  Limit(8);
  sim.RunFor(5000);
  EXPECT_EQ(origin.Open(), 1);
  Limit(0);
  sim.RunFor(1000);
  EXPECT_EQ(origin.Open(), 8);
}

TEST_F(WebLimit, WaitingForTheLimitIsNoSilenceOfTheServer) {
  Limit(1);
  Start("https://o.example/a.bin");
  sim.RunFor(300'000);
  EXPECT_EQ(origin.Connections(), 1);
  EXPECT_EQ(Web().standing, WebStanding::Active);
  EXPECT_NEAR(static_cast<double>(Total()), 300.0 * kKiB, 20.0 * kKiB);
}

TEST_F(WebLimit, ASilentServerIsStillFound) {
  origin.Always({.wire = {.hangAfter = 300'000}});
  Limit(1000);
  Start("https://o.example/a.bin");
  sim.RunFor(60'000);
  EXPECT_GT(origin.Connections(), 4);
}

TEST_F(WebLimit, FtpObeysToo) {
  SimFileServer files(sim.network(), "f.example", 990);
  files.File("/f.bin", content);
  Limit(500);
  Start("ftps://f.example/f.bin");
  sim.RunFor(2000);
  ASSERT_GT(Total(), 0);
  Watch(20);
  EXPECT_LT(Deviation(500), 5);
}

TEST_F(WebLimit, WithoutOneDownloadsAreAsFastAsTheirServers) {
  const std::uint32_t began = sim.platform().clock.TickCount();
  Start("https://o.example/a.bin");
  ASSERT_TRUE(RunUntilReceived(50'000'000));
  EXPECT_LT(sim.platform().clock.TickCount() - began, 2000U);
  Limit(100);
  sim.RunFor(1000);
  const auto lane = program.speed->NewLane(*program.speed->ShareOf(1));
  EXPECT_EQ(lane->Portion(), static_cast<std::size_t>(100 * kKiB / 64));
}

// The journal keeps the limit of a download, also one that is paused.
TEST_F(WebLimit, OfADownloadOutlivesTheProgram) {
  program.speedLimitSet = [this](std::int16_t index) { KeepSpeedLimit(program, *services, index); };
  Start("https://o.example/a.bin");
  ASSERT_TRUE(RunUntilReceived(1'000'000));
  SetSpeedLimitOf(program, 1, 50'000);
  sim.RunFor(1000);
  Pause();
  SetSpeedLimitOf(program, 1, 70'000);
  sim.RunFor(1000);
  const JournalEntry* const entry = services->journal.Find(JournalKeyOf(Record().URL, Record().DateAdded));
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry->speedLimit, 70'000);
  Resume();
  sim.RunFor(5000);
  EXPECT_EQ(services->journal.Find(entry->key)->speedLimit, 70'000);
  SetSpeedLimitOf(program, 1, 0);
  sim.RunFor(5000);
  EXPECT_EQ(services->journal.Find(JournalKeyOf(Record().URL, Record().DateAdded))->speedLimit, 0);
}

TEST_F(WebLimit, OfADeletedDownloadIsNotThatOfTheNextOne) {
  Start("https://o.example/a.bin");
  SetSpeedLimitOf(program, 1, 50'000);
  program.RaiseSerial(1);
  EXPECT_EQ(SpeedLimitOf(program, 1), 0);
}

TEST(WebLimitApp, TheTimetableSwitchesWhileDownloadsRun) {
  WebApp app;
  SimHttpServer origin(app.sim.network(), "o.example", 443);
  origin.File("/a.bin", SimContent::Generated(2'000'000'000, 7));
  app.Start();
  Settings& settings = app.program().settings;
  const auto hour = static_cast<std::int32_t>(app.sim.platform().clock.SecondsSinceMidnight() / 3600);
  settings.SpeedLimit = 100;
  settings.SpeedLimitTimed = true;
  settings.SpeedLimitFrom = hour;
  settings.SpeedLimitTo = (hour + 1) % 24;
  app.Add("https://o.example/a.bin");
  app.sim.RunFor(20'000);
  EXPECT_NEAR(static_cast<double>(app.Web().bytesPerSecond), 100.0 * kKiB, 5.0 * kKiB);
  settings.SpeedLimitFrom = (hour + 2) % 24;
  settings.SpeedLimitTo = (hour + 3) % 24;
  app.sim.RunFor(5000);
  EXPECT_GT(app.Web().bytesPerSecond, 1e6);
}

TEST(WebLimitApp, ASetLimitIsSavedAndInForceAtOnce) {
  WebApp app;
  SimHttpServer origin(app.sim.network(), "o.example", 443);
  origin.File("/a.bin", SimContent::Generated(2'000'000'000, 7));
  app.Start();
  app.Add("https://o.example/a.bin");
  app.sim.RunFor(2000);
  app.sim.Do([&] { SetSpeedLimit(app.program(), 200); });
  EXPECT_EQ(app.sim.platform().settings.Get("Pellora", "SpeedLimit"), "200");
  app.sim.RunFor(10'000);
  EXPECT_NEAR(static_cast<double>(app.Web().bytesPerSecond), 200.0 * kKiB, 10.0 * kKiB);
  app.sim.Do([&] { SetSpeedLimit(app.program(), -5); });
  EXPECT_EQ(app.program().settings.SpeedLimit, 0);
}

}  // namespace
}  // namespace pellora
