#include "desktop/LocaleFormats.h"

#include <QDate>
#include <QLocale>
#include <QString>
#include <QTime>
#include <cmath>

namespace pellora {

namespace {

constexpr double kSecondsPerDay = 86400;
constexpr double kFirstDay = -657434;  // 1 January 100
constexpr double kLastDay = 2958465;   // 31 December 9999

QString DateText(const QLocale& locale, const QDate& date) {
  QString format = locale.dateFormat(QLocale::ShortFormat);
  if (!format.contains("yyyy")) format.replace("yy", "yyyy");
  return locale.toString(date, format);
}

QString TimeText(const QLocale& locale, const QTime& time) {
  QString format = locale.timeFormat(QLocale::LongFormat);
  format.remove("(t)").remove("tttt").remove('t');  // the zone: the serial is local time
  return locale.toString(time, format.trimmed());
}

}  // namespace

std::string LocaleFormats::DecimalSeparator() const { return QLocale::system().decimalPoint().toStdString(); }

std::string LocaleFormats::DateTimeText(double serial) const {
  if (!(serial > kFirstDay - 1 && serial < kLastDay + 1)) return {};
  double day = std::trunc(serial);
  // Before day 0 the fraction still counts forward from midnight.
  double seconds = std::round(std::abs(serial - day) * kSecondsPerDay);
  if (seconds >= kSecondsPerDay) {
    seconds -= kSecondsPerDay;
    day += 1;
  }
  if (day < kFirstDay || day > kLastDay) return {};
  const QLocale locale = QLocale::system();
  const QDate date = QDate(1899, 12, 30).addDays(static_cast<qint64>(day));
  const QTime time = QTime(0, 0).addSecs(static_cast<int>(seconds));
  if (day == 0) return TimeText(locale, time).toStdString();
  if (seconds == 0) return DateText(locale, date).toStdString();
  return (DateText(locale, date) + ' ' + TimeText(locale, time)).toStdString();
}

}  // namespace pellora
