#include <gtest/gtest.h>

#include "fetch/SpeedMeter.h"

namespace pellora {
namespace {

TEST(SpeedMeter, KnowsNothingInTheFirstSecond) {
  SpeedMeter meter;
  EXPECT_EQ(meter.BytesPerSecond(5000), -1);
  meter.Start(10000);
  meter.Received(10500, 1000);
  EXPECT_EQ(meter.BytesPerSecond(10999), -1);
  EXPECT_EQ(meter.BytesPerSecond(11000), 1000);
}

TEST(SpeedMeter, MeansOverTheTimeSinceTheStart) {
  SpeedMeter meter;
  meter.Start(10100);
  for (std::int64_t now = 10200; now <= 12100; now += 100) meter.Received(now, 500);
  EXPECT_EQ(meter.BytesPerSecond(12100), 5000);
}

TEST(SpeedMeter, ForgetsWhatIsOlderThanThreeSeconds) {
  SpeedMeter meter;
  meter.Start(10000);
  for (std::int64_t now = 10000; now < 20000; now += 250) meter.Received(now, 1000);
  EXPECT_EQ(meter.BytesPerSecond(20000 - 1), 12000 * 1000.0 / 2999);
  for (std::int64_t now = 20000; now < 23000; now += 250) meter.Received(now, 10);
  EXPECT_EQ(meter.BytesPerSecond(23000 - 1), 120 * 1000.0 / 2999);
}

TEST(SpeedMeter, FallsToZeroInSilence) {
  SpeedMeter meter;
  meter.Start(10000);
  meter.Received(10000, 1000);
  EXPECT_EQ(meter.BytesPerSecond(12000), 500);
  EXPECT_EQ(meter.BytesPerSecond(13000), 0);
  EXPECT_EQ(meter.BytesPerSecond(1000000), 0);
  meter.Received(1000000, 600);
  EXPECT_EQ(meter.BytesPerSecond(1000000 + 250), 600 * 1000.0 / 2750);
}

TEST(SpeedMeter, BeginsAnewWithAConnection) {
  SpeedMeter meter;
  meter.Received(10000, 1 << 30);
  meter.Start(10500);
  EXPECT_EQ(meter.BytesPerSecond(11000), -1);
  EXPECT_EQ(meter.BytesPerSecond(11500), 0);
}

}  // namespace
}  // namespace pellora
