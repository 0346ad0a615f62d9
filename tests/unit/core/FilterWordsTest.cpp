#include <gtest/gtest.h>

#include "core/FilterWords.h"

namespace pellora {
namespace {

TEST(FilterWords, WithoutWordsFitEverything) {
  EXPECT_TRUE(FilterWords("").Empty());
  EXPECT_TRUE(FilterWords("   ").Empty());
  EXPECT_TRUE(FilterWords("  ").Fit({"a"}));
}

TEST(FilterWords, FitATextThatHasThemInAnyOrder) {
  const FilterWords words(" iso deb ");
  EXPECT_TRUE(words.Fit({"debian-12.iso"}));
  EXPECT_FALSE(words.Fit({"debian-12.img"}));
}

TEST(FilterWords, MayBeInDifferentTexts) {
  EXPECT_TRUE(FilterWords("iso mirror").Fit({"a.iso", "http://mirror.example/a.iso"}));
  EXPECT_FALSE(FilterWords("isomirror").Fit({"a.iso", "mirror"}));  // no word reaches from one text into the next
}

TEST(FilterWords, IgnoreCaseBeyondAsciiToo) {
  EXPECT_TRUE(FilterWords("ÜBUNG").Fit({"übung.pdf"}));
  EXPECT_TRUE(FilterWords("łódź").Fit({"ŁÓDŹ.jpg"}));
  EXPECT_TRUE(FilterWords("ελλ").Fit({"ΕΛΛΑΔΑ"}));
  EXPECT_TRUE(FilterWords("Ёлка").Fit({"ёлка"}));
  EXPECT_FALSE(FilterWords("ubung").Fit({"übung.pdf"}));
  EXPECT_FALSE(FilterWords("×").Fit({"÷"}));  // signs between the letters
}

TEST(FilterWords, TakeBytesThatAreNoUtf8AsTheyAre) {
  EXPECT_TRUE(FilterWords("\xFF").Fit({"a\xFFZ"}));
  EXPECT_TRUE(
      FilterWords("az").Fit({"\xC3"
                             "AZ"}));
}

}  // namespace
}  // namespace pellora
