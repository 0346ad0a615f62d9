#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "fetch/RangePlan.h"

namespace pellora {
namespace {

constexpr std::int64_t kMiB = std::int64_t{1} << 20;
using Ranges = std::vector<Range>;
using Pieces = std::vector<Piece>;

RangePlan Fresh(std::int64_t total, int lanes) {
  RangePlan plan(total, {}, {.lanes = lanes});
  plan.Adopt(0, {0, -1});
  return plan;
}

Pieces Give(RangePlan& plan, std::vector<int> idle) { return plan.Give(idle); }

TEST(RangePlan, DividesAFileEquallyWhileNothingIsMeasured) {
  RangePlan plan = Fresh(80 * kMiB, 4);
  EXPECT_EQ(Give(plan, {1, 2, 3}),
            (Pieces{{1, {20 * kMiB, 40 * kMiB}}, {2, {40 * kMiB, 60 * kMiB}}, {3, {60 * kMiB, 80 * kMiB}}}));
  EXPECT_EQ(plan.PieceOf(0), (Range{0, 20 * kMiB}));
}

TEST(RangePlan, MakesOneRequestOfASmallFile) {
  RangePlan plan = Fresh(kMiB - 1, 4);
  EXPECT_EQ(Give(plan, {1, 2, 3}), Pieces{});
  plan.SetRate(0, 10000);  // not even where it takes long
  EXPECT_EQ(Give(plan, {1, 2, 3}), Pieces{});
  EXPECT_TRUE(Give(plan, {1}).empty());
}

TEST(RangePlan, GivesNoPieceBelowOneMiB) {
  RangePlan plan = Fresh(3 * kMiB, 8);
  // The first lane keeps a piece and what it may have gathered.
  EXPECT_EQ(Give(plan, {1, 2, 3, 4, 5, 6, 7}), (Pieces{{1, {3 * kMiB / 2, 3 * kMiB}}}));
  RangePlan smaller = Fresh(2 * kMiB, 8);
  EXPECT_EQ(Give(smaller, {1, 2}), Pieces{});
}

TEST(RangePlan, GivesNoPieceBelowASecondOfItsLane) {
  RangePlan plan = Fresh(20 * kMiB, 2);
  plan.SetRate(1, 12 * kMiB);
  EXPECT_EQ(Give(plan, {1}), Pieces{});
  plan.SetRate(1, 8 * kMiB);
  plan.SetRate(0, 8 * kMiB);
  EXPECT_EQ(Give(plan, {1}), (Pieces{{1, {10 * kMiB, 20 * kMiB}}}));
}

TEST(RangePlan, KeepsToOneLaneWhileTheLengthIsUnknown) {
  RangePlan plan = Fresh(-1, 4);
  EXPECT_EQ(Give(plan, {1, 2, 3}), Pieces{});
  EXPECT_EQ(plan.Received(0, 5 * kMiB).needed, (Ranges{{0, 5 * kMiB}}));
  EXPECT_EQ(plan.Next(0), LaneNext::Continue);
  EXPECT_FALSE(plan.Complete());
  plan.SetTotal(5 * kMiB);
  EXPECT_TRUE(plan.Complete());
  EXPECT_EQ(plan.Next(0), LaneNext::Finished);
}

TEST(RangePlan, HoldsAnEmptyFileFromTheBeginning) {
  const RangePlan plan(0, {}, {.lanes = 4});
  EXPECT_TRUE(plan.Complete());
  EXPECT_EQ(plan.FirstMissing(), 0);
}

TEST(RangePlan, BeginsAtTheFirstMissingByte) {
  const RangePlan plan(100, IntervalSet({{0, 10}, {20, 30}}), {.lanes = 4});
  EXPECT_EQ(plan.FirstMissing(), 10);
  EXPECT_EQ(RangePlan(100, IntervalSet({{0, 200}}), {.lanes = 4}).FirstMissing(), 100);
}

TEST(RangePlan, TakesOverARequestAsItWasMade) {
  RangePlan plan(100 * kMiB, IntervalSet({{20 * kMiB, 30 * kMiB}}), {.lanes = 3});
  plan.Adopt(0, {0, 10 * kMiB});
  EXPECT_EQ(plan.PieceOf(0), (Range{0, 10 * kMiB}));
  (void)plan.Received(0, 10 * kMiB);
  EXPECT_EQ(plan.Next(0), LaneNext::Finished);
  plan.Adopt(1, {20 * kMiB, 25 * kMiB});  // held already
  EXPECT_EQ(plan.PieceOf(1), (Range{20 * kMiB, 20 * kMiB}));
  EXPECT_EQ(plan.Next(1), LaneNext::Close);
  RangePlan unknown(-1, {}, {.lanes = 2});
  unknown.Adopt(0, {0, -1});
  EXPECT_EQ(unknown.Received(0, 20 * kMiB).needed, (Ranges{{0, 20 * kMiB}}));
  EXPECT_EQ(unknown.Next(0), LaneNext::Continue);
}

TEST(RangePlan, CountsAboveFourGiB) {
  RangePlan plan = Fresh(std::int64_t{1} << 42, 2);
  EXPECT_EQ(Give(plan, {1}), (Pieces{{1, {std::int64_t{1} << 41, std::int64_t{1} << 42}}}));
}

TEST(RangePlan, GivesUnrequestedBytesFirst) {
  RangePlan plan(100 * kMiB, IntervalSet({{30 * kMiB, 50 * kMiB}, {60 * kMiB, 80 * kMiB}}), {.lanes = 4});
  plan.Adopt(0, {0, -1});
  EXPECT_EQ(plan.PieceOf(0), (Range{0, 30 * kMiB}));  // as far as it is missing
  // The larger gap, then the smaller one, and only then a part of a piece.
  EXPECT_EQ(Give(plan, {1}), (Pieces{{1, {80 * kMiB, 100 * kMiB}}}));
  EXPECT_EQ(Give(plan, {2}), (Pieces{{2, {50 * kMiB, 60 * kMiB}}}));
  EXPECT_EQ(Give(plan, {3}), (Pieces{{3, {15 * kMiB, 30 * kMiB}}}));
}

TEST(RangePlan, SharesTheLargerGap) {
  RangePlan plan(100 * kMiB, IntervalSet({{0, 40 * kMiB}, {80 * kMiB, 90 * kMiB}}), {.lanes = 4});
  const std::int64_t third = 40 * kMiB / 3 / 65536 * 65536;
  const std::int64_t second = (40 * kMiB - third) / 2 / 65536 * 65536;
  EXPECT_EQ(Give(plan, {0, 1, 2, 3}), (Pieces{{0, {40 * kMiB, 40 * kMiB + third}},
                                              {2, {40 * kMiB + third, 40 * kMiB + third + second}},
                                              {3, {40 * kMiB + third + second, 80 * kMiB}},
                                              {1, {90 * kMiB, 100 * kMiB}}}));
}

TEST(RangePlan, GivesGapsHoweverSmall) {
  RangePlan plan(10 * kMiB, IntervalSet({{0, kMiB}, {kMiB + 10, 10 * kMiB}}), {.lanes = 4});
  EXPECT_EQ(Give(plan, {0, 1}), (Pieces{{0, {kMiB, kMiB + 10}}}));
}

TEST(RangePlan, DividesByMeasuredRates) {
  RangePlan plan = Fresh(90 * kMiB, 3);
  plan.SetRate(0, 1 * static_cast<double>(kMiB));
  plan.SetRate(1, 8 * static_cast<double>(kMiB));
  EXPECT_EQ(Give(plan, {1}), (Pieces{{1, {10 * kMiB, 90 * kMiB}}}));
}

TEST(RangePlan, LeavesTheVictimWhatItMayHaveGathered) {
  RangePlan plan = Fresh(100 * kMiB, 2);
  (void)plan.Received(0, 10 * kMiB);
  plan.SetRate(0, 0);
  plan.SetRate(1, 8 * static_cast<double>(kMiB));
  EXPECT_EQ(Give(plan, {1}), (Pieces{{1, {11 * kMiB + kGathered, 100 * kMiB}}}));
}

TEST(RangePlan, TakesFromTheLaneThatWillBeBusyLongest) {
  RangePlan plan = Fresh(60 * kMiB, 4);
  (void)Give(plan, {1, 2});
  for (const int lane : {0, 1, 2}) (void)plan.Received(lane, lane == 1 ? 2 * kMiB : 8 * kMiB);
  EXPECT_EQ(Give(plan, {3}), (Pieces{{3, {31 * kMiB, 40 * kMiB}}}));
}

TEST(RangePlan, FinishesARequestThatHasArrivedWhole) {
  RangePlan plan = Fresh(10 * kMiB, 2);
  (void)Give(plan, {1});
  EXPECT_EQ(plan.Received(1, 5 * kMiB).needed, (Ranges{{5 * kMiB, 10 * kMiB}}));
  EXPECT_EQ(plan.Next(1), LaneNext::Finished);
  plan.Release(1);
  EXPECT_EQ(plan.Next(1), LaneNext::Idle);
}

TEST(RangePlan, ClosesAFlowingLaneOnlyOnceItsSuccessorDelivers) {
  RangePlan plan = Fresh(10 * kMiB, 2);
  (void)Give(plan, {1});
  (void)plan.Received(0, 6 * kMiB);
  EXPECT_EQ(plan.Next(0), LaneNext::Continue);
  // The first to arrive counts: the successor's first mebibyte is held already.
  EXPECT_EQ(plan.Received(1, 2 * kMiB).needed, (Ranges{{6 * kMiB, 7 * kMiB}}));
  EXPECT_EQ(plan.Next(0), LaneNext::Close);
}

TEST(RangePlan, LetsAFlowingLaneGoOnWhereItsSuccessorFails) {
  RangePlan plan = Fresh(10 * kMiB, 2);
  (void)Give(plan, {1});
  (void)plan.Received(0, 4 * kMiB);
  plan.Release(1);
  (void)plan.Received(0, kMiB);
  EXPECT_EQ(plan.Next(0), LaneNext::Continue);
  EXPECT_EQ(plan.PieceOf(0), (Range{0, 10 * kMiB}));
  (void)plan.Received(0, 5 * kMiB);
  EXPECT_TRUE(plan.Complete());
  EXPECT_EQ(plan.Next(0), LaneNext::Finished);
}

TEST(RangePlan, DrainsAShortRestInsteadOfClosing) {
  RangePlan plan = Fresh(10 * kMiB, 2);
  (void)Give(plan, {1});
  plan.EndRequestAt(0, 5 * kMiB + kDrained);
  (void)plan.Received(1, 1);
  (void)plan.Received(0, 5 * kMiB);
  EXPECT_EQ(plan.Next(0), LaneNext::Drain);
  EXPECT_EQ(plan.Received(0, kDrained).needed, (Ranges{{5 * kMiB + 1, 5 * kMiB + kDrained}}));
  EXPECT_EQ(plan.Next(0), LaneNext::Finished);
}

TEST(RangePlan, ReportsBytesBeyondTheRequest) {
  RangePlan plan = Fresh(10 * kMiB, 2);
  (void)Give(plan, {1});
  plan.EndRequestAt(0, kMiB);
  const RangePlan::Arrival arrival = plan.Received(0, kMiB + 1);
  EXPECT_TRUE(arrival.surplus);
  EXPECT_EQ(arrival.needed, (Ranges{{0, kMiB}}));
  EXPECT_EQ(plan.Next(0), LaneNext::Finished);
}

TEST(RangePlan, GivesAgainWhatALostLaneHasNotFetched) {
  RangePlan plan = Fresh(80 * kMiB, 4);
  (void)Give(plan, {1, 2, 3});
  (void)plan.Received(2, 5 * kMiB);
  plan.Release(2);
  EXPECT_EQ(Give(plan, {2}), (Pieces{{2, {45 * kMiB, 60 * kMiB}}}));
}

// 10 MiB, of which lane 0 slowly fetches the last of the first half. Lane 1 was faster and is free.
RangePlan AtItsLastPiece(int lanes) {
  RangePlan plan = Fresh(10 * kMiB, lanes);
  (void)Give(plan, {1});
  (void)plan.Received(1, 5 * kMiB);
  plan.Release(1);
  (void)plan.Received(0, 4 * kMiB);
  plan.SetRate(0, kMiB / 2);
  plan.SetRate(1, 3 * kMiB / 2);
  return plan;
}

TEST(RangePlan, RunsTheLastPieceTwice) {
  RangePlan plan = AtItsLastPiece(3);
  // Too little to take away, two seconds of the lane.
  EXPECT_EQ(Give(plan, {1, 2}), (Pieces{{1, {4 * kMiB + kMiB / 4, 5 * kMiB}}}));  // and not a third time
  EXPECT_EQ(plan.PieceOf(0).end, 5 * kMiB);
  (void)plan.Received(1, 3 * kMiB / 4);
  EXPECT_EQ(plan.Next(0), LaneNext::Continue);
  EXPECT_EQ(plan.Received(0, kMiB / 2).needed, (Ranges{{4 * kMiB, 4 * kMiB + kMiB / 4}}));
  EXPECT_TRUE(plan.Complete());
  EXPECT_EQ(plan.Next(0), LaneNext::Close);
}

// A server with a limit of speed sends the first bytes of each answer at once.
TEST(RangePlan, RunsTwiceOnlyWhatIsMissing) {
  RangePlan plan = AtItsLastPiece(2);
  EXPECT_EQ(Give(plan, {1}), (Pieces{{1, {4 * kMiB + kMiB / 4, 5 * kMiB}}}));
  (void)plan.Received(1, 3 * kMiB / 4);
  plan.Release(1);
  EXPECT_EQ(plan.Next(0), LaneNext::Continue);
  EXPECT_EQ(Give(plan, {1}), (Pieces{{1, {4 * kMiB + kMiB / 16, 4 * kMiB + kMiB / 4}}}));
  EXPECT_EQ(plan.Received(1, kMiB / 8).needed, (Ranges{{4 * kMiB + kMiB / 16, 4 * kMiB + 3 * kMiB / 16}}));
  plan.Release(1);  // it was lost
  EXPECT_EQ(plan.PieceOf(0).end, 4 * kMiB + kMiB / 4);
  EXPECT_EQ(plan.Received(0, kMiB).needed,
            (Ranges{{4 * kMiB, 4 * kMiB + kMiB / 16}, {4 * kMiB + 3 * kMiB / 16, 4 * kMiB + kMiB / 4}}));
  EXPECT_TRUE(plan.Complete());
}

TEST(RangePlan, EndsRequestsWithoutAnEndAtTheirPiece) {
  RangePlan plan(10 * kMiB, {}, {.lanes = 2, .openRequests = true});
  plan.Adopt(0, {0, -1});
  (void)Give(plan, {1});
  (void)plan.Received(1, 1);
  EXPECT_FALSE(plan.Received(0, 5 * kMiB + 100).surplus);
  EXPECT_EQ(plan.Next(0), LaneNext::Close);
  plan.Release(0);
  (void)plan.Received(1, 5 * kMiB - 1);
  EXPECT_EQ(plan.Next(1), LaneNext::Finished);
  EXPECT_TRUE(plan.Complete());
}

TEST(RangePlan, FindsALaneMuchSlowerThanTheOthers) {
  RangePlan plan = Fresh(100 * kMiB, 4);
  (void)Give(plan, {1, 2, 3});
  for (const int lane : {0, 1, 2, 3}) (void)plan.Received(lane, kMiB);
  EXPECT_EQ(plan.SlowLane(), std::nullopt);
  for (const int lane : {0, 1, 3}) plan.SetRate(lane, 8 * static_cast<double>(kMiB));
  plan.SetRate(2, 2 * static_cast<double>(kMiB));
  EXPECT_EQ(plan.SlowLane(), std::nullopt);  // a quarter is not below a quarter
  plan.SetRate(2, 1 * static_cast<double>(kMiB));
  EXPECT_EQ(plan.SlowLane(), 2);
  (void)plan.Received(2, 21 * kMiB);  // three seconds are left
  EXPECT_EQ(plan.SlowLane(), std::nullopt);
}

// Of so many gaps not the largest one of all: to look at each for each request would take seconds.
TEST(RangePlan, TakesHundredsOfGapsFromTheFirstOneOn) {
  constexpr int kGaps = 1000;
  constexpr std::int64_t kStep = std::int64_t{64} << 10;
  IntervalSet held({{0, kGaps * kStep}});
  for (int gap = 0; gap < kGaps; ++gap) held.Remove({gap * kStep, gap * kStep + 4096 + (gap > 900 ? 1 : 0)});
  RangePlan plan(kGaps * kStep, held, {.lanes = 3});
  std::int64_t at = 0;
  while (!plan.Complete()) {
    for (const Piece& piece : Give(plan, {0, 1, 2})) {
      EXPECT_LT(piece.range.begin, at + 512 * kStep);
      at = std::max(at, piece.range.begin);
      EXPECT_EQ(plan.Received(piece.lane, piece.range.Length()).needed, Ranges{piece.range});
      plan.Release(piece.lane);
    }
  }
  EXPECT_EQ(plan.Held().Bytes(), kGaps * kStep);
}

TEST(RangePlan, RelievesASlowLaneByAnotherConnection) {
  RangePlan plan = Fresh(100 * kMiB, 3);
  (void)Give(plan, {1});
  (void)plan.Received(0, 10 * kMiB);
  EXPECT_EQ(plan.Relieve(0, 2), (Piece{2, {10 * kMiB + kGathered, 50 * kMiB}}));
  (void)plan.Received(0, kMiB);
  EXPECT_EQ(plan.Next(0), LaneNext::Continue);  // the other one has not delivered
  (void)plan.Received(2, kMiB);
  EXPECT_EQ(plan.Next(0), LaneNext::Close);
  EXPECT_EQ(plan.Relieve(1, 0), (Piece{0, {50 * kMiB + kGathered, 100 * kMiB}}));
  EXPECT_EQ(Fresh(kMiB, 2).Relieve(0, 1), std::nullopt);
  EXPECT_EQ(Fresh(-1, 2).Relieve(0, 1), std::nullopt);
  EXPECT_EQ(Fresh(10 * kMiB, 2).Relieve(1, 0), std::nullopt);
}

// Lanes of constant rates fetch a file, in steps of 10 ms.
struct Course {
  double connectSeconds = 0.2;
  double turnSeconds = 0.05;  // a request on a kept connection
  double measuredAfter = 0.5;
};

struct Outcome {
  double seconds = 0;
  std::int64_t arrived = 0;
  int requests = 1;
};

struct Line {
  double rate;
  double readyIn = 0;
  double flowing = 0;
  bool busy = false;
};

class Fetching {
 public:
  Fetching(std::int64_t total, const std::vector<double>& mibPerSecond, Course course)
      : plan_(total, {}, {.lanes = static_cast<int>(mibPerSecond.size())}), course_(course) {
    for (const double rate : mibPerSecond) lines_.push_back({rate * static_cast<double>(kMiB), course.connectSeconds});
    plan_.Adopt(0, {0, -1});
    lines_[0].busy = true;
    lines_[0].readyIn = 0;  // its answer is here
  }

  Outcome ToTheEnd() {
    while (!plan_.Complete() && outcome_.seconds < 1000) {
      GiveWork();
      for (std::size_t i = 0; i < lines_.size(); ++i) Step(i);
      outcome_.seconds += kStep;
    }
    return outcome_;
  }

 private:
  static constexpr double kStep = 0.01;

  void GiveWork() {
    std::vector<int> idle;
    for (std::size_t i = 0; i < lines_.size(); ++i) {
      if (!lines_[i].busy) idle.push_back(static_cast<int>(i));
    }
    for (const Piece& piece : plan_.Give(idle)) {
      lines_[static_cast<std::size_t>(piece.lane)].busy = true;
      ++outcome_.requests;
    }
  }

  void Step(std::size_t i) {
    Line& line = lines_[i];
    const int lane = static_cast<int>(i);
    if (!line.busy) return;
    if (line.readyIn > kStep / 2) {
      line.readyIn -= kStep;
      return;
    }
    line.flowing += kStep;
    if (line.flowing >= course_.measuredAfter) plan_.SetRate(lane, line.rate);
    if (plan_.Next(lane) != LaneNext::Finished) {
      const std::int64_t before = plan_.Offset(lane);
      (void)plan_.Received(lane, static_cast<std::int64_t>(line.rate * kStep));
      outcome_.arrived += plan_.Offset(lane) - before;
    }
    for (std::size_t other = 0; other < lines_.size(); ++other) End(other);
  }

  void End(std::size_t i) {
    const LaneNext next = plan_.Next(static_cast<int>(i));
    if (!lines_[i].busy || next == LaneNext::Continue || next == LaneNext::Drain) return;
    plan_.Release(static_cast<int>(i));
    lines_[i].busy = false;
    lines_[i].readyIn = next == LaneNext::Close ? course_.connectSeconds : course_.turnSeconds;
  }

  RangePlan plan_;
  Course course_;
  std::vector<Line> lines_;
  Outcome outcome_;
};

// One lane at 1 MiB/s and three at 8 need 4.19 s for 100 MiB if the three begin after 0.2 s. Whichever the slow one is,
// they take no more than that, a reconnect and a twentieth.
TEST(RangePlanRuns, UnevenLanesFinishTogether) {
  const auto expect = [](const std::vector<double>& rates, double seconds, int requests) {
    const Outcome outcome = Fetching(100 * kMiB, rates, {}).ToTheEnd();
    EXPECT_NEAR(outcome.seconds, seconds, 0.001);
    EXPECT_LE(outcome.seconds, (4.19 + 0.2) * 1.05 + 0.01);
    EXPECT_EQ(outcome.requests, requests);
    EXPECT_LE(outcome.arrived - 100 * kMiB, 2 * kMiB);  // fetched twice
  };
  expect({1, 8, 8, 8}, 4.55, 9);
  expect({8, 1, 8, 8}, 4.61, 9);
  expect({8, 8, 8, 1}, 4.56, 9);
}

TEST(RangePlanRuns, EqualLanesMakeOneRequestEach) {
  const Outcome outcome = Fetching(100 * kMiB, {5, 5, 5, 5}, {}).ToTheEnd();
  EXPECT_EQ(outcome.requests, 4);
  EXPECT_NEAR(outcome.seconds, 5.2, 0.011);
  EXPECT_LE(outcome.arrived - 100 * kMiB, kMiB / 16);
}

TEST(RangePlanRuns, ASlowLaneAloneAtTheEndIsHelped) {
  // Without help the lane at 64 KiB/s would need 160 s for its half.
  EXPECT_LT(Fetching(20 * kMiB, {0.0625, 4}, {}).ToTheEnd().seconds, 20 / 4.0 * 1.6);
}

// Lanes that fail, stall and turn up again at random, blocks of any size.
TEST(RangePlanRuns, EveryByteIsNeededOnceWhateverHappens) {
  for (unsigned seed = 0; seed < 300; ++seed) {
    std::mt19937 random(seed);
    const auto total = static_cast<std::int64_t>(random() % static_cast<unsigned>(24 * kMiB));
    RangePlan plan(total, {}, {.lanes = 5, .openRequests = seed % 3 == 2});
    IntervalSet seen;
    plan.Adopt(0, {0, -1});
    for (int step = 0; step < 3000 && !plan.Complete(); ++step) {
      const auto lane = static_cast<int>(random() % 5);
      const LaneNext next = plan.Next(lane);
      if (next == LaneNext::Idle) {
        for (const Piece& piece : Give(plan, {lane})) EXPECT_EQ(piece.lane, lane);
      } else if (next == LaneNext::Finished || next == LaneNext::Close || random() % 40 == 0) {
        plan.Release(lane);
      } else {
        const RangePlan::Arrival arrival = plan.Received(lane, 1 + static_cast<std::int64_t>(random() % 300000));
        for (const Range& range : arrival.needed) EXPECT_EQ(seen.Add(range), (Ranges{range}));
      }
      if (random() % 4 == 0) plan.SetRate(lane, static_cast<double>(random() % 4000000) - 1);
      if (const std::optional<int> slow = plan.SlowLane(); slow && plan.Next((*slow + 1) % 5) == LaneNext::Idle) {
        (void)plan.Relieve(*slow, (*slow + 1) % 5);
      }
    }
    EXPECT_TRUE(plan.Complete()) << seed;
    EXPECT_EQ(seen, plan.Held());
  }
}

}  // namespace
}  // namespace pellora
