#include <algorithm>
#include <set>

#include "MainWindowFixture.h"

namespace pellora {
namespace {

constexpr std::size_t kMebibyte = 1U << 20;

class Pump : public MainWindowFixture {
 protected:
  Pump() = default;
  explicit Pump(SimOptions options) : MainWindowFixture(std::move(options)) {}

  std::int16_t Queued(const std::string& url) {
    return Record(url, [](auto& r) { r.Queued = 1; });
  }
  int Running() { return program().ActiveCount(); }
};

TEST_F(Pump, StartsTheLowestNumberFirstAndTheNextOnlyAfterItStopped) {
  Start();
  program().settings.MaxSimulDownlads = 1;
  for (const char* name : {"a", "b", "c"}) Queued(std::string("http://h/") + name);
  sim.RunFor(3000);
  EXPECT_TRUE(Rec(1).Active);
  EXPECT_EQ(Rec(1).Queued, 0);
  EXPECT_FALSE(Rec(2).Active);
  EXPECT_EQ(transfers.size(), 1U);
  Rec(1).Active = false;
  sim.RunFor(500);
  EXPECT_TRUE(Rec(2).Active);
  EXPECT_FALSE(Rec(3).Active);
}

TEST_F(Pump, StartsOneDownloadPerTickAndTwoPerSecond) {
  Start();
  program().settings.MaxSimulDownlads = 99;
  for (int i = 0; i < 10; ++i) Queued("http://h/" + std::to_string(i));
  for (int tick = 1; tick <= 10; ++tick) {
    sim.RunFor(500);
    EXPECT_EQ(Running(), tick);
  }
}

TEST_F(Pump, ShowsTheTransferItStartsUnlessSwitchedOff) {
  Start();
  Queued("http://h/a");
  sim.RunFor(500);
  EXPECT_TRUE(transfers.at(0)->shown);
  Do([&] { window().sdw.Click(); });
  Queued("http://h/b");
  sim.RunFor(500);
  EXPECT_EQ(transfers.at(1)->probes, 1);
  EXPECT_FALSE(transfers.at(1)->shown);
}

TEST_F(Pump, FoldsTheUnfinishedSegmentsOfAPlannedRecord) {
  Start();
  Record("http://h/a", [](auto& r) {
    r.Queued = 1;
    r.Paused = true;
    r.SegmentCount = 2;
    r.Segments.resize(3);
    r.Segments[1] = {.RangeStart = 10, .ReceivedNow = 5, .ReceivedTotal = 10, .TempFile = "", .State = 4};
    r.Segments[2] = {.RangeStart = 50, .ReceivedNow = 7, .ReceivedTotal = 1, .TempFile = "", .State = 3};
  });
  sim.RunFor(500);
  EXPECT_TRUE(Rec(1).ContinueSegments);
  EXPECT_FALSE(Rec(1).Paused);
  EXPECT_EQ(Rec(1).Segments[1].RangeStart, 15);
  EXPECT_EQ(Rec(1).Segments[1].ReceivedTotal, 15);
  EXPECT_EQ(Rec(1).Segments[1].ReceivedNow, 0);
  EXPECT_EQ(Rec(1).Segments[2].RangeStart, 50);
}

TEST_F(Pump, StartsARecordWithoutAPlanFromScratch) {
  Start();
  Record("http://h/a", [](auto& r) { r.Queued = 1, r.ContinueSegments = true; });
  sim.RunFor(500);
  EXPECT_FALSE(Rec(1).ContinueSegments);
}

TEST_F(Pump, SurvivesASegmentCountBeyondItsArray) {
  Start();
  Record("http://h/a", [](auto& r) { r.Queued = 1, r.SegmentCount = 8; });
  sim.RunFor(500);
  EXPECT_EQ(transfers.at(0)->probes, 1);
}

TEST_F(Pump, OnlyDequeuesARecordThatHasATransfer) {
  Start();
  const std::int16_t index = Queued("http://h/a");
  FakeTransfer& transfer = Transferring(index);
  Rec(index).Active = false;
  sim.RunFor(500);
  EXPECT_EQ(Rec(index).Queued, 0);
  EXPECT_FALSE(Rec(index).Active);
  EXPECT_EQ(transfer.probes + transfer.resumes, 0);
  EXPECT_TRUE(transfer.shown);
}

TEST_F(Pump, ShowsThatARecordWasDequeued) {
  Start();
  program().settings.MaxSimulDownlads = 0;
  const std::int16_t index = Queued("http://h/a");
  Transferring(index);
  Rec(index).Active = false;
  window().RefreshRows(0, 1);
  ASSERT_EQ(Row(window().ListView1, index)->subItems.at(2), Text(302));
  program().settings.MaxSimulDownlads = 1;
  Settle();
  EXPECT_EQ(Row(window().ListView1, index)->subItems.at(2), Text(303) + " (0.0%)");
}

TEST_F(Pump, SurvivesSegmentsOfADamagedList) {
  Start();
  Record("http://h/a", [](auto& r) {
    r.Queued = 1;
    r.SegmentCount = 1;
    r.Segments.resize(2);
    r.Segments[1] = {.RangeStart = 2147483647, .ReceivedNow = 5, .ReceivedTotal = 2147483647, .TempFile = ""};
  });
  sim.RunFor(500);
  EXPECT_EQ(transfers.at(0)->probes, 1);
  EXPECT_EQ(Rec(1).Segments[1].RangeStart, 2147483647);
}

TEST_F(Pump, StartsAQueuedRecordThatWasScheduledAfterwards) {
  Start();
  program().settings.Schedule = true;
  program().settings.ScheduleDate = sim.loop().Now() + 1;
  Record("http://h/a", [](auto& r) { r.Queued = 1, r.Scheduled = 1; });
  sim.RunFor(500);
  EXPECT_EQ(transfers.at(0)->probes, 1);
  EXPECT_EQ(Rec(1).Scheduled, 1);
}

TEST_F(Pump, LeavesTheScheduleOfAQueuedRecordAlone) {
  Start();
  program().settings.MaxSimulDownlads = 0;
  program().settings.Schedule = true;
  program().settings.ScheduleDate = sim.loop().Now() - 1;
  Record("http://h/a", [](auto& r) { r.Queued = 1, r.Scheduled = 1; });
  sim.RunFor(1000);
  EXPECT_EQ(Rec(1).Scheduled, 1);
}

TEST_F(Pump, NeverStartsAFinishedRecord) {
  Start();
  Record("http://h/a", [](auto& r) { r.Queued = 1, r.Finished = true; });
  sim.RunFor(1000);
  EXPECT_EQ(Rec(1).Queued, 0);
  EXPECT_TRUE(transfers.empty());
}

TEST_F(Pump, SkipsFreeSlots) {
  Start();
  Record("http://h/a", [](auto& r) { r.Queued = 1, r.InUse = false; });
  sim.RunFor(1000);
  EXPECT_TRUE(transfers.empty());
}

TEST_F(Pump, QueuesScheduledRecordsOnceTheirDateHasPassed) {
  Start();
  program().settings.MaxSimulDownlads = 0;
  program().settings.Schedule = true;
  program().settings.ScheduleOption = 0;
  program().settings.ScheduleDate = sim.loop().Now() + 10.0 / 86400;
  Record("http://h/a", [](auto& r) { r.Scheduled = 1; });
  Record("http://h/b", [](auto& r) { r.Scheduled = 1, r.Active = true; });
  Record("http://h/c", [](auto& r) { r.Scheduled = 1, r.InUse = false; });
  sim.RunFor(9000);
  EXPECT_EQ(Rec(1).Queued, 0);
  sim.RunFor(2000);
  EXPECT_EQ(Rec(1).Queued, 1);
  EXPECT_EQ(Rec(1).Scheduled, 0);
  EXPECT_EQ(Rec(2).Scheduled, 1);
  EXPECT_EQ(Rec(3).Scheduled, 1);
}

TEST_F(Pump, KeepsAScheduledRecordQueuedWhenTheScheduleIsSwitchedOff) {
  Start();
  program().settings.MaxSimulDownlads = 0;
  program().settings.Schedule = true;
  program().settings.ScheduleDate = sim.loop().Now() - 1;
  Record("http://h/a", [](auto& r) { r.Scheduled = 1; });
  sim.RunFor(500);
  program().settings.Schedule = false;
  sim.RunFor(5000);
  EXPECT_EQ(Rec(1).Queued, 1);
}

TEST_F(Pump, FiresTheDailyScheduleOnceADay) {
  Start();
  program().settings.MaxSimulDownlads = 0;
  program().settings.Schedule = true;
  program().settings.ScheduleOption = 2;  // anything but 0
  const double due = sim.loop().Now() + 5.0 / 86400;
  program().settings.ScheduleHour = due;
  Record("http://h/a", [](auto& r) { r.Scheduled = 1; });
  sim.RunFor(6000);
  EXPECT_EQ(Rec(1).Queued, 1);
  EXPECT_DOUBLE_EQ(program().settings.ScheduleHour, due + 1);
  Rec(1).Queued = 0;
  Rec(1).Scheduled = 1;
  sim.RunFor(60000);
  EXPECT_EQ(Rec(1).Queued, 0);
  sim.SetWallClock(due + 3.5);
  sim.RunFor(1000);
  EXPECT_EQ(Rec(1).Queued, 1);
  EXPECT_DOUBLE_EQ(program().settings.ScheduleHour, due + 4);
}

TEST_F(Pump, LeavesScheduledRecordsAloneWithoutASchedule) {
  Start();
  program().settings.ScheduleDate = sim.loop().Now() - 1;
  Record("http://h/a", [](auto& r) { r.Scheduled = 1; });
  sim.RunFor(2000);
  EXPECT_EQ(Rec(1).Scheduled, 1);
}

TEST_F(Pump, ShowsTotalAndSpeedInTheStatusBar) {
  Start();
  EXPECT_EQ(Panel(2), "Speed : 0 kb/s");
  EXPECT_EQ(Panel(3), "Total Downloaded : 0kb");
  sim.RunFor(500);
  EXPECT_EQ(Panel(2), "Speed : 0 " + Text(1) + "/s ");
  EXPECT_EQ(Panel(3), "Total downloaded : 0 " + Text(0) + "  ");
  program().CountReceived(kMebibyte);
  sim.RunFor(500);
  // 0.6 of 2 MiB/s plus 0.4 of the previous 1 byte/s.
  EXPECT_EQ(Panel(2), "Speed : 1228 " + Text(1) + "/s ");
  EXPECT_EQ(Panel(3), "Total downloaded : 1 " + Text(2) + "  ");
}

TEST_F(Pump, ShowsTheSpeedBeyondTwoGigabytes) {
  Start();
  sim.RunFor(500);
  program().CountReceived(std::size_t{3} << 30);
  sim.RunFor(500);
  program().CountReceived(kMebibyte);
  sim.RunFor(20000);
  EXPECT_EQ(Panel(3), "Total downloaded : 1.99 " + Text(3) + "  ");
  program().CountReceived(kMebibyte);
  sim.RunFor(500);
  EXPECT_NE(Panel(2), "Speed : 0 " + Text(1) + "/s ");
}

TEST_F(Pump, CountsOnlyTransfersWithElapsedTimeInTheTip) {
  Start();
  Record("http://h/a", [](auto& r) { r.Active = true, r.ElapsedSeconds = 1; });
  Record("http://h/b", [](auto& r) { r.Active = true; });
  sim.RunFor(500);
  EXPECT_EQ(sim.tray().tip, "Pellora! Downloads(1) Speed : 0 " + Text(1) + "/s ");
}

TEST_F(Pump, ShowsFullSpeedAtTheFirstIdleTickAndPeriodically) {
  Start();
  sim.RunFor(200'000);
  const std::vector<std::string>& pictures = sim.tray().pictures;
  ASSERT_GE(pictures.size(), 400U);
  EXPECT_EQ(pictures[0], "tray-4");
  EXPECT_EQ(pictures[1], "tray-1");
  EXPECT_EQ(pictures[2], "program");
  EXPECT_GE(std::count(pictures.begin(), pictures.end(), "tray-4"), 3);
}

TEST_F(Pump, KeepsTheLevelBetweenNoneAndFull) {
  Start();
  program().CountReceived(1);  // a peak that rounds to nothing
  for (int i = 0; i < 50; ++i) {
    program().CountReceived(static_cast<std::size_t>(i) * 100000);
    sim.RunFor(500);
  }
  const std::set<std::string> known = {"program", "tray-1", "tray-2", "tray-3", "tray-4"};
  for (const std::string& picture : sim.tray().pictures) EXPECT_TRUE(known.contains(picture)) << picture;
}

TEST_F(Pump, PausesNothingWhenTheConnectionIsLost) {
  Program other(sim.platform());
  const auto main = std::make_shared<MainWindow>(other);
  other.lists = main.get();
  other.ResizeDownloads(1);
  other.Download(1).InUse = true;
  other.Download(1).Active = true;
  const auto transfer = std::make_shared<FakeTransfer>(other);
  transfer->index = 1;
  other.TransferWindowAt(1) = transfer;
  main->StartTimers();
  for (const bool up : {true, false, true, false}) {
    sim.machine().connectionUp = up;
    sim.RunFor(1000);
  }
  EXPECT_EQ(transfer->pauses, 0);
  EXPECT_EQ(transfer->resumes, 0);
  main->StopTimers();
}

class PumpTickCount : public Pump, public ::testing::WithParamInterface<std::uint32_t> {
 protected:
  PumpTickCount() : Pump(SimOptions{.startTick = GetParam()}) {}
};

TEST_P(PumpTickCount, MayWrapOrChangeSign) {
  Start();
  program().settings.MaxSimulDownlads = 99;
  for (int i = 0; i < 40; ++i) Queued("http://h/" + std::to_string(i));
  sim.RunFor(20000);
  EXPECT_EQ(Running(), 40);
  Settle();
  EXPECT_EQ(window().ListView1.Rows().size(), 40U);
}

INSTANTIATE_TEST_SUITE_P(Ticks, PumpTickCount, ::testing::Values(kTickNearSign, kTickNearWrap, 0U));

}  // namespace
}  // namespace pellora
