#include <gtest/gtest.h>

#include "core/Settings.h"
#include "core/SpeedLimits.h"

namespace pellora {
namespace {

constexpr double kHour = 3600;

TEST(SpeedLimitAt, IsInKiBAndHoldsAllDayWithoutATimetable) {
  Settings settings;
  EXPECT_EQ(SpeedLimitAt(settings, 10 * kHour), 0);
  settings.SpeedLimit = 100;
  for (const double hour : {0.0, 8.0, 23.9}) EXPECT_EQ(SpeedLimitAt(settings, hour * kHour), 102400) << hour;
}

TEST(SpeedLimitAt, HoldsFromOneHourToTheOther) {
  Settings settings;
  settings.SpeedLimit = 1;
  settings.SpeedLimitTimed = true;  // from 8 to 18
  struct Case {
    double hour;
    bool limited;
  };
  for (const Case& c : {Case{7.999, false}, Case{8, true}, Case{17.999, true}, Case{18, false}, Case{0, false}}) {
    EXPECT_EQ(SpeedLimitAt(settings, c.hour * kHour), c.limited ? 1024 : 0) << c.hour;
  }
}

TEST(SpeedLimitAt, HoldsOverMidnight) {
  Settings settings;
  settings.SpeedLimit = 1;
  settings.SpeedLimitTimed = true;
  settings.SpeedLimitFrom = 22;
  settings.SpeedLimitTo = 6;
  struct Case {
    double hour;
    bool limited;
  };
  for (const Case& c : {Case{21.999, false}, Case{22, true}, Case{0, true}, Case{5.999, true}, Case{6, false}}) {
    EXPECT_EQ(SpeedLimitAt(settings, c.hour * kHour), c.limited ? 1024 : 0) << c.hour;
  }
}

TEST(SpeedLimitAt, HoldsAllDayFromAnHourToItself) {
  Settings settings;
  settings.SpeedLimit = 1;
  settings.SpeedLimitTimed = true;
  settings.SpeedLimitFrom = settings.SpeedLimitTo = 9;
  for (const double hour : {0.0, 8.999, 9.0, 23.0}) EXPECT_EQ(SpeedLimitAt(settings, hour * kHour), 1024) << hour;
}

}  // namespace
}  // namespace pellora
