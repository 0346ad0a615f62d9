#include "desktop/LocaleFormats.h"

#include <QDate>
#include <QLocale>
#include <QString>
#include <QTime>
#include <algorithm>
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
  format.remove("(t)").remove("tttt").remove('t');  // the time zone: the serial is local time
  return locale.toString(time, format.trimmed());
}

// Passes each run of one letter outside quotes to `change`, which returns its replacement.
template <class Change>
QString ReplaceLetterRuns(const QString& pattern, Change&& change) {
  QString changed;
  bool quoted = false;
  for (qsizetype at = 0; at < pattern.size();) {
    const QChar c = pattern[at];
    if (c == u'\'') quoted = !quoted;
    if (quoted || !c.isLetter()) {
      changed += c;
      ++at;
      continue;
    }
    qsizetype end = at;
    while (end < pattern.size() && pattern[end] == c) ++end;
    changed += change(c, static_cast<int>(end - at));
    at = end;
  }
  return changed.trimmed();
}

QString DatePattern(const QLocale& locale) {
  return ReplaceLetterRuns(locale.dateFormat(QLocale::ShortFormat), [](QChar letter, int count) {
    if (letter == u'y') return QStringLiteral("yyyy");
    if (letter == u'M') return QString(std::min(count, 2), letter);
    if (letter == u'd') return count > 2 ? QString() : QString(count, letter);
    return u'\'' + QString(count, letter) + u'\'';
  });
}

QString TimePattern(const QLocale& locale) {
  const QString pattern = locale.timeFormat(QLocale::ShortFormat);
  bool twelveHours = false;
  ReplaceLetterRuns(pattern, [&twelveHours](QChar letter, int count) {
    twelveHours = twelveHours || letter.toLower() == u'a';
    return QString(count, letter);
  });
  return ReplaceLetterRuns(pattern, [twelveHours](QChar letter, int count) {
    if (letter.toLower() == u'a') return QStringLiteral("AP");
    // The P of "AP" is a separate run; a local time needs no time zone.
    if (letter.toLower() == u'p' || letter == u't' || letter == u'z') return QString();
    if (letter.toLower() == u'h') return QString(count, twelveHours ? u'h' : u'H');
    return letter == u'm' || letter == u's' ? QString(count, letter) : u'\'' + QString(count, letter) + u'\'';
  });
}

}  // namespace

DateForms ShortFormsOf(const QLocale& locale) {
  DateForms forms;
  forms.date = DatePattern(locale).toStdString();
  forms.time = TimePattern(locale).toStdString();
  forms.am = locale.amText().toStdString();
  forms.pm = locale.pmText().toStdString();
  forms.zero = locale.zeroDigit().toStdString();
  return forms;
}

DateForms LocaleFormats::ShortForms() const { return ShortFormsOf(QLocale::system()); }

std::string LocaleFormats::DecimalSeparator() const { return QLocale::system().decimalPoint().toStdString(); }

std::string LocaleFormats::DateTimeText(double serial) const {
  if (!(serial > kFirstDay - 1 && serial < kLastDay + 1)) return {};
  double day = std::trunc(serial);
  // For days before day 0, too, the fraction counts forward from midnight.
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
