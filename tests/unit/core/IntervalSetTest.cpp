#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "core/IntervalSet.h"

namespace pellora {
namespace {

using Ranges = std::vector<Range>;

TEST(IntervalSet, JoinsRangesThatTouchOrOverlap) {
  IntervalSet set;
  EXPECT_EQ(set.Add({10, 20}), (Ranges{{10, 20}}));
  EXPECT_EQ(set.Add({30, 40}), (Ranges{{30, 40}}));
  EXPECT_EQ(set.Add({20, 25}), (Ranges{{20, 25}}));
  EXPECT_EQ(set.Ranges(), (Ranges{{10, 25}, {30, 40}}));
  EXPECT_EQ(set.Add({5, 45}), (Ranges{{5, 10}, {25, 30}, {40, 45}}));
  EXPECT_EQ(set.Ranges(), (Ranges{{5, 45}}));
}

TEST(IntervalSet, AddsNothingForWhatIsHeldOrEmpty) {
  IntervalSet set(Ranges{{10, 20}});
  EXPECT_EQ(set.Add({12, 18}), Ranges{});
  EXPECT_EQ(set.Add({15, 15}), Ranges{});
  EXPECT_EQ(set.Add({18, 12}), Ranges{});
  EXPECT_EQ(set.Ranges(), (Ranges{{10, 20}}));
}

TEST(IntervalSet, NamesWhatIsMissing) {
  const IntervalSet set(Ranges{{30, 40}, {10, 20}, {15, 16}});
  EXPECT_EQ(set.Missing({0, 50}), (Ranges{{0, 10}, {20, 30}, {40, 50}}));
  EXPECT_EQ(set.Missing({12, 35}), (Ranges{{20, 30}}));
  EXPECT_EQ(set.Missing({10, 20}), Ranges{});
  EXPECT_EQ(set.Missing({20, 20}), Ranges{});
}

TEST(IntervalSet, KnowsItsBytes) {
  const IntervalSet set(Ranges{{10, 20}, {std::int64_t{1} << 40, (std::int64_t{1} << 40) + 5}});
  EXPECT_EQ(set.Bytes(), 15);
  EXPECT_TRUE(set.Holds(10));
  EXPECT_TRUE(set.Holds(19));
  EXPECT_FALSE(set.Holds(9));
  EXPECT_FALSE(set.Holds(20));
  EXPECT_TRUE(set.HoldsAll({10, 20}));
  EXPECT_FALSE(set.HoldsAll({10, 21}));
  EXPECT_TRUE(set.HoldsAll({100, 100}));
}

TEST(IntervalSet, CutsAtALength) {
  IntervalSet set(Ranges{{0, 10}, {20, 30}, {40, 50}});
  set.CutTo(25);
  EXPECT_EQ(set.Ranges(), (Ranges{{0, 10}, {20, 25}}));
  set.CutTo(20);
  EXPECT_EQ(set.Ranges(), (Ranges{{0, 10}}));
  set.CutTo(0);
  EXPECT_EQ(set.Ranges(), Ranges{});
}

TEST(IntervalSet, RemovesWhatIsInARange) {
  IntervalSet set(Ranges{{0, 10}, {20, 30}, {40, 50}});
  set.Remove({5, 5});
  EXPECT_EQ(set.Bytes(), 30);
  set.Remove({10, 20});
  EXPECT_EQ(set.Bytes(), 30);
  set.Remove({25, 45});
  EXPECT_EQ(set.Ranges(), (Ranges{{0, 10}, {20, 25}, {45, 50}}));
  set.Remove({2, 3});
  EXPECT_EQ(set.Ranges(), (Ranges{{0, 2}, {3, 10}, {20, 25}, {45, 50}}));
  set.Remove({-5, 100});
  EXPECT_EQ(set.Ranges(), Ranges{});
}

TEST(IntervalSet, AgreesWithAMapOfBytes) {
  std::mt19937 random(4711);
  for (int round = 0; round < 200; ++round) {
    IntervalSet set;
    std::vector<bool> bytes(64);
    for (int step = 0; step < 20; ++step) {
      const auto begin = static_cast<std::int64_t>(random() % 64);
      const auto end = static_cast<std::int64_t>(random() % 65);
      std::int64_t fresh = 0;
      for (std::int64_t i = begin; i < end; ++i) {
        fresh += bytes[static_cast<std::size_t>(i)] ? 0 : 1;
        bytes[static_cast<std::size_t>(i)] = true;
      }
      std::int64_t added = 0;
      for (const Range& range : set.Add({begin, end})) added += range.Length();
      EXPECT_EQ(added, fresh);
    }
    for (std::int64_t i = 0; i < 64; ++i) EXPECT_EQ(set.Holds(i), bytes[static_cast<std::size_t>(i)]);
    EXPECT_EQ(set.Bytes(), std::count(bytes.begin(), bytes.end(), true));
  }
}

TEST(IntervalSet, TellsTheFirstOfWhatIsMissing) {
  const IntervalSet set({{10, 20}, {30, 40}, {50, 60}});
  EXPECT_EQ(set.Missing({0, 70}, 1).front(), (Range{0, 10}));
  const std::vector<Range> two = set.Missing({0, 70}, 2);
  ASSERT_GE(two.size(), 2U);
  EXPECT_EQ(two[1], (Range{20, 30}));
  EXPECT_EQ(set.Missing({0, 70}, 100), set.Missing({0, 70}));
  EXPECT_TRUE(set.Missing({12, 18}, 1).empty());
}

}  // namespace
}  // namespace pellora
