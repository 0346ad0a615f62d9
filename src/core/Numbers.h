// Numbers: text to number, the same in every locale; the decimal point is always ".".
//
// Two families: the prefix parse, which reads what it can and never fails, and the strict conversions, which throw
// Failure(Conversion) for text that is not a number and Failure(Overflow) outside the range. Rounding is to the nearest
// integer, ties to even.
#pragma once

#include <cstdint>
#include <limits>
#include <string_view>

namespace pellora {

// Blanks, an optional sign, digits, an optional "." with further digits; the rest is ignored. 0 without digits. Always
// finite: a number too large for a double becomes the largest double.
double NumericPrefix(std::string_view text);

// NumericPrefix, rounded and clamped to the type's range.
std::int32_t RoundedPrefix(std::string_view text);

// Clamped to the type's range; 0 for NaN.
std::int64_t RoundTiesToEven(double value);

// Clamped to 0 and the type's largest value: what a record shows of a figure in 64 bits.
std::int32_t HeldToInt32(std::int64_t value);

// The sum of two that are not negative, clamped to the type's largest value.
constexpr std::int64_t ClampedSum(std::int64_t a, std::int64_t b) {
  return b > std::numeric_limits<std::int64_t>::max() - a ? std::numeric_limits<std::int64_t>::max() : a + b;
}

// "True", "False" (in any case) or a number: zero is False, any other is True.
bool ToBoolean(std::string_view text);

// The whole text must be a number: sign, digits, an optional "." with further digits, blanks around it.
std::int16_t ToInt16(std::string_view text);
std::int32_t ToInt32(std::string_view text);

}  // namespace pellora
