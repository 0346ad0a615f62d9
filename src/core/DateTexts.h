// DateTexts: short dates and times as the user's locale writes them, and back from what the user types.
//
// Reading is guided by the order of the locale's fields and by what may stand between them, not by their
// widths, so that "1.2.26" and "01.02.2026" are one date. The stored form, "2026-02-01 09:30", is read in every
// locale, and so are plain and Arabic digits, invisible direction marks and every kind of blank.
#pragma once

#include <string>
#include <string_view>

#include "core/Dates.h"
#include "ports/DateForms.h"

namespace pellora {

std::string ShortDate(double serial, const DateForms& forms);
std::string ShortTime(double serial, const DateForms& forms);

// Which of the two stands first where a text can be read both ways.
enum class DateTimeOrder { DateFirst, TimeFirst };

// A date, a time, or one of each. Years 0 to 29 of two digits are of this century, 30 to 99 of the last. Text
// that is neither is Failure(Conversion).
DateTimeReading ReadLocalDateTime(std::string_view text, const DateForms& forms, DateTimeOrder order);

}  // namespace pellora
