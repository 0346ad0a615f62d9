#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "ports/Failure.h"
#include "transfer/Plan.h"

namespace pellora {
namespace {

using Ranges = std::vector<PlannedRange>;

std::size_t WantedCount(std::int32_t size, std::int32_t most) {
  const std::int32_t wanted = size < 10000 ? 1 : size < 100000 ? 2 : 8;
  return static_cast<std::size_t>(std::min(wanted, most));
}

// What is wrong with the plan, or null.
const char* Fault(std::int32_t size, std::int32_t most) {
  const Ranges ranges = PlanSegments(size, most);
  if (ranges.size() != WantedCount(size, most)) return "count";
  const auto share =
      static_cast<std::int64_t>(std::floor(static_cast<double>(size) / static_cast<double>(ranges.size())));
  std::int64_t next = 0;
  for (std::size_t i = 0; i < ranges.size(); ++i) {
    const PlannedRange& range = ranges[i];
    const std::int64_t expected = i == 0 ? size - static_cast<std::int64_t>(ranges.size() - 1) * share : share;
    if (range.start != next) return "start";
    if (range.size != expected) return "size";
    if (range.end != next + expected - 1) return "end";
    next += expected;
  }
  return next == size ? nullptr : "sum";
}

TEST(PlanSegments, ChangesTheSegmentCountAtItsLimits) {
  EXPECT_EQ(PlanSegments(9999, 8), (Ranges{{0, 9998, 9999}}));
  EXPECT_EQ(PlanSegments(10000, 4), (Ranges{{0, 4999, 5000}, {5000, 9999, 5000}}));
  EXPECT_EQ(PlanSegments(99999, 8), (Ranges{{0, 49999, 50000}, {50000, 99998, 49999}}));
  EXPECT_EQ(PlanSegments(100000, 4),
            (Ranges{{0, 24999, 25000}, {25000, 49999, 25000}, {50000, 74999, 25000}, {75000, 99999, 25000}}));
}

TEST(PlanSegments, GivesTheFirstSegmentTheRemainder) {
  EXPECT_EQ(PlanSegments(100001, 3), (Ranges{{0, 33334, 33335}, {33335, 66667, 33333}, {66668, 100000, 33333}}));
  const Ranges eight = PlanSegments(1000003, 8);
  ASSERT_EQ(eight.size(), 8u);
  EXPECT_EQ(eight[0], (PlannedRange{0, 125002, 125003}));
  EXPECT_EQ(eight[1], (PlannedRange{125003, 250002, 125000}));
  EXPECT_EQ(eight[7], (PlannedRange{875003, 1000002, 125000}));
}

TEST(PlanSegments, PlansAnUnknownSizeAsOneEmptyRange) {
  EXPECT_EQ(PlanSegments(0, 8), (Ranges{{0, -1, 0}}));
  EXPECT_EQ(PlanSegments(-1, 8), (Ranges{{0, -1, 0}}));
  EXPECT_EQ(PlanSegments(std::numeric_limits<std::int32_t>::min(), 8), (Ranges{{0, -1, 0}}));
}

TEST(PlanSegments, NeverPlansMoreThanEight) { EXPECT_EQ(PlanSegments(2147483647, 2147483647).size(), 8u); }

TEST(PlanSegments, FailsIfNoSegmentIsAllowed) {
  const auto numberOf = [](std::int32_t most) {
    try {
      (void)PlanSegments(5000, most);
    } catch (const Failure& failure) {
      return static_cast<int>(failure.Number());
    }
    return 0;
  };
  EXPECT_EQ(numberOf(0), static_cast<int>(FailureNumber::DivisionByZero));
  EXPECT_EQ(numberOf(-5), static_cast<int>(FailureNumber::OutOfRange));
  EXPECT_EQ(numberOf(std::numeric_limits<std::int32_t>::min()), static_cast<int>(FailureNumber::OutOfRange));
}

TEST(PlanSegments, KeepsItsRulesForEverySizeUpTo300000) {
  for (std::int32_t most = 1; most <= 8; ++most) {
    for (std::int32_t size = 0; size <= 300000; ++size) {
      const char* const fault = Fault(size, most);
      ASSERT_EQ(fault, nullptr) << fault << " of size " << size << " with at most " << most;
    }
  }
}

TEST(PlanSegments, KeepsItsRulesForRandomSizesUpToTheLargest) {
  std::mt19937 random(23);
  std::uniform_int_distribution<std::int32_t> sizes(0, std::numeric_limits<std::int32_t>::max());
  for (int round = 0; round < 100000; ++round) {
    const std::int32_t size = round == 0 ? std::numeric_limits<std::int32_t>::max() : sizes(random);
    const std::int32_t most = static_cast<std::int32_t>(random() % 12) + 1;
    const char* const fault = Fault(size, most);
    ASSERT_EQ(fault, nullptr) << fault << " of size " << size << " with at most " << most;
  }
}

}  // namespace
}  // namespace pellora
