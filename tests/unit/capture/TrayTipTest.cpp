#include <gtest/gtest.h>

#include "capture/TrayTip.h"

namespace pellora {
namespace {

TEST(TrayTip, CutsAt64CharactersBetweenCodePoints) {
  EXPECT_EQ(TrayTip(std::string(80, 'a')), std::string(64, 'a'));
  std::string wide;
  for (int i = 0; i < 70; ++i) wide += "\xC3\xA9";
  EXPECT_EQ(TrayTip(wide), wide.substr(0, 128));
}

TEST(TrayTip, EndsAtANul) { EXPECT_EQ(TrayTip(std::string("ab\0cd", 5)), "ab"); }

}  // namespace
}  // namespace pellora
