#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "core/RoomTexts.h"

namespace pellora {
namespace {

TEST(RoomTexts, SayMegabytesFromTenOn) {
  EXPECT_EQ(NeededRoom(19'000'001), "20 MB");
  EXPECT_EQ(FreeRoom(19'999'999), "19 MB");
  EXPECT_EQ(NeededRoom(10'000'000), "10 MB");
  EXPECT_EQ(FreeRoom(10'000'000), "10 MB");
}

TEST(RoomTexts, SayKilobytesBelow) {
  EXPECT_EQ(NeededRoom(300'000), "300 kB");
  EXPECT_EQ(FreeRoom(200'999), "200 kB");
  EXPECT_EQ(NeededRoom(1), "1 kB");
  EXPECT_EQ(FreeRoom(999), "0 kB");
  EXPECT_EQ(NeededRoom(9'999'999), "10000 kB");
}

TEST(RoomTexts, HoldTheLargestFigure) {
  constexpr auto kMost = std::numeric_limits<std::uint64_t>::max();
  EXPECT_EQ(NeededRoom(kMost), "18446744073710 MB");
  EXPECT_EQ(FreeRoom(kMost), "18446744073709 MB");
}

}  // namespace
}  // namespace pellora
