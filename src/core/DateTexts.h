// DateTexts: short dates and times as the user's locale writes them, and back from what the user types.
//
// Reading follows the order of the locale's fields and what separates them, not their widths, so that "1.2.26" and
// "01.02.2026" are one date. Every locale also reads the stored form, "2026-02-01 09:30", plain and Arabic digits,
// invisible direction marks and every kind of blank.
#pragma once

#include <string>
#include <string_view>

#include "core/Dates.h"
#include "ports/DateForms.h"

namespace pellora {

std::string ShortDate(double serial, const DateForms& forms);
std::string ShortTime(double serial, const DateForms& forms);

// Which of the two comes first in a text that can be read both ways.
enum class DateTimeOrder { DateFirst, TimeFirst };

// A date, a time, or one of each; other text is Failure(Conversion). Two-digit years 0 to 29 are in this century, 30 to
// 99 in the last.
DateTimeReading ReadLocalDateTime(std::string_view text, const DateForms& forms, DateTimeOrder order);

}  // namespace pellora
