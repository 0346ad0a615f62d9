#include <gtest/gtest.h>

#include "core/Percent.h"

namespace pellora {
namespace {

TEST(Percent, DecodesDigitsInEitherCase) { EXPECT_EQ(PercentDecoded("a%2Fb%2fc%00"), std::string("a/b/c\0", 6)); }

TEST(Percent, KeepsASignWithoutTwoDigits) { EXPECT_EQ(PercentDecoded("100% %4 %zz%41%"), "100% %4 %zzA%"); }

TEST(Percent, EncodesAByteWithCapitals) {
  std::string text;
  AppendPercent(text, '\xAF');
  AppendPercent(text, '\0');
  EXPECT_EQ(text, "%AF%00");
}

}  // namespace
}  // namespace pellora
