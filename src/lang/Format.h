// Format: sizes, times and percentages as shown.
//
// All figures are computed in integers, so that nothing is rounded that must be cut off. Words come from the language
// texts: 0 to 3 bytes, kilo, mega, giga; 4 to 6 hours, minutes, seconds.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/Program.h"

namespace pellora {

// Cut off, never rounded, without trailing zeros. The units change at powers of ten although the divisors are powers of
// two, so 1000 bytes read 0.9 of the kilo unit. Empty below 0.
std::string FormatSize(std::int64_t bytes, const LangStringArray& texts, std::string_view decimalSeparator);

// "1 h 0 min 5 s", "2 min 0 s", "59s"; the fraction of a second is cut off. Empty below 0 and for NaN; clamped to an
// upper bound.
std::string FormatDuration(float seconds, const LangStringArray& texts);

// "01:15", "100:00:00"; rounded to the nearest second, ties to even. Bounds as for FormatDuration.
std::string FormatClock(float seconds);

// One decimal, without the percent sign. Halves of the value's decimal text are rounded away from zero: 0.25 gives
// "0.3". "0.0" if not finite.
std::string FormatPercent(double percent, std::string_view decimalSeparator);

}  // namespace pellora
