#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <vector>

#include "SimPlatform.h"
#include "core/Program.h"
#include "core/Queue.h"
#include "core/QueueOrder.h"

namespace pellora {
namespace {

using Line = std::vector<std::int16_t>;

class QueueOrderTest : public testing::Test {
 protected:
  QueueOrderTest() { Fill(5); }
  void Fill(std::int16_t count) {
    program.ResizeDownloads(count);
    for (int i = 1; i <= count; ++i) {
      Record(i).InUse = true;
      Record(i).Queued = 1;
    }
  }
  DownloadRecord& Record(int index) { return program.Download(index); }
  // As Queue takes them, one after the other.
  Line Started() {
    Line started;
    while (const auto turn = Queue(program).Next(99, 46000.0)) {
      started.push_back(turn->index);
      Record(turn->index).Queued = 0;
    }
    for (const std::int16_t index : started) Record(index).Queued = 1;
    return started;
  }

  SimPlatform sim;
  Program program{sim.platform()};
  QueueOrder order{program};
};

TEST_F(QueueOrderTest, IsThatOfTheListBeforeTheFirstMove) {
  EXPECT_EQ(order.Queued(), (Line{1, 2, 3, 4, 5}));
  EXPECT_EQ(Started(), (Line{1, 2, 3, 4, 5}));
  EXPECT_TRUE(order.Arranged().empty());
}

TEST_F(QueueOrderTest, MovesOneRecord) {
  EXPECT_TRUE(order.Move(4, QueueMove::First));
  EXPECT_EQ(Started(), (Line{4, 1, 2, 3, 5}));
  EXPECT_TRUE(order.Move(1, QueueMove::Last));
  EXPECT_EQ(Started(), (Line{4, 2, 3, 5, 1}));
  EXPECT_TRUE(order.Move(5, QueueMove::Up));
  EXPECT_EQ(Started(), (Line{4, 2, 5, 3, 1}));
  EXPECT_TRUE(order.Move(4, QueueMove::Down));
  EXPECT_EQ(Started(), (Line{2, 4, 5, 3, 1}));
  EXPECT_EQ(order.Queued(), Started());
  EXPECT_EQ(order.NumberOf(5), 3);
}

TEST_F(QueueOrderTest, MovesNothingBeyondTheEnds) {
  EXPECT_FALSE(order.Move(1, QueueMove::Up));
  EXPECT_FALSE(order.Move(1, QueueMove::First));
  EXPECT_FALSE(order.Move(5, QueueMove::Down));
  EXPECT_FALSE(order.Move(5, QueueMove::Last));
  EXPECT_FALSE(program.HasQueuePlaces());
}

TEST_F(QueueOrderTest, MovesOnlyWhatIsQueuedAndPassesTheRest) {
  Record(2).Queued = 0;
  Record(3).Active = true;
  EXPECT_FALSE(order.Move(2, QueueMove::First));
  EXPECT_FALSE(order.Move(3, QueueMove::First));
  EXPECT_EQ(order.NumberOf(2), 0);
  EXPECT_TRUE(order.Move(4, QueueMove::Up));
  EXPECT_EQ(order.Queued(), (Line{4, 1, 5}));
}

TEST_F(QueueOrderTest, ChangesOnePlaceAtAMove) {
  std::vector<std::int16_t> set;
  program.queuePlaceSet = [&](std::int16_t index) { set.push_back(index); };
  order.Move(4, QueueMove::First);
  order.Move(2, QueueMove::Down);
  order.Move(4, QueueMove::Last);
  EXPECT_EQ(set, (std::vector<std::int16_t>{4, 2, 4}));
}

TEST_F(QueueOrderTest, LaterAddsFollowWhatWasNotMoved) {
  order.Move(5, QueueMove::First);
  order.Move(1, QueueMove::Last);
  program.ResizeDownloads(6);
  Record(6).InUse = true;
  Record(6).Queued = 1;
  EXPECT_EQ(order.Queued(), (Line{5, 2, 3, 4, 1, 6}));
}

TEST_F(QueueOrderTest, PlaceGoesWithItsRecord) {
  order.Move(5, QueueMove::First);
  program.RaiseSerial(5);  // another download has the slot
  EXPECT_EQ(order.Queued(), (Line{1, 2, 3, 4, 5}));
}

TEST_F(QueueOrderTest, FirstStaysFirstWhenOthersAreQueuedAgain) {
  Record(1).Queued = 0;
  order.Move(5, QueueMove::First);
  Record(1).Queued = 1;
  EXPECT_EQ(order.Queued(), (Line{5, 1, 2, 3, 4}));
}

TEST_F(QueueOrderTest, KeepsItsPlaceWhilePaused) {
  order.Move(5, QueueMove::First);
  Record(5).Queued = 0;
  EXPECT_EQ(order.Queued(), (Line{1, 2, 3, 4}));
  EXPECT_EQ(order.Arranged(), (Line{5, 1, 2, 3, 4}));
  Record(5).Queued = 1;
  EXPECT_EQ(order.Queued(), (Line{5, 1, 2, 3, 4}));
}

// Two records that pass each other again and again use up the room between their neighbours.
TEST_F(QueueOrderTest, FindsAPlaceHoweverOftenRecordsAreMoved) {
  for (int i = 0; i < 200; ++i) {
    const Line before = order.Queued();
    ASSERT_TRUE(order.Move(before[2], QueueMove::Up)) << i;
    ASSERT_EQ(order.Queued(), (Line{before[0], before[2], before[1], before[3], before[4]})) << i;
  }
  for (int i = 0; i < 2000; ++i) {
    const std::int16_t last = order.Queued().back();
    ASSERT_TRUE(order.Move(last, QueueMove::First));
    ASSERT_EQ(order.Queued().front(), last);
    ASSERT_GE(program.QueuePlace(last).value_or(-1), 0);
  }
}

// As a damaged journal may have it.
TEST_F(QueueOrderTest, FindsAPlaceAfterTheHighest) {
  program.SetQueuePlace(5, std::numeric_limits<std::int64_t>::max());
  EXPECT_TRUE(order.Move(1, QueueMove::Last));
  EXPECT_EQ(order.Queued(), (Line{2, 3, 4, 5, 1}));
  for (const std::int16_t index : order.Queued()) EXPECT_GE(program.QueuePlace(index).value_or(0), 0);
}

}  // namespace
}  // namespace pellora
