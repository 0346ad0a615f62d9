#include <gtest/gtest.h>

#include <limits>
#include <set>
#include <vector>

#include "fetch/BackOff.h"

namespace pellora {
namespace {

constexpr std::int64_t kMiB = std::int64_t{1} << 20;

// The wait in seconds whose range of chances has `milliseconds` in it.
std::int64_t Step(std::int64_t milliseconds) {
  for (const std::int64_t seconds : {1, 2, 4, 8, 16, 32, 60}) {
    if (milliseconds >= seconds * 750 && milliseconds <= seconds * 1000) return seconds;
  }
  return -1;
}

TEST(BackOff, StartsOverWhenTheUserResumes) {
  BackOff backOff(1);
  for (int i = 0; i < 6; ++i) (void)backOff.Next();
  EXPECT_GT(backOff.Next(), 40'000);
  backOff.Restart();
  EXPECT_LE(backOff.Next(), 1000);
}

TEST(BackOff, DoublesUpToAMinute) {
  for (std::uint64_t seed = 0; seed < 100; ++seed) {
    BackOff backOff(seed);
    std::vector<std::int64_t> steps;
    for (int i = 0; i < 9; ++i) steps.push_back(Step(backOff.Next()));
    EXPECT_EQ(steps, (std::vector<std::int64_t>{1, 2, 4, 8, 16, 32, 60, 60, 60})) << seed;
  }
}

TEST(BackOff, RepeatsByItsSeed) {
  BackOff a(7);
  BackOff b(7);
  std::set<std::int64_t> first;
  for (int i = 0; i < 20; ++i) EXPECT_EQ(a.Next(), b.Next());
  for (std::uint64_t seed = 0; seed < 50; ++seed) first.insert(BackOff(seed).Next());
  EXPECT_GT(first.size(), 30U);
}

TEST(BackOff, HasFixedNumbersForASeed) {
  BackOff backOff(1);
  std::vector<std::int64_t> waits;
  for (int i = 0; i < 4; ++i) waits.push_back(backOff.Next());
  EXPECT_EQ(waits, (std::vector<std::int64_t>{895, 1690, 3362, 6738}));
}

TEST(BackOff, StartsOverAfterAMebibyteOnly) {
  BackOff backOff(1);
  for (int i = 0; i < 3; ++i) (void)backOff.Next();
  backOff.Received(kMiB - 1);
  EXPECT_EQ(Step(backOff.Next()), 8);
  backOff.Received(kMiB - 1);  // counted since the last failure
  backOff.Received(1);
  EXPECT_EQ(Step(backOff.Next()), 1);
}

TEST(BackOff, KnowsAMebibyteOnce) {
  BackOff backOff(1);
  backOff.Received(kMiB - 1);
  EXPECT_FALSE(backOff.TakeRecovery());
  backOff.Received(kMiB);
  EXPECT_TRUE(backOff.TakeRecovery());
  EXPECT_FALSE(backOff.TakeRecovery());
  EXPECT_EQ(Step(backOff.Next()), 1);
}

TEST(BackOff, WaitsNoLessThanTheServerAsks) {
  BackOff backOff(1);
  EXPECT_EQ(backOff.NextAfter(90), 90000);
  EXPECT_EQ(Step(backOff.NextAfter(0)), 2);
  EXPECT_EQ(backOff.NextAfter(std::numeric_limits<std::int64_t>::max()), 86400000);
}

TEST(Rounds, AreSpentAfterTenWithoutAByte) {
  Rounds rounds;
  for (int i = 0; i < 9; ++i) rounds.Ended(RoundCause::Failure);
  EXPECT_FALSE(rounds.Spent());
  rounds.Ended(RoundCause::Failure);
  EXPECT_TRUE(rounds.Spent());
}

TEST(Rounds, BeginAgainWithAByte) {
  Rounds rounds;
  for (int i = 0; i < 9; ++i) rounds.Ended(RoundCause::Failure);
  rounds.Received();
  rounds.Ended(RoundCause::Failure);
  EXPECT_EQ(rounds.Count(), 1);
}

TEST(Rounds, DoNotCountWhatIsNotTheServersFault) {
  Rounds rounds;
  for (int i = 0; i < 100; ++i) {
    for (const RoundCause cause : {RoundCause::NoNetwork, RoundCause::NoNames, RoundCause::RetryAfter})
      rounds.Ended(cause);
  }
  EXPECT_EQ(rounds.Count(), 0);
}

}  // namespace
}  // namespace pellora
