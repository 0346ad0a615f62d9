#include "core/Dates.h"

#include <array>
#include <cmath>
#include <optional>
#include <vector>

#include "core/Ascii.h"
#include "core/Numbers.h"
#include "ports/Failure.h"

namespace pellora {

namespace {

constexpr std::int64_t kSecondsPerDay = 86400;

[[noreturn]] void NoDate() { throw Failure(FailureNumber::Conversion, "not a date"); }

bool IsLeap(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int DaysInMonth(int year, int month) {
  constexpr std::array kDays = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeap(year) ? 29 : kDays[static_cast<std::size_t>(month - 1)];
}

// Days from 1 March of year 0 to the first day of `month`. Years begin with March here, so that the leap day is the
// last of its year. For years above 0 only.
constexpr std::int64_t DaysToMonth(int year, int month) {
  const std::int64_t y = month > 2 ? year : year - 1;
  const std::int64_t m = month > 2 ? month - 3 : month + 9;
  return 365 * y + y / 4 - y / 100 + y / 400 + (153 * m + 2) / 5;
}

constexpr std::int64_t kDayZero = DaysToMonth(1899, 12) + 29;
static_assert(DaysToMonth(1970, 1) - kDayZero == kDaysToUnixEpoch);
constexpr std::int64_t kFirstDay = DaysToMonth(100, 1) - kDayZero;
constexpr std::int64_t kLastDay = DaysToMonth(9999, 12) + 30 - kDayZero;

CalendarFields DateOf(std::int64_t day) {
  // An estimate by the mean year, never too late, then at most two steps to the exact one.
  auto year = static_cast<int>(static_cast<double>(day + kDayZero) / 365.2425);
  while (DaysToMonth(year + 1, 1) - kDayZero <= day) ++year;
  int month = 1;
  while (month < 12 && DaysToMonth(year, month + 1) - kDayZero <= day) ++month;
  CalendarFields fields;
  fields.year = year;
  fields.month = month;
  fields.day = static_cast<int>(day - (DaysToMonth(year, month) - kDayZero)) + 1;
  return fields;
}

// Whole seconds since day 0, 00:00.
std::int64_t SecondsOf(double serial) {
  if (!(serial >= static_cast<double>(kFirstDay) && serial < static_cast<double>(kLastDay + 1))) NoDate();
  const std::int64_t seconds = RoundTiesToEven(serial * static_cast<double>(kSecondsPerDay));
  if (seconds >= (kLastDay + 1) * kSecondsPerDay) NoDate();  // the last half second of year 9999
  return seconds;
}

// The numbers of `text` between `separator`s, each of 1 to 4 digits; none if there is anything else.
std::optional<std::vector<int>> SplitNumbers(std::string_view text, char separator) {
  std::vector<int> numbers;
  while (true) {
    const std::size_t end = text.find(separator);
    const std::string_view part = text.substr(0, end);
    if (part.empty() || part.size() > 4 || part.find_first_not_of("0123456789") != std::string_view::npos) return {};
    int number = 0;
    for (const char c : part) number = number * 10 + (c - '0');
    numbers.push_back(number);
    if (end == std::string_view::npos) return numbers;
    text.remove_prefix(end + 1);
  }
}

// Reads one word, a date or a time, into `fields` and `reading`.
void TakeWord(std::string_view word, CalendarFields& fields, DateTimeReading& reading) {
  if (const auto date = SplitNumbers(word, '-'); date && date->size() == 3 && !reading.hasDate) {
    fields.year = (*date)[0];
    fields.month = (*date)[1];
    fields.day = (*date)[2];
    reading.hasDate = true;
    return;
  }
  const auto time = SplitNumbers(word, ':');
  if (!time || time->size() < 2 || time->size() > 3 || reading.hasTime) NoDate();
  fields.hour = (*time)[0];
  fields.minute = (*time)[1];
  fields.second = time->size() == 3 ? (*time)[2] : 0;
  reading.hasTime = true;
}

void AppendPadded(std::string& out, int number, std::size_t width) {
  const std::string digits = std::to_string(number);
  if (digits.size() < width) out.append(width - digits.size(), '0');
  out += digits;
}

}  // namespace

double SerialOf(const CalendarFields& fields) {
  const bool isDate = fields.year >= 100 && fields.year <= 9999 && fields.month >= 1 && fields.month <= 12 &&
                      fields.day >= 1 && fields.day <= DaysInMonth(fields.year, fields.month);
  const bool isTime = fields.hour >= 0 && fields.hour <= 23 && fields.minute >= 0 && fields.minute <= 59 &&
                      fields.second >= 0 && fields.second <= 59;
  if (!isDate || !isTime) NoDate();
  const std::int64_t day = DaysToMonth(fields.year, fields.month) + fields.day - 1 - kDayZero;
  const int seconds = (fields.hour * 60 + fields.minute) * 60 + fields.second;
  return static_cast<double>(day) + static_cast<double>(seconds) / static_cast<double>(kSecondsPerDay);
}

CalendarFields FieldsOf(double serial) {
  const std::int64_t seconds = SecondsOf(serial);
  std::int64_t day = seconds / kSecondsPerDay;
  std::int64_t ofDay = seconds % kSecondsPerDay;
  if (ofDay < 0) {
    ofDay += kSecondsPerDay;
    --day;
  }
  CalendarFields fields = DateOf(day);
  fields.hour = static_cast<int>(ofDay / 3600);
  fields.minute = static_cast<int>(ofDay / 60 % 60);
  fields.second = static_cast<int>(ofDay % 60);
  return fields;
}

DateTimeReading ReadDateTime(std::string_view text) {
  CalendarFields fields;
  DateTimeReading reading;
  for (std::string_view rest = TrimBlanks(text); !rest.empty();) {
    const std::size_t end = rest.find_first_of(" T");
    TakeWord(rest.substr(0, end), fields, reading);
    if (end == std::string_view::npos) break;
    const bool byT = rest[end] == 'T';
    rest = byT ? rest.substr(end + 1) : TrimLeadingBlanks(rest.substr(end));
    if (rest.empty()) NoDate();  // a "T" with nothing after it
  }
  if (!reading.hasDate && !reading.hasTime) NoDate();
  reading.serial = SerialOf(fields);
  return reading;
}

std::string StoredDateTime(double serial) {
  const CalendarFields fields = FieldsOf(serial);
  std::string text;
  AppendPadded(text, fields.year, 4);
  text += '-';
  AppendPadded(text, fields.month, 2);
  text += '-';
  AppendPadded(text, fields.day, 2);
  text += ' ';
  AppendPadded(text, fields.hour, 2);
  text += ':';
  AppendPadded(text, fields.minute, 2);
  text += ':';
  AppendPadded(text, fields.second, 2);
  return text;
}

double NextOccurrence(double serial, double now) {
  (void)SecondsOf(serial);
  (void)SecondsOf(now);
  if (!(serial < now)) return serial;
  double next = serial + std::ceil(now - serial);
  // The difference of distant moments is less precise than a moment, and can lose a fraction of a day.
  if (next < now) next += 1;
  return next;
}

}  // namespace pellora
