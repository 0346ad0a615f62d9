#include <gtest/gtest.h>

#include "transfer/SpacingWait.h"

namespace pellora {
namespace {

class WallClock final : public Clock {
 public:
  double day = 46000;
  double seconds = 0;

  std::uint32_t TickCount() const override { return 0; }
  double SecondsSinceMidnight() const override { return seconds; }
  double Now() const override { return day + seconds / 86400; }
};

TEST(SpacingWait, EndsOnlyAfterMoreThanItsLength) {
  WallClock clock;
  clock.seconds = 1000;
  const SpacingWait wait(clock, 0.25);
  EXPECT_FALSE(wait.Over());
  clock.seconds = 1000.25;
  EXPECT_FALSE(wait.Over());
  clock.seconds = 1000.26;
  EXPECT_TRUE(wait.Over());
}

TEST(SpacingWait, EndsAcrossMidnightOnceTheClockPassesItsStartAgain) {
  WallClock clock;
  clock.seconds = 86399.5;
  const SpacingWait wait(clock, 0.2);
  clock.day += 1;
  clock.seconds = 10;
  EXPECT_FALSE(wait.Over());
  clock.seconds = 86399.5;
  EXPECT_FALSE(wait.Over());
  clock.seconds = 86399.6;
  EXPECT_TRUE(wait.Over());
}

TEST(SpacingWait, EndsAtASecondMidnightIfTheStartCannotBePassed) {
  WallClock clock;
  clock.seconds = 86399.999;
  const SpacingWait wait(clock, 0.2);
  clock.day += 1;
  clock.seconds = 86399.99;
  EXPECT_FALSE(wait.Over());
  clock.day += 1;
  clock.seconds = 0;
  EXPECT_TRUE(wait.Over());
}

TEST(SpacingWait, EndsWhenTheClockIsSetBack) {
  WallClock clock;
  clock.seconds = 5000;
  const SpacingWait sameDay(clock, 0.2);
  clock.seconds = 1400;
  EXPECT_TRUE(sameDay.Over());
  const SpacingWait dayBefore(clock, 0.2);
  clock.day -= 1;
  EXPECT_TRUE(dayBefore.Over());
}

}  // namespace
}  // namespace pellora
