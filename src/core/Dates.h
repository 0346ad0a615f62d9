// Dates: serials and calendar fields, on local wall time throughout.
//
// A serial counts days since 30 December 1899, with the time of day as its fraction; nothing here converts through UTC,
// so adding 1.0 keeps the hour over a change of the clocks. Years 100 to 9999 are dates, everything else (infinities
// and NaN too) is Failure(Conversion). Day 0 means "a time without a date".
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace pellora {

struct CalendarFields {
  int year = 1899;
  int month = 12;  // from 1
  int day = 30;    // from 1
  int hour = 0;
  int minute = 0;
  int second = 0;
  bool operator==(const CalendarFields&) const = default;
};

// Days from 30 December 1899 to 1 January 1970.
inline constexpr int kDaysToUnixEpoch = 25569;

// Fields that name no moment (29 February 2023, 24:00) are a Failure(Conversion).
double SerialOf(const CalendarFields& fields);
// Rounded to whole seconds first: 23:59:59.7 is midnight of the next day.
CalendarFields FieldsOf(double serial);

// What a date-time text says. A time alone is on day 0, a date alone at midnight.
struct DateTimeReading {
  double serial = 0;
  bool hasDate = false;
  bool hasTime = false;
};

// "YYYY-MM-DD", "HH:MM" or "HH:MM:SS", or one of each in either order with blanks or "T" between them.
// Other text is Failure(Conversion).
DateTimeReading ReadDateTime(std::string_view text);

// "YYYY-MM-DD HH:MM:SS"; the form in which date-times are stored, in every locale.
std::string StoredDateTime(double serial);

// The first of `serial`, `serial` + 1, ... that is not before `now`.
double NextOccurrence(double serial, double now);

}  // namespace pellora
