#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <string>

#include "lang/Format.h"

namespace pellora {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();

const LangStringArray& Texts() {
  static const LangStringArray texts = [] {
    LangStringArray words;
    const char* const kWords[] = {"bytes", "kb", "mb", "gb", "h", "min", "s"};
    std::copy(std::begin(kWords), std::end(kWords), words.begin());
    return words;
  }();
  return texts;
}

std::string Size(std::int64_t bytes, const char* separator = ".") { return FormatSize(bytes, Texts(), separator); }

TEST(FormatSize, ChangesUnitsAtPowersOfTen) {
  EXPECT_EQ(Size(0), "0 bytes");
  EXPECT_EQ(Size(999), "999 bytes");
  EXPECT_EQ(Size(1000), "0.9 kb");
  EXPECT_EQ(Size(999999), "976.5 kb");
  EXPECT_EQ(Size(1000000), "0.95 mb");
  EXPECT_EQ(Size(999999999), "953.67 mb");
  EXPECT_EQ(Size(1000000000), "0.93 gb");
  EXPECT_EQ(Size(2147483647), "1.99 gb");
}

TEST(FormatSize, TruncatesAndNeverRounds) {
  EXPECT_EQ(Size(1536), "1.5 kb");
  EXPECT_EQ(Size(2047), "1.9 kb");
  EXPECT_EQ(Size(2097151), "1.99 mb");
}

TEST(FormatSize, ShowsNoTrailingZeros) {
  EXPECT_EQ(Size(2048), "2 kb");
  EXPECT_EQ(Size(10240), "10 kb");
  EXPECT_EQ(Size(1572864), "1.5 mb");
  EXPECT_EQ(Size(104857600), "100 mb");
  EXPECT_EQ(Size(1073741824), "1 gb");
  EXPECT_EQ(Size(1101004800), "1.02 gb");
  EXPECT_EQ(Size(1084479243), "1.01 gb");
}

TEST(FormatSize, IsEmptyBelowZero) {
  EXPECT_EQ(Size(-1), "");
  EXPECT_EQ(Size(std::numeric_limits<std::int64_t>::min()), "");
}

TEST(FormatSize, UsesTheLocalesSeparator) { EXPECT_EQ(Size(1536, ","), "1,5 kb"); }

TEST(FormatSize, FormatsSizesBeyond32Bits) {
  EXPECT_EQ(Size(3000000000), "2.79 gb");
  EXPECT_EQ(Size(std::numeric_limits<std::int64_t>::max()), "8589934591.99 gb");
}

TEST(FormatSize, IsANumberAndABlankWithoutTexts) { EXPECT_EQ(FormatSize(5, LangStringArray(), "."), "5 "); }

TEST(FormatSize, AgreesWithExactDivisionForEveryKiloSize) {
  for (std::int64_t bytes = 1000; bytes < 1000000; ++bytes) {
    const std::int64_t tenths = bytes * 10 / 1024;
    std::string expected = std::to_string(tenths / 10);
    if (tenths % 10 != 0) expected += "." + std::to_string(tenths % 10);
    ASSERT_EQ(Size(bytes), expected + " kb");
  }
}

TEST(FormatDuration, ChoosesItsFormByTheLargestUnit) {
  EXPECT_EQ(FormatDuration(0, Texts()), "0s");
  EXPECT_EQ(FormatDuration(59.9F, Texts()), "59s");
  EXPECT_EQ(FormatDuration(60, Texts()), "1 min 0 s");
  EXPECT_EQ(FormatDuration(3599, Texts()), "59 min 59 s");
  EXPECT_EQ(FormatDuration(3600, Texts()), "1 h 0 min 0 s");
  EXPECT_EQ(FormatDuration(3605, Texts()), "1 h 0 min 5 s");
  EXPECT_EQ(FormatDuration(360061, Texts()), "100 h 1 min 1 s");
}

TEST(FormatDuration, TruncatesTheFraction) { EXPECT_EQ(FormatDuration(59.5F, Texts()), "59s"); }

TEST(FormatDuration, IsEmptyBelowZeroAndForNaN) {
  EXPECT_EQ(FormatDuration(-0.5F, Texts()), "");
  EXPECT_EQ(FormatDuration(-kInfinity, Texts()), "");
  EXPECT_EQ(FormatDuration(std::nanf(""), Texts()), "");
  EXPECT_EQ(FormatDuration(-0.0F, Texts()), "0s");
}

TEST(FormatDuration, CapsInfiniteTimes) {
  EXPECT_EQ(FormatDuration(1e14F, Texts()), "27777777882 h 27 min 12 s");
  EXPECT_EQ(FormatDuration(kInfinity, Texts()), "277777777777 h 46 min 40 s");
  EXPECT_EQ(FormatDuration(3e38F, Texts()), FormatDuration(kInfinity, Texts()));
}

TEST(FormatClock, ShowsTwoDigitsOfEachPart) {
  EXPECT_EQ(FormatClock(0), "00:00");
  EXPECT_EQ(FormatClock(75.4F), "01:15");
  EXPECT_EQ(FormatClock(3599), "59:59");
  EXPECT_EQ(FormatClock(3600), "01:00:00");
  EXPECT_EQ(FormatClock(36061), "10:01:01");
  EXPECT_EQ(FormatClock(360000), "100:00:00");
}

TEST(FormatClock, RoundsToTheNearestSecondTiesToEven) {
  EXPECT_EQ(FormatClock(59.5F), "01:00");
  EXPECT_EQ(FormatClock(0.5F), "00:00");
  EXPECT_EQ(FormatClock(1.5F), "00:02");
  EXPECT_EQ(FormatClock(2.5F), "00:02");
  EXPECT_EQ(FormatClock(3599.5F), "01:00:00");
}

TEST(FormatClock, IsEmptyBelowZeroAndForNaN) {
  EXPECT_EQ(FormatClock(-0.25F), "");
  EXPECT_EQ(FormatClock(-kInfinity), "");
  EXPECT_EQ(FormatClock(std::nanf("")), "");
}

TEST(FormatClock, CapsInfiniteTimes) { EXPECT_EQ(FormatClock(kInfinity), "277777777777:46:40"); }

TEST(FormatPercent, HasOneDecimal) {
  EXPECT_EQ(FormatPercent(0, "."), "0.0");
  EXPECT_EQ(FormatPercent(37.5, "."), "37.5");
  EXPECT_EQ(FormatPercent(100, "."), "100.0");
  EXPECT_EQ(FormatPercent(37.5, ","), "37,5");
  EXPECT_EQ(FormatPercent(1e-300, "."), "0.0");
}

TEST(FormatPercent, RoundsHalvesAwayFromZeroOnTheDecimalText) {
  EXPECT_EQ(FormatPercent(0.25, "."), "0.3");
  EXPECT_EQ(FormatPercent(12.25, "."), "12.3");
  EXPECT_EQ(FormatPercent(0.35, "."), "0.4");
  EXPECT_EQ(FormatPercent(0.05, "."), "0.1");
  EXPECT_EQ(FormatPercent(0.049, "."), "0.0");
  EXPECT_EQ(FormatPercent(99.94, "."), "99.9");
  EXPECT_EQ(FormatPercent(99.96, "."), "100.0");
  EXPECT_EQ(FormatPercent(-0.25, "."), "-0.3");
  EXPECT_EQ(FormatPercent(-0.04, "."), "0.0");
}

TEST(FormatPercent, RoundsEveryHundredthLikeItsDecimalTextInBothWidths) {
  for (int hundredths = 0; hundredths <= 10000; ++hundredths) {
    const int tenths = (hundredths + 5) / 10;
    const std::string expected = std::to_string(tenths / 10) + "." + std::to_string(tenths % 10);
    ASSERT_EQ(FormatPercent(hundredths / 100.0, "."), expected) << hundredths;
    ASSERT_EQ(FormatPercent(static_cast<float>(hundredths / 100.0), "."), expected) << hundredths;
  }
}

TEST(FormatPercent, StaysBoundedForInvalidPercentages) {
  EXPECT_EQ(FormatPercent(std::nan(""), "."), "0.0");
  EXPECT_EQ(FormatPercent(kInfinity, "."), "0.0");
  EXPECT_EQ(FormatPercent(1e300, "."), "1000000000.0");
  EXPECT_EQ(FormatPercent(-1e300, "."), "-1000000000.0");
}

}  // namespace
}  // namespace pellora
