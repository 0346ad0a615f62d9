#include <gtest/gtest.h>

#include <cfloat>
#include <clocale>
#include <cmath>
#include <limits>
#include <string>

#include "core/Numbers.h"
#include "ports/Failure.h"

namespace pellora {
namespace {

template <class Call>
FailureNumber NumberOfFailure(Call&& call) {
  try {
    call();
  } catch (const Failure& failure) {
    return failure.Number();
  }
  ADD_FAILURE() << "no failure";
  return {};
}

TEST(NumericPrefix, ReadsSignDigitsAndOnePoint) {
  const struct {
    const char* text;
    double value;
  } kCases[] = {
      {"", 0},    {"abc", 0}, {"12", 12},     {"  12", 12}, {"-3", -3},     {"+7", 7},         {"2.5", 2.5},
      {"3x", 3},  {"8,5", 8}, {"1.2.3", 1.2}, {".5", 0.5},  {"5.", 5},      {".", 0},          {"-", 0},
      {"+-1", 0}, {"- 1", 0}, {"1e3", 1},     {"0x10", 0},  {"&H8", 0},     {"inf", 0},        {"nan", 0},
      {"\t1", 0}, {"1 2", 1}, {"1,000", 1},   {"007", 7},   {"5.2.0", 5.2}, {"-0.25x", -0.25},
  };
  for (const auto& c : kCases) EXPECT_EQ(NumericPrefix(c.text), c.value) << '"' << c.text << '"';
}

TEST(NumericPrefix, StaysFiniteForAnyLengthOfDigits) {
  EXPECT_EQ(NumericPrefix(std::string(400, '9')), DBL_MAX);
  EXPECT_EQ(NumericPrefix("-" + std::string(400, '9')), -DBL_MAX);
  EXPECT_EQ(NumericPrefix("0." + std::string(400, '0') + "1"), 0);
  EXPECT_EQ(NumericPrefix(std::string(400, '0') + "2"), 2);
}

TEST(NumericPrefix, IgnoresTheDecimalCommaOfTheLocale) {
  const std::string before = std::setlocale(LC_ALL, nullptr);
  for (const char* name : {"de_DE.UTF-8", "C.UTF-8"}) {
    std::setlocale(LC_ALL, name);  // some machines lack the first
    EXPECT_EQ(NumericPrefix("2.5"), 2.5);
    EXPECT_EQ(NumericPrefix("2,5"), 2);
  }
  std::setlocale(LC_ALL, before.c_str());
}

TEST(RoundTiesToEven, RoundsHalvesToTheEvenNeighbour) {
  const struct {
    double value;
    std::int64_t rounded;
  } kCases[] = {
      {0.5, 0},
      {1.5, 2},
      {2.5, 2},
      {3.5, 4},
      {-0.5, 0},
      {-1.5, -2},
      {-2.5, -2},
      {2.4999, 2},
      {2.5001, 3},
      {-2.6, -3},
      {4503599627370497.5, 4503599627370498},
  };
  for (const auto& c : kCases) EXPECT_EQ(RoundTiesToEven(c.value), c.rounded) << c.value;
}

TEST(RoundTiesToEven, SaturatesAtTheLimitsOfItsType) {
  using Limits = std::numeric_limits<std::int64_t>;
  EXPECT_EQ(RoundTiesToEven(1e300), Limits::max());
  EXPECT_EQ(RoundTiesToEven(-1e300), Limits::min());
  EXPECT_EQ(RoundTiesToEven(9223372036854775808.0), Limits::max());
  EXPECT_EQ(RoundTiesToEven(-9223372036854775808.0), Limits::min());
  EXPECT_EQ(RoundTiesToEven(std::numeric_limits<double>::infinity()), Limits::max());
  EXPECT_EQ(RoundTiesToEven(std::nan("")), 0);
}

TEST(RoundedPrefix, RoundsAndSaturates) {
  EXPECT_EQ(RoundedPrefix("2.5"), 2);
  EXPECT_EQ(RoundedPrefix("3.5"), 4);
  EXPECT_EQ(RoundedPrefix("abc"), 0);
  EXPECT_EQ(RoundedPrefix("3000000000"), std::numeric_limits<std::int32_t>::max());
  EXPECT_EQ(RoundedPrefix("-99999999999"), std::numeric_limits<std::int32_t>::min());
}

TEST(ToBoolean, AcceptsWordsAndNumbers) {
  for (const char* text : {"True", "true", "TRUE", " True ", "1", "-1", "0.5", "2"})
    EXPECT_TRUE(ToBoolean(text)) << text;
  for (const char* text : {"False", "fAlSe", "0", "0.0", "-0"}) EXPECT_FALSE(ToBoolean(text)) << text;
}

TEST(ToBoolean, RefusesOtherText) {
  for (const char* text : {"", "maybe", "yes", "1x", "True1", "1e1", "."}) {
    EXPECT_EQ(NumberOfFailure([&] { ToBoolean(text); }), FailureNumber::Conversion) << text;
  }
}

TEST(ToInt16, AcceptsNumbersOfSixteenBits) {
  EXPECT_EQ(ToInt16("80"), 80);
  EXPECT_EQ(ToInt16(" -32768 "), -32768);
  EXPECT_EQ(ToInt16("32767"), 32767);
  EXPECT_EQ(ToInt16("2.5"), 2);
  EXPECT_EQ(ToInt16("32767.4"), 32767);
}

TEST(ToInt16, RefusesLargerNumbers) {
  for (const char* text : {"32768", "-32769", "40000", "32767.5", "99999999999999999999"}) {
    EXPECT_EQ(NumberOfFailure([&] { ToInt16(text); }), FailureNumber::Overflow) << text;
  }
}

TEST(ToInt16, RefusesOtherText) {
  for (const char* text : {"", "abc", "3x", "1,000", "1e1", "&H8", "--1", "1 2", "\t1"}) {
    EXPECT_EQ(NumberOfFailure([&] { ToInt16(text); }), FailureNumber::Conversion) << text;
  }
}

TEST(ToInt32, AcceptsNumbersOfThirtyTwoBits) {
  EXPECT_EQ(ToInt32("2147483647"), 2147483647);
  EXPECT_EQ(ToInt32("1.5"), 2);
  EXPECT_EQ(NumberOfFailure([] { ToInt32("2147483648"); }), FailureNumber::Overflow);
  EXPECT_EQ(ToInt32("-2147483648"), -2147483648);
  EXPECT_EQ(NumberOfFailure([] { ToInt32("-2147483649"); }), FailureNumber::Overflow);
  EXPECT_EQ(NumberOfFailure([] { ToInt32("8 segments"); }), FailureNumber::Conversion);
}

}  // namespace
}  // namespace pellora
