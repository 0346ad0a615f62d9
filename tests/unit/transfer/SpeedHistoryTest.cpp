#include <gtest/gtest.h>

#include "transferwin/SpeedHistory.h"

namespace pellora {
namespace {

using Speeds = std::vector<float>;

TEST(SpeedHistory, HasAStepForEachHalfSecond) {
  SpeedHistory history;
  EXPECT_FALSE(history.Take(10'000, 5'000'000));  // what was there before says nothing
  EXPECT_FALSE(history.Take(10'200, 5'000'100));
  EXPECT_TRUE(history.Take(10'500, 5'000'500));
  EXPECT_FALSE(history.Take(10'900, 5'000'600));
  EXPECT_TRUE(history.Take(11'000, 5'001'500));
  EXPECT_EQ(history.Speeds(), (Speeds{1000, 2000}));
}

TEST(SpeedHistory, LateStepIsOverTheTimeThatItTook) {
  SpeedHistory history;
  history.Take(0, 0);
  history.Take(800, 800);
  EXPECT_EQ(history.Speeds(), (Speeds{1000}));
}

TEST(SpeedHistory, SilenceIsAtZero) {
  SpeedHistory history;
  history.Take(0, 0);
  history.Take(500, 500);
  history.Take(2500, 1000);
  ASSERT_EQ(history.Speeds().size(), 5U);
  EXPECT_EQ(history.Speeds()[1], 0.0F);
  EXPECT_EQ(history.Speeds()[3], 0.0F);
  EXPECT_GT(history.Speeds()[4], 0.0F);
}

TEST(SpeedHistory, KeepsTheLastMinute) {
  SpeedHistory history;
  for (std::uint32_t step = 0; step <= 200; ++step) history.Take(step * 500, step);
  EXPECT_EQ(history.Speeds().size(), SpeedHistory::kMostSteps);
  history.Take(100'000'000, 1000);
  EXPECT_EQ(history.Speeds().size(), SpeedHistory::kMostSteps);
  EXPECT_EQ(history.Speeds().front(), 0.0F);
}

TEST(SpeedHistory, GoesOnAfterTheClockHasWrappedAroundAndTheFileHasBegunAgain) {
  SpeedHistory history;
  history.Take(0xFFFFFF00U, 0);
  EXPECT_TRUE(history.Take(0x100U, 512));
  EXPECT_EQ(history.Speeds(), (Speeds{1000}));
  EXPECT_FALSE(history.Take(0x400U, 0));
  EXPECT_TRUE(history.Take(0x400U + 500, 250));
  EXPECT_EQ(history.Speeds().back(), 500.0F);
}

}  // namespace
}  // namespace pellora
