#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <limits>
#include <memory>
#include <numeric>
#include <vector>

#include "core/SpeedBudget.h"

namespace pellora {
namespace {

constexpr std::int64_t kKiB = 1024;
constexpr std::int64_t kStep = 20;  // ms

// One connection whose server sends as fast as it can, or at a rate.
struct Stream {
  explicit Stream(SpeedShare& share) : lane(share.NewLane()) {}

  void Step() {
    arrived += rate < 0 ? std::int64_t{1} << 30 : rate * kStep / 1000;
    arrived = std::min(arrived, std::int64_t{1} << 30);
    while (running) {
      const std::int64_t portion = std::min<std::int64_t>(16 * kKiB, static_cast<std::int64_t>(lane->Portion()));
      const std::int64_t block = std::min(arrived, portion);
      if (block == 0 || !lane->Take(static_cast<std::size_t>(block))) return;
      arrived -= block;
      taken += block;
      if (taken > unlimitedAfter) return;
    }
  }

  std::shared_ptr<SpeedLane> lane;
  std::int64_t rate = -1;  // bytes per second that its server sends; -1: any number
  std::int64_t arrived = 0;
  std::int64_t taken = 0;
  std::int64_t unlimitedAfter = std::numeric_limits<std::int64_t>::max();
  bool running = true;
};

class SpeedBudgetTest : public testing::Test {
 protected:
  Stream& Add(const std::shared_ptr<SpeedShare>& share) { return streams.emplace_back(*share); }

  void RunFor(std::int64_t milliseconds) {
    for (std::int64_t passed = 0; passed < milliseconds; passed += kStep) {
      budget.Pass(kStep);
      for (Stream& stream : streams) stream.Step();
      totals.push_back(Taken());
    }
  }
  std::int64_t Taken() const {
    return std::accumulate(streams.begin(), streams.end(), std::int64_t{0},
                           [](std::int64_t sum, const Stream& stream) { return sum + stream.taken; });
  }
  // The largest deviation of any ten seconds since the given moment from `bytesPerSecond`, in percent.
  double Deviation(std::int64_t bytesPerSecond, std::size_t since = 0) const {
    constexpr std::size_t kTenSeconds = 10'000 / kStep;
    double worst = 0;
    for (std::size_t i = since; i + kTenSeconds < totals.size(); ++i) {
      const double bytes = static_cast<double>(totals[i + kTenSeconds] - totals[i]);
      worst = std::max(worst, std::abs(bytes / 10.0 / static_cast<double>(bytesPerSecond) - 1) * 100);
    }
    return worst;
  }
  std::size_t Now() const { return totals.size(); }

  SpeedBudget budget;
  std::deque<Stream> streams;
  std::vector<std::int64_t> totals;  // after each step
};

TEST_F(SpeedBudgetTest, KeepsAnyTenSecondsWithinFivePercent) {
  for (const std::int64_t rate : {8 * kKiB, 16 * kKiB, 100 * kKiB, 256 * kKiB, 2048 * kKiB, 100'000 * kKiB}) {
    streams.clear();
    totals.clear();
    budget.SetRate(rate);
    const auto one = budget.NewShare();
    const auto other = budget.NewShare();
    for (int i = 0; i < 4; ++i) Add(one);
    for (int i = 0; i < 3; ++i) Add(other);
    RunFor(40'000);
    EXPECT_LT(Deviation(rate, 10), 5) << rate;
  }
}

TEST_F(SpeedBudgetTest, SharesFairlyAmongDownloadsAndTheirConnections) {
  budget.SetRate(1000 * kKiB);
  const auto many = budget.NewShare();
  const auto few = budget.NewShare();
  for (int i = 0; i < 8; ++i) Add(many);
  Add(few);
  RunFor(10'000);
  const std::int64_t ofFew = streams[8].taken;
  EXPECT_NEAR(static_cast<double>(ofFew), static_cast<double>(Taken() - ofFew), 5000.0 * 0.02 * kKiB);
  for (int i = 1; i < 8; ++i) EXPECT_NEAR(static_cast<double>(streams[i].taken), 625.0 * kKiB, 40.0 * kKiB) << i;
}

TEST_F(SpeedBudgetTest, GivesTheOthersWhatOneDoesNotUse) {
  budget.SetRate(1000 * kKiB);
  const auto slow = budget.NewShare();
  const auto fast = budget.NewShare();
  Add(slow).rate = 100 * kKiB;
  Add(fast);
  Add(fast).running = false;  // connected, but nothing comes
  RunFor(30'000);
  EXPECT_LT(Deviation(1000 * kKiB, 10), 5);
  EXPECT_NEAR(static_cast<double>(streams[0].taken), 3000.0 * kKiB, 100.0 * kKiB);
  EXPECT_NEAR(static_cast<double>(streams[1].taken), 27'000.0 * kKiB, 600.0 * kKiB);
}

TEST_F(SpeedBudgetTest, HoldsNothingUpBelowTheLimit) {
  budget.SetRate(1000 * kKiB);
  const auto share = budget.NewShare();
  for (int i = 0; i < 4; ++i) Add(share).rate = 200 * kKiB;
  RunFor(10'000);
  EXPECT_NEAR(static_cast<double>(Taken()), 8000.0 * kKiB, 70.0 * kKiB);
}

TEST_F(SpeedBudgetTest, KeepsTheLimitOfOneDownload) {
  const auto limited = budget.NewShare();
  const auto free = budget.NewShare();
  limited->SetRate(100 * kKiB);
  Add(limited);
  Add(limited);
  Add(free).rate = 5000 * kKiB;
  RunFor(20'000);
  EXPECT_NEAR(static_cast<double>(streams[0].taken + streams[1].taken), 2000.0 * kKiB, 60.0 * kKiB);
  EXPECT_EQ(streams[2].taken, 100'000 * kKiB);
}

TEST_F(SpeedBudgetTest, KeepsBothLimitsAtOnce) {
  budget.SetRate(1000 * kKiB);
  const auto limited = budget.NewShare();
  const auto free = budget.NewShare();
  limited->SetRate(100 * kKiB);
  for (int i = 0; i < 4; ++i) Add(limited);
  Add(free);
  RunFor(20'000);
  EXPECT_LT(Deviation(1000 * kKiB, 10), 5);
  EXPECT_NEAR(static_cast<double>(streams[4].taken), 18'000.0 * kKiB, 500.0 * kKiB);
}

TEST_F(SpeedBudgetTest, ChangesWhileItRuns) {
  budget.SetRate(1000 * kKiB);
  const auto share = budget.NewShare();
  Add(share);
  Add(share);
  RunFor(15'000);
  budget.SetRate(200 * kKiB);
  const std::size_t changed = Now();
  RunFor(15'000);
  EXPECT_LT(Deviation(200 * kKiB, changed), 5);
  budget.SetRate(0);
  const std::int64_t before = Taken();
  streams[0].unlimitedAfter = streams[0].taken;
  streams[1].running = false;
  RunFor(kStep);
  EXPECT_GT(Taken(), before);
  EXPECT_FALSE(streams[0].lane->Waits());
}

// A long stop of the whole program lets nobody make up for it.
TEST_F(SpeedBudgetTest, SavesNoMoreThanAQuarterOfASecond) {
  budget.SetRate(1000 * kKiB);
  const auto share = budget.NewShare();
  Add(share);
  RunFor(1000);
  const std::int64_t before = Taken();
  budget.Pass(3'600'000);
  streams[0].Step();
  EXPECT_LE(Taken() - before, 266 * kKiB);
}

// A third of a byte for each of three is no byte, but not no limit.
TEST_F(SpeedBudgetTest, NeverTakesAShareOfNothingForNoLimit) {
  budget.SetRate(1);
  std::vector<std::shared_ptr<SpeedShare>> shares;
  for (int i = 0; i < 3; ++i) Add(shares.emplace_back(budget.NewShare()));
  RunFor(10'000);
  EXPECT_EQ(Taken(), 0);  // ten bytes are no portion
  EXPECT_EQ(shares[0]->MostLanes(), 1);
  EXPECT_EQ(streams[0].lane->Portion(), std::size_t{1} << 10);
}

TEST_F(SpeedBudgetTest, AllowsFewerConnectionsWhereEachWouldGetLessThan16KiB) {
  const auto one = budget.NewShare();
  const auto other = budget.NewShare();
  EXPECT_GE(one->MostLanes(), 1000);
  budget.SetRate(64 * kKiB);
  EXPECT_EQ(one->MostLanes(), 4);
  Add(one);
  Add(other);
  EXPECT_EQ(one->MostLanes(), 2);
  one->SetRate(20 * kKiB);
  EXPECT_EQ(one->MostLanes(), 1);
  EXPECT_EQ(other->MostLanes(), 2);
  budget.SetRate(2 * kKiB);
  EXPECT_EQ(other->MostLanes(), 1);
}

// Of a socket it is known only afterwards how much it had.
TEST_F(SpeedBudgetTest, LetsDebtsBePaidBeforeMoreIsRead) {
  budget.SetRate(100 * kKiB);
  const auto share = budget.NewShare();
  const auto lane = share->NewLane();
  EXPECT_FALSE(lane->Spend(250 * kKiB));
  int steps = 0;
  while (!lane->MayGoOn() && steps < 1000) {
    budget.Pass(kStep);
    ++steps;
  }
  EXPECT_NEAR(steps * kStep, 2500, 2 * kStep);
  EXPECT_FALSE(lane->Waits());
}

TEST_F(SpeedBudgetTest, WaitsUntilItMayTake) {
  budget.SetRate(100 * kKiB);
  const auto share = budget.NewShare();
  const auto lane = share->NewLane();
  EXPECT_FALSE(lane->Waits());
  EXPECT_FALSE(lane->Take(1000));
  EXPECT_TRUE(lane->Waits());
  budget.Pass(kStep);
  EXPECT_TRUE(lane->Waits());
  EXPECT_TRUE(lane->Take(1000));
  EXPECT_FALSE(lane->Waits());
}

TEST_F(SpeedBudgetTest, KeepsNothingForAConnectionThatAsksNoMore) {
  budget.SetRate(100 * kKiB);
  const auto share = budget.NewShare();
  const auto gone = share->NewLane();
  EXPECT_FALSE(gone->Take(16 * kKiB));
  Add(share);
  RunFor(12'000);
  EXPECT_LT(Deviation(100 * kKiB, 50), 5);
}

TEST_F(SpeedBudgetTest, IsInUseWhileThereIsALimitAndAConnection) {
  EXPECT_FALSE(budget.InUse());
  const auto share = budget.NewShare();
  auto lane = share->NewLane();
  EXPECT_FALSE(budget.InUse());
  share->SetRate(1000);
  EXPECT_TRUE(budget.InUse());
  lane.reset();
  EXPECT_FALSE(budget.InUse());
}

TEST_F(SpeedBudgetTest, WhatAClosedConnectionOwesIsWaitedForByTheOthers) {
  budget.SetRate(100 * kKiB);
  const std::shared_ptr<SpeedShare> share = budget.NewShare();
  share->NewLane()->Spend(200 * kKiB);
  Stream& other = Add(share);
  RunFor(1500);
  EXPECT_EQ(other.taken, 0);
  RunFor(2500);
  EXPECT_GT(other.taken, 150 * kKiB);
  EXPECT_LE(other.taken, 201 * kKiB);
}

}  // namespace
}  // namespace pellora
