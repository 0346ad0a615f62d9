#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>

#include "RecordingTransfer.h"
#include "SimPlatform.h"
#include "SimSchemes.h"
#include "core/Program.h"
#include "core/Queue.h"

namespace pellora {
namespace {

constexpr int kMost = 2;
constexpr double kNow = 46000.5;

class QueueTest : public testing::Test {
 protected:
  QueueTest() {
    program.ResizeDownloads(4);
    for (int i = 1; i <= 4; ++i) Record(i).InUse = true;
    settings.Schedule = true;
    settings.ScheduleDate = settings.ScheduleHour = kNow - 0.25;
  }
  DownloadRecord& Record(int index) { return program.Download(index); }
  // The next record's number, negative if it only leaves the queue; 0 for none.
  int Next(int most = kMost) {
    const std::optional<Queue::Turn> turn = queue.Next(most, kNow);
    if (!turn) return 0;
    return turn->starts ? turn->index : -turn->index;
  }

  SimPlatform sim;
  Program program{sim.platform()};
  Queue queue{program};
  Settings settings;
};

TEST_F(QueueTest, StartsTheLowestNumber) {
  EXPECT_EQ(Next(), 0);
  Record(4).Queued = 1;
  EXPECT_EQ(Next(), 4);
  Record(2).Queued = -1;  // any value but 0
  EXPECT_EQ(Next(), 2);
  EXPECT_EQ(Record(2).Queued, -1);
}

TEST_F(QueueTest, SkipsFreeSlots) {
  Record(1).Queued = Record(3).Queued = 1;
  Record(1).InUse = false;
  EXPECT_EQ(Next(), 3);
}

TEST_F(QueueTest, StartsNothingWhileTheLimitIsReached) {
  Record(3).Queued = 1;
  Record(1).Active = true;
  EXPECT_FALSE(queue.IsFull(kMost));
  EXPECT_EQ(Next(), 3);
  Record(2).Active = true;
  EXPECT_TRUE(queue.IsFull(kMost));
  EXPECT_EQ(Next(), 0);
  Record(2).InUse = false;
  EXPECT_EQ(Next(), 3);
  EXPECT_EQ(Next(0), 0);
  EXPECT_TRUE(queue.IsFull(0));
}

TEST_F(QueueTest, OnlyDequeuesARecordThatHasATransferOrIsFinished) {
  Record(2).Queued = Record(3).Queued = 1;
  program.TransferWindowAt(2) = std::make_shared<RecordingTransfer>();
  EXPECT_EQ(Next(), -2);
  program.TransferWindowAt(2).reset();
  Record(2).Finished = true;
  EXPECT_EQ(Next(), -2);
  Record(2).Finished = false;
  EXPECT_EQ(Next(), 2);
}

TEST_F(QueueTest, ResumesAQueuedWebRecordThatHasATransfer) {
  const SimWeb web(sim, program);
  Record(2).Queued = 1;
  Record(2).URL = "https://h/a";
  program.AddWeb(2);
  program.TransferWindowAt(2) = std::make_shared<RecordingTransfer>();
  std::optional<Queue::Turn> turn = queue.Next(kMost, kNow);
  ASSERT_TRUE(turn);
  EXPECT_TRUE(turn->resumes);
  EXPECT_FALSE(turn->starts);
  EXPECT_EQ(turn->engine, EngineName::Web);
  program.settings.WebEngine = kWebEngineOff;
  turn = queue.Next(kMost, kNow);
  ASSERT_TRUE(turn);
  EXPECT_FALSE(turn->resumes || turn->starts);
}

TEST_F(QueueTest, PassesOverARecordUntilItsTime) {
  const SimWeb web(sim, program);
  Record(2).Queued = Record(3).Queued = 1;
  Record(2).URL = "https://h/a";
  program.AddWeb(2).notBefore = kNow + 1e-3;
  EXPECT_EQ(Next(), 3);
  program.Web(2)->notBefore = kNow;
  EXPECT_EQ(Next(), 2);
}

TEST_F(QueueTest, TakesScheduledRecordsOnceTheirDateHasPassed) {
  for (int i = 1; i <= 4; ++i) Record(i).Scheduled = 1;
  Record(2).Active = true;
  Record(3).InUse = false;
  Record(4).Queued = 1;
  settings.ScheduleDate = kNow;
  EXPECT_FALSE(queue.ApplySchedule(settings, kNow));
  EXPECT_EQ(Record(1).Queued, 0);
  EXPECT_TRUE(queue.ApplySchedule(settings, kNow + 1e-5));
  EXPECT_EQ(Record(1).Queued, 1);
  EXPECT_EQ(Record(1).Scheduled, 0);
  for (int i = 2; i <= 4; ++i) EXPECT_EQ(Record(i).Scheduled, 1) << i;
  EXPECT_EQ(Record(2).Queued, 0);
  EXPECT_EQ(settings.ScheduleDate, kNow);
  EXPECT_FALSE(queue.ApplySchedule(settings, kNow + 1));  // none is left
}

TEST_F(QueueTest, TakesScheduledRecordsAgainOnceTheDailyHourHasPassedAgain) {
  settings.ScheduleOption = 2;  // anything but 0
  settings.ScheduleDate = kNow + 100;
  Record(1).Scheduled = 1;
  EXPECT_TRUE(queue.ApplySchedule(settings, kNow));
  EXPECT_EQ(settings.ScheduleHour, kNow + 0.75);
  Record(1).Queued = 0;
  Record(1).Scheduled = 1;
  EXPECT_FALSE(queue.ApplySchedule(settings, kNow + 0.5));
  EXPECT_EQ(Record(1).Queued, 0);
  EXPECT_TRUE(queue.ApplySchedule(settings, kNow + 3));
  EXPECT_EQ(Record(1).Queued, 1);
  EXPECT_EQ(settings.ScheduleHour, kNow + 3.75);
}

TEST_F(QueueTest, AdvancesTheDailyHourWithoutScheduledRecords) {
  settings.ScheduleOption = 1;
  EXPECT_FALSE(queue.ApplySchedule(settings, kNow));
  EXPECT_EQ(settings.ScheduleHour, kNow + 0.75);
}

}  // namespace
}  // namespace pellora
