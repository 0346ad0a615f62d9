#include "core/Numbers.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>

#include "core/Ascii.h"
#include "ports/Failure.h"

namespace pellora {

namespace {

// The length of "[sign] digits [. digits]" at the start of `text`, and whether it has any digit.
struct Numeral {
  std::size_t length = 0;
  bool hasDigits = false;
};

Numeral NumeralAtStart(std::string_view text) {
  std::size_t at = 0;
  Numeral numeral;
  const auto takeDigits = [&] {
    while (at < text.size() && IsDigit(text[at])) {
      ++at;
      numeral.hasDigits = true;
    }
  };
  if (at < text.size() && (text[at] == '+' || text[at] == '-')) ++at;
  takeDigits();
  if (at < text.size() && text[at] == '.') {
    ++at;
    takeDigits();
  }
  numeral.length = at;
  return numeral;
}

// `numeral` is a result of NumeralAtStart with a digit in it, so that from_chars sees neither exponent nor word.
double ValueOf(std::string_view numeral) {
  const bool negative = numeral.front() == '-';
  if (negative || numeral.front() == '+') numeral.remove_prefix(1);
  double value = 0;
  const auto [end, error] =
      std::from_chars(numeral.data(), numeral.data() + numeral.size(), value, std::chars_format::fixed);
  if (error == std::errc::result_out_of_range) {
    // Too large if a digit other than 0 comes before the point, else too small.
    const bool large = numeral.substr(0, numeral.find('.')).find_first_not_of('0') != std::string_view::npos;
    value = large ? std::numeric_limits<double>::max() : 0;
  }
  return negative ? -value : value;
}

double StrictNumber(std::string_view text) {
  const std::string_view trimmed = TrimBlanks(text);
  const Numeral numeral = NumeralAtStart(trimmed);
  if (!numeral.hasDigits || numeral.length != trimmed.size()) {
    throw Failure(FailureNumber::Conversion, "not a number: " + std::string(text.substr(0, 100)));
  }
  return ValueOf(trimmed);
}

template <class Integer>
Integer StrictInteger(std::string_view text) {
  const std::int64_t value = RoundTiesToEven(StrictNumber(text));
  if (value < std::numeric_limits<Integer>::min() || value > std::numeric_limits<Integer>::max()) {
    throw Failure(FailureNumber::Overflow, "number out of range: " + std::string(text.substr(0, 100)));
  }
  return static_cast<Integer>(value);
}

}  // namespace

double NumericPrefix(std::string_view text) {
  const std::string_view trimmed = TrimLeadingBlanks(text);
  const Numeral numeral = NumeralAtStart(trimmed);
  return numeral.hasDigits ? ValueOf(trimmed.substr(0, numeral.length)) : 0;
}

std::int64_t RoundTiesToEven(double value) {
  constexpr double kBound = 9223372036854775808.0;  // 2^63, one more than the type's largest value
  if (std::isnan(value)) return 0;
  if (value >= kBound) return std::numeric_limits<std::int64_t>::max();
  if (value < -kBound) return std::numeric_limits<std::int64_t>::min();
  const double lower = std::floor(value);
  const double rest = value - lower;  // exact
  const bool up = rest > 0.5 || (rest == 0.5 && std::fmod(lower, 2.0) != 0);
  return static_cast<std::int64_t>(up ? lower + 1 : lower);
}

std::int32_t RoundedPrefix(std::string_view text) {
  using Limits = std::numeric_limits<std::int32_t>;
  const std::int64_t value = RoundTiesToEven(NumericPrefix(text));
  if (value > Limits::max()) return Limits::max();
  if (value < Limits::min()) return Limits::min();
  return static_cast<std::int32_t>(value);
}

bool ToBoolean(std::string_view text) {
  const std::string_view trimmed = TrimBlanks(text);
  if (EqualsNoCase(trimmed, "true")) return true;
  if (EqualsNoCase(trimmed, "false")) return false;
  return StrictNumber(trimmed) != 0;
}

std::int16_t ToInt16(std::string_view text) { return StrictInteger<std::int16_t>(text); }
std::int32_t ToInt32(std::string_view text) { return StrictInteger<std::int32_t>(text); }

std::int32_t HeldToInt32(std::int64_t value) {
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, 0, std::numeric_limits<std::int32_t>::max()));
}

}  // namespace pellora
