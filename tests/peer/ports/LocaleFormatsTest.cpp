// The date and time formats of every locale known to Qt, parsed again by the reader of the options.
#include <gtest/gtest.h>

#include <QLocale>
#include <string>
#include <vector>

#include "core/DateTexts.h"
#include "core/Dates.h"
#include "desktop/LocaleFormats.h"
#include "ports/Failure.h"

namespace pellora {
namespace {

const std::vector<double> kMoments = {
    SerialOf({2026, 11, 21, 15, 4, 0}), SerialOf({2026, 1, 2, 0, 0, 0}),   SerialOf({2031, 12, 31, 23, 59, 0}),
    SerialOf({2024, 2, 29, 12, 30, 0}), SerialOf({1999, 10, 9, 8, 7, 0}),  SerialOf({2005, 6, 5, 11, 59, 0}),
    SerialOf({2010, 10, 10, 12, 0, 0}), SerialOf({2125, 4, 25, 1, 20, 0}),
};

TEST(LocaleFormats, ReadBackDatesAndTimesOfEveryLocale) {
  const QList<QLocale> locales =
      QLocale::matchingLocales(QLocale::AnyLanguage, QLocale::AnyScript, QLocale::AnyTerritory);
  ASSERT_GT(locales.size(), 300);
  for (const QLocale& locale : locales) {
    const DateForms forms = ShortFormsOf(locale);
    for (const double moment : kMoments) {
      const std::string date = ShortDate(moment, forms);
      const std::string time = ShortTime(moment, forms);
      const std::string dateFirst = std::string(date).append(" ").append(time);
      const std::string timeFirst = std::string(time).append(" ").append(date);
      const std::string where = locale.name().toStdString().append(": ").append(dateFirst);
      double serial = 0;
      EXPECT_TRUE(Skip([&] { serial = ReadLocalDateTime(dateFirst, forms, DateTimeOrder::DateFirst).serial; }))
          << where;
      EXPECT_EQ(serial, moment) << where;
      EXPECT_TRUE(Skip([&] { serial = ReadLocalDateTime(timeFirst, forms, DateTimeOrder::TimeFirst).serial; }))
          << where;
      EXPECT_EQ(serial, moment) << where;
    }
  }
}

TEST(LocaleFormats, ShowFullYears) {
  EXPECT_EQ(ShortFormsOf(QLocale(QLocale::English, QLocale::UnitedStates)).date, "M/d/yyyy");
  EXPECT_EQ(ShortFormsOf(QLocale(QLocale::German, QLocale::Germany)).date, "dd.MM.yyyy");
  for (const char* name : {"it_IT", "es_ES", "pt_PT", "th_TH", "fr_FR", "pl_PL"}) {
    const DateForms forms = ShortFormsOf(QLocale(QString::fromLatin1(name)));
    EXPECT_NE(ShortDate(SerialOf({2025, 11, 25}), forms).find("2025"), std::string::npos) << name;
  }
}

TEST(LocaleFormats, FollowTheLocalesClock) {
  const double moment = SerialOf({2026, 11, 21, 15, 4, 0});
  EXPECT_EQ(ShortTime(moment, ShortFormsOf(QLocale(QLocale::English, QLocale::UnitedStates))), "3:04 PM");
  EXPECT_EQ(ShortTime(moment, ShortFormsOf(QLocale(QLocale::German, QLocale::Germany))), "15:04");
  EXPECT_EQ(ShortFormsOf(QLocale(QLocale::Arabic, QLocale::Egypt)).zero, "\u0660");
}

TEST(LocaleFormats, ReadBackTheSystemsFormats) {
  const LocaleFormats locale;
  const DateForms forms = locale.ShortForms();
  EXPECT_EQ(ReadLocalDateTime(ShortDate(kMoments[0], forms) + " " + ShortTime(kMoments[0], forms), forms,
                              DateTimeOrder::DateFirst)
                .serial,
            kMoments[0]);
}

}  // namespace
}  // namespace pellora
