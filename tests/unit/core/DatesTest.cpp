#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "core/Dates.h"
#include "ports/Failure.h"

namespace pellora {
namespace {

double Serial(std::string_view text) { return ReadDateTime(text).serial; }

bool IsRefused(std::string_view text) {
  return !Skip([&] { (void)ReadDateTime(text); });
}

TEST(SerialOf, CountsDaysFrom30December1899) {
  const struct {
    CalendarFields fields;
    double serial;
  } kCases[] = {
      {{1899, 12, 30, 0, 0, 0}, 0},   {{1899, 12, 31, 0, 0, 0}, 1},       {{1900, 3, 1, 0, 0, 0}, 61},
      {{1970, 1, 1, 0, 0, 0}, 25569}, {{2000, 2, 29, 0, 0, 0}, 36585},    {{2000, 1, 1, 12, 0, 0}, 36526.5},
      {{1899, 12, 29, 0, 0, 0}, -1},  {{9999, 12, 31, 0, 0, 0}, 2958465}, {{100, 1, 1, 0, 0, 0}, -657434},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(SerialOf(c.fields), c.serial);
    EXPECT_EQ(FieldsOf(c.serial), c.fields) << c.serial;
  }
}

TEST(SerialOf, RefusesInvalidFields) {
  const CalendarFields kBad[] = {
      {2023, 2, 29, 0, 0, 0}, {1900, 2, 29, 0, 0, 0},  {2024, 13, 1, 0, 0, 0}, {2024, 0, 1, 0, 0, 0},
      {2024, 4, 31, 0, 0, 0}, {2024, 1, 0, 0, 0, 0},   {99, 12, 31, 0, 0, 0},  {10000, 1, 1, 0, 0, 0},
      {2024, 1, 1, 24, 0, 0}, {2024, 1, 1, 12, 60, 0}, {2024, 1, 1, 0, 0, 60}, {2024, 1, 1, -1, 0, 0},
      {2024, 1, 1, 0, -1, 0}, {2024, 1, 1, 0, 0, -1},
  };
  for (const CalendarFields& fields : kBad) EXPECT_THROW((void)SerialOf(fields), Failure);
}

TEST(FieldsOf, RoundTripsEveryDayOfTheRange) {
  CalendarFields last = FieldsOf(-657434);
  for (int day = -657433; day <= 2958465; ++day) {
    const CalendarFields fields = FieldsOf(day);
    const bool follows = (fields.year == last.year && fields.month == last.month && fields.day == last.day + 1) ||
                         (fields.day == 1 && last.day >= 28 &&
                          ((fields.year == last.year && fields.month == last.month + 1) ||
                           (fields.year == last.year + 1 && fields.month == 1 && last.month == 12)));
    ASSERT_TRUE(follows) << day;
    ASSERT_EQ(SerialOf(fields), day);
    last = fields;
  }
}

TEST(FieldsOf, RoundTripsEverySecondOfADay) {
  for (const int day : {-400000, -1, 0, 46000, 2958465}) {
    for (int second = 0; second < 86400; ++second) {
      const CalendarFields fields = FieldsOf(day + second / 86400.0);
      ASSERT_EQ((fields.hour * 60 + fields.minute) * 60 + fields.second, second);
      ASSERT_EQ(FieldsOf(SerialOf(fields)), fields);
    }
  }
}

TEST(FieldsOf, RoundsToWholeSecondsFirst) {
  EXPECT_EQ(StoredDateTime(36526 + 86399.7 / 86400), "2000-01-02 00:00:00");
  EXPECT_EQ(StoredDateTime(36526 + 86399.4 / 86400), "2000-01-01 23:59:59");
}

TEST(FieldsOf, RefusesYearsOutside100To9999) {
  const double inf = std::numeric_limits<double>::infinity();
  for (const double serial : {1e300, -1e20, 1e17, 2958466.0, 2958465.999999, -657434.1, inf, -inf, std::nan("")}) {
    EXPECT_THROW((void)FieldsOf(serial), Failure) << serial;
  }
}

TEST(ReadDateTime, AcceptsDateAndTimeInEitherOrder) {
  const double wanted = SerialOf({2026, 11, 21, 15, 4, 5});
  for (const char* text : {"2026-11-21 15:04:05", "15:04:05 2026-11-21", "2026-11-21T15:04:05", "2026-11-21   15:04:05",
                           "  2026-11-21 15:04:05  "}) {
    EXPECT_EQ(Serial(text), wanted) << text;
  }
  EXPECT_EQ(Serial("2026-11-21 15:04"), SerialOf({2026, 11, 21, 15, 4, 0}));
}

TEST(ReadDateTime, ReadsATimeAloneAsDayZero) {
  EXPECT_EQ(Serial("12:00"), 0.5);
  EXPECT_EQ(Serial("6:00"), 0.25);
  EXPECT_EQ(Serial("18:00:00"), 0.75);
  EXPECT_FALSE(ReadDateTime("12:00").hasDate);
  EXPECT_TRUE(ReadDateTime("12:00").hasTime);
}

TEST(ReadDateTime, ReadsADateAloneAsMidnight) {
  EXPECT_EQ(Serial("2000-01-01"), 36526);
  EXPECT_TRUE(ReadDateTime("2000-01-01").hasDate);
  EXPECT_FALSE(ReadDateTime("2000-01-01").hasTime);
}

TEST(ReadDateTime, RefusesOtherText) {
  for (const char* text : {"",
                           " ",
                           "tomorrow",
                           "12",
                           "12:",
                           ":30",
                           "12:00:",
                           "12:00:00:00",
                           "24:00",
                           "12:60",
                           "2026-11",
                           "2026-11-21-01",
                           "2026-02-30",
                           "0099-12-31",
                           "10000-01-01",
                           "11/21/26",
                           "21.11.2026",
                           "2026-11-21 2026-11-21",
                           "12:00 12:00",
                           "2026-11-21T",
                           "T12:00",
                           "2026-11-21 T12:00",
                           "12:00 PM",
                           "+12:00",
                           "-2026-11-21",
                           "1e300",
                           "-1e20",
                           "45000.5",
                           "99999999999999999999:00"}) {
    EXPECT_TRUE(IsRefused(text)) << '"' << text << '"';
  }
}

TEST(StoredDateTime, ReadsBackToTheSecond) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> serials(-657434, 2958465);
  for (int i = 0; i < 20000; ++i) {
    const double serial = serials(random);
    const std::string text = StoredDateTime(serial);
    ASSERT_EQ(text.size(), 19U);
    ASSERT_LE(std::abs(Serial(text) - serial), 0.51 / 86400) << text;
    ASSERT_EQ(StoredDateTime(Serial(text)), text);
  }
}

TEST(NextOccurrence, KeepsATimeThatIsNotBeforeNow) {
  EXPECT_EQ(NextOccurrence(46000.5, 46000.5), 46000.5);
  EXPECT_EQ(NextOccurrence(46003.5, 46000.5), 46003.5);
}

TEST(NextOccurrence, IsTheFirstMatchingHourAtOrAfterNow) {
  EXPECT_EQ(NextOccurrence(0.5, 46000.4), 46000.5);
  EXPECT_EQ(NextOccurrence(0.5, 46000.5), 46000.5);
  EXPECT_EQ(NextOccurrence(0.5, 46000.6), 46001.5);
  EXPECT_EQ(NextOccurrence(45999.5, 46000.6), 46001.5);
  EXPECT_EQ(NextOccurrence(-657434 + 0.5, 46000.4), 46000.5);
}

TEST(NextOccurrence, IsNeverBeforeNowDespiteRounding) {
  const double now = std::nextafter(46000.5, 50000);
  EXPECT_EQ(now - -600000.5, 646001);
  EXPECT_EQ(NextOccurrence(-600000.5, now), 46001.5);
}

TEST(NextOccurrence, EqualsADayByDayWalk) {
  std::mt19937 random(11);
  for (int i = 0; i < 2000; ++i) {
    const double hour = static_cast<double>(random() % 86400) / 86400;
    const double start = 40000 + static_cast<double>(random() % 5000) + hour;
    const double now = 44000 + static_cast<double>(random() % 864000000) / 864000;
    double walked = start;
    while (walked < now) walked += 1.0;
    ASSERT_EQ(NextOccurrence(start, now), walked) << start << ' ' << now;
  }
}

TEST(NextOccurrence, RefusesInvalidDatesInsteadOfLoopingForever) {
  for (const double serial : {1e300, -1e20, -1e17, std::nan("")}) {
    EXPECT_THROW((void)NextOccurrence(serial, 46000), Failure);
    EXPECT_THROW((void)NextOccurrence(0.5, serial), Failure);
  }
}

}  // namespace
}  // namespace pellora
