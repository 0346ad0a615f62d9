#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/DateTexts.h"
#include "core/Dates.h"
#include "ports/Failure.h"

namespace pellora {
namespace {

const DateForms kAmerican{"M/d/yyyy", "h:mm AP", "AM", "PM", "0"};
const DateForms kGerman{"dd.MM.yyyy", "HH:mm", "AM", "PM", "0"};
const DateForms kFinnish{"d.M.yyyy", "H.mm", "ap.", "ip.", "0"};
const DateForms kKorean{"yyyy. M. d.", "AP h:mm", "오전", "오후", "0"};
const DateForms kEgyptian{"d\u200F/M\u200F/yyyy", "h:mm\u202FAP", "ص", "م", "٠"};
const DateForms kCanadian{"yyyy-MM-dd", "HH 'h' mm", "a.m.", "p.m.", "0"};
const DateForms kBulgarian{"d.MM.yyyy 'г'.", "H:mm 'ч'.", "пр.об.", "сл.об.", "0"};
const DateForms kColombian{"d/MM/yyyy", "h:mm AP", "a. m.", "p. m.", "0"};
const DateForms kBengali{"d/M/yyyy", "h:mm AP", "AM", "PM", "০"};
const DateForms kFulah{"d-M-yyyy", "h:mm AP", "𞤀𞤎", "𞤇𞤎", "𞥐"};

struct Sample {
  const char* name;
  DateForms forms;
  const char* date;
  const char* time;
};
// 5 March 2026, 15:04.
const std::vector<Sample> kSamples = {
    {"American", kAmerican, "3/5/2026", "3:04 PM"},
    {"German", kGerman, "05.03.2026", "15:04"},
    {"Finnish", kFinnish, "5.3.2026", "15.04"},
    {"Korean", kKorean, "2026. 3. 5.", "오후 3:04"},
    {"Egyptian", kEgyptian, "٥\u200F/٣\u200F/٢٠٢٦", "٣:٠٤\u202Fم"},
    {"Canadian", kCanadian, "2026-03-05", "15 h 04"},
    {"Bulgarian", kBulgarian, "5.03.2026 г.", "15:04 ч."},
    {"Colombian", kColombian, "5/03/2026", "3:04 p. m."},
    {"Bengali", kBengali, "৫/৩/২০২৬", "৩:০৪ PM"},
    {"Fulah", kFulah, "𞥕-𞥓-𞥒𞥐𞥒𞥖", "𞥓:𞥐𞥔 𞤇𞤎"},
    {"None", DateForms(), "2026-03-05", "15:04"},
};

const double kMoment = SerialOf({2026, 3, 5, 15, 4, 0});

DateTimeReading Read(const std::string& text, const DateForms& forms = kAmerican,
                     DateTimeOrder order = DateTimeOrder::DateFirst) {
  return ReadLocalDateTime(text, forms, order);
}
std::string Stored(const std::string& text, const DateForms& forms = kAmerican,
                   DateTimeOrder order = DateTimeOrder::DateFirst) {
  return StoredDateTime(Read(text, forms, order).serial);
}

TEST(ShortDate, FollowsThePatternOfTheLocale) {
  for (const Sample& sample : kSamples) EXPECT_EQ(ShortDate(kMoment, sample.forms), sample.date) << sample.name;
}

TEST(ShortTime, FollowsThePatternOfTheLocaleAndOmitsTheSeconds) {
  const double withSeconds = SerialOf({2026, 3, 5, 15, 4, 59});
  for (const Sample& sample : kSamples) EXPECT_EQ(ShortTime(withSeconds, sample.forms), sample.time) << sample.name;
}

TEST(ShortTime, CountsTwelveHourTimesFromTwelve) {
  EXPECT_EQ(ShortTime(SerialOf({2026, 3, 5, 0, 5, 0}), kAmerican), "12:05 AM");
  EXPECT_EQ(ShortTime(SerialOf({2026, 3, 5, 12, 5, 0}), kAmerican), "12:05 PM");
}

TEST(ShortTime, ShowsSecondsAndQuotedTextIfThePatternHasThem) {
  const DateForms forms{"dd.MM.yyyy", "H 'o''clock' mm''ss", "AM", "PM", "0"};
  EXPECT_EQ(ShortTime(SerialOf({2026, 3, 5, 15, 4, 9}), forms), "15 o'clock 04'09");
}

TEST(ShortTime, ShowsTextBeforeAndAfterTheFields) {
  const DateForms forms{"'den' d.M.yyyy", "'kl.' H:mm 'Uhr'", "AM", "PM", "0"};
  EXPECT_EQ(ShortDate(kMoment, forms), "den 5.3.2026");
  EXPECT_EQ(ShortTime(kMoment, forms), "kl. 15:04 Uhr");
  EXPECT_EQ(Stored("den 5.3.2026 kl. 15:04 Uhr", forms), "2026-03-05 15:04:00");
}

TEST(ShortDate, UsesPlainDigitsIfTheLocaleNamesNone) {
  const DateForms forms{"M/d/yyyy", "h:mm AP", "AM", "PM", ""};
  EXPECT_EQ(ShortDate(kMoment, forms), "3/5/2026");
  EXPECT_EQ(Stored("3/5/2026", forms), "2026-03-05 00:00:00");
}

TEST(ReadLocalDateTime, AssumesYearMonthDayIfThePatternLacksOne) {
  for (const char* const pattern : {"", "M/d", "d MMM yyyy d"}) {
    EXPECT_EQ(Stored("26/3/5", {pattern, "H:mm", "AM", "PM", "0"}), "2026-03-05 00:00:00") << pattern;
  }
}

TEST(ReadLocalDateTime, SkipsDirectionMarksAndNothingElse) {
  // NOLINTNEXTLINE(misc-misleading-bidirectional): they are what is tested
  for (const char* const mark : {"\u061C", "\u200E", "\u200F", "\u202A", "\u202E", "\u2066", "\u2069"}) {
    EXPECT_EQ(Stored(std::string("3/") + mark + "5/2026"), "2026-03-05 00:00:00") << mark;
  }
  for (const char* const other : {"\u061B", "\u200B", "\u200D", "\u2029", "\u2030", "\u2065", "\u206A"}) {
    EXPECT_THROW(Read(std::string("3/") + other + "5/2026"), Failure) << other;
  }
}

TEST(ReadLocalDateTime, AcceptsBlanksOfAnyWidth) {
  for (const char* const blank : {"\t", "\u00A0", "\u2000", "\u200A", "\u202F", "\u3000"}) {
    EXPECT_EQ(Stored(std::string("3/5/2026") + blank + "15:04"), "2026-03-05 15:04:00") << blank;
  }
  for (const char* const other : {"\v", "\u1FFF", "\u200B", "\u3001"}) {
    EXPECT_THROW(Read(std::string("3/5/2026") + other + "15:04"), Failure) << other;
  }
}

TEST(ReadLocalDateTime, AcceptsAmAndPmBesideTheLocalesWords) {
  EXPECT_EQ(Stored("5.3.2026 3:04 pm", kFinnish), "2026-03-05 15:04:00");
  EXPECT_EQ(Stored("5.3.2026 3.04 ip.", kFinnish), "2026-03-05 15:04:00");
}

TEST(ReadLocalDateTime, ReadsShownTextsInBothOrders) {
  for (const Sample& sample : kSamples) {
    const std::string date = ShortDate(kMoment, sample.forms);
    for (int minute = 0; minute < 24 * 60; minute += 7) {
      const double moment = SerialOf({2026, 3, 5, minute / 60, minute % 60, 0});
      const std::string time = ShortTime(moment, sample.forms);
      const auto dateFirst = Read(std::string(date).append(" ").append(time), sample.forms, DateTimeOrder::DateFirst);
      EXPECT_EQ(dateFirst.serial, moment) << sample.name << " " << time;
      EXPECT_TRUE(dateFirst.hasDate && dateFirst.hasTime);
      EXPECT_EQ(Read(std::string(time).append(" ").append(date), sample.forms, DateTimeOrder::TimeFirst).serial, moment)
          << sample.name;
    }
  }
}

TEST(ReadLocalDateTime, ReadsADateOrATimeAlone) {
  for (const Sample& sample : kSamples) {
    const auto date = Read(std::string(sample.date) + " ", sample.forms);
    EXPECT_EQ(date.serial, SerialOf({2026, 3, 5})) << sample.name;
    EXPECT_TRUE(date.hasDate && !date.hasTime) << sample.name;
    const auto time = Read(std::string(" ") + sample.time, sample.forms);
    EXPECT_EQ(StoredDateTime(time.serial), "1899-12-30 15:04:00") << sample.name;
    EXPECT_TRUE(time.hasTime && !time.hasDate) << sample.name;
  }
}

TEST(ReadLocalDateTime, ReadsTwoDigitYearsUpTo29AsThisCentury) {
  EXPECT_EQ(Stored("11/25/25"), "2025-11-25 00:00:00");
  EXPECT_EQ(Stored("11/25/29"), "2029-11-25 00:00:00");
  EXPECT_EQ(Stored("11/25/30"), "1930-11-25 00:00:00");
  EXPECT_EQ(Stored("11/25/00"), "2000-11-25 00:00:00");
  EXPECT_EQ(Stored("25.11.25 9:30", kGerman), "2025-11-25 09:30:00");
}

TEST(ReadLocalDateTime, AcceptsOtherSeparatorsWidthsAndSeconds) {
  EXPECT_EQ(Stored("3-5-2026 15:04"), "2026-03-05 15:04:00");
  EXPECT_EQ(Stored("03.05.2026  3:4 pm"), "2026-03-05 15:04:00");
  EXPECT_EQ(Stored("5/3/2026, 15:04:09", kGerman), "2026-03-05 15:04:09");
  EXPECT_EQ(Stored("12:00 am 3/5/2026", kAmerican, DateTimeOrder::TimeFirst), "2026-03-05 00:00:00");
  EXPECT_EQ(Stored("5.3.2026 15:04", kFinnish), "2026-03-05 15:04:00");
  EXPECT_EQ(Stored("3\u00A0:\u00A004\u202FPM 3/5/2026", kAmerican, DateTimeOrder::TimeFirst), "2026-03-05 15:04:00");
}

TEST(ReadLocalDateTime, ReadsTheStoredFormInEveryLocale) {
  for (const Sample& sample : kSamples) {
    EXPECT_EQ(Stored("2026-03-05 15:04:09", sample.forms), "2026-03-05 15:04:09") << sample.name;
    EXPECT_EQ(Stored("2026-03-05T15:04", sample.forms), "2026-03-05 15:04:00") << sample.name;
    EXPECT_EQ(Stored("15:04 2026-03-05", sample.forms, DateTimeOrder::TimeFirst), "2026-03-05 15:04:00") << sample.name;
  }
}

TEST(ReadLocalDateTime, ReadsAnAmbiguousTextInTheRequestedOrder) {
  EXPECT_EQ(Stored("10.11 12.1.25", kFinnish, DateTimeOrder::TimeFirst), "2025-01-12 10:11:00");
  EXPECT_EQ(Stored("12.1.25 10.11", kFinnish, DateTimeOrder::DateFirst), "2025-01-12 10:11:00");
}

TEST(ReadLocalDateTime, RefusesOtherText) {
  const char* const kTexts[] = {"",
                                " ",
                                "tomorrow",
                                "3/5",
                                "3",
                                "2/30/2026",
                                "13/1/2026",
                                "0/1/2026",
                                "3/5/20266",
                                "3/5/2026 25:00",
                                "3/5/2026 12:60",
                                "3/5/2026 13:00 PM",
                                "3/5/2026 3/6/2026",
                                "3/5/2026 12:00 12:00",
                                "3/5/2026x",
                                "3/5/2026 at 12:00",
                                "-3/5/2026",
                                "3//5/2026",
                                "3/5/2026 PM",
                                "3/5/202612:00",
                                "1,000",
                                "12:",
                                ":",
                                "99999999999999999999/1/1"};
  for (const char* const text : kTexts) EXPECT_THROW(Read(text), Failure) << text;
  EXPECT_THROW(Read(std::string(100000, '1')), Failure);
  EXPECT_THROW(Read(std::string("3/5/2026 \xff\xfe", 11)), Failure);
}

TEST(ReadLocalDateTime, ReturnsAMomentOrFailsForAnyText) {
  const std::string kAlphabet = "0123456789  ::..//--,TapmAPM'\xC2\xA0\xE2\x80\xAF\xD9\xA0\xD8\xB5h";
  std::uint32_t random = 12345;
  const auto next = [&random](std::size_t below) {
    random = random * 1664525U + 1013904223U;
    return (random >> 8U) % below;
  };
  int moments = 0;
  for (int round = 0; round < 30000; ++round) {
    std::string text;
    for (std::size_t length = next(18); length > 0; --length) text += kAlphabet[next(kAlphabet.size())];
    const DateForms& forms = kSamples[next(kSamples.size())].forms;
    const auto order = next(2) == 0 ? DateTimeOrder::DateFirst : DateTimeOrder::TimeFirst;
    DateTimeReading reading;
    if (!Skip([&] { reading = Read(text, forms, order); })) continue;
    ++moments;
    EXPECT_TRUE(reading.hasDate || reading.hasTime) << text;
    EXPECT_EQ(SerialOf(FieldsOf(reading.serial)), reading.serial) << text;
  }
  EXPECT_GT(moments, 10);
}

}  // namespace
}  // namespace pellora
