#include "lang/Format.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace pellora {

namespace {

enum Word { kBytes = 0, kKilo, kMega, kGiga, kHours, kMinutes, kSeconds };

constexpr double kLongestTime = 1e15;    // seconds; far inside 64 bits
constexpr double kLargestPercent = 1e9;  // likewise, in tenths

// bytes / unit with up to `decimals` digits after the separator.
std::string CutQuotient(std::int64_t bytes, std::int64_t unit, int decimals, std::string_view separator) {
  std::string text = std::to_string(bytes / unit);
  std::int64_t rest = bytes % unit;
  std::string fraction;
  for (int i = 0; i < decimals; ++i) {
    rest *= 10;
    fraction += static_cast<char>('0' + rest / unit);
    rest %= unit;
  }
  fraction.erase(fraction.find_last_not_of('0') + 1);
  if (!fraction.empty()) text.append(separator).append(fraction);
  return text;
}

struct HoursMinutesSeconds {
  std::int64_t hours, minutes, seconds;
};

// `seconds` is a whole number, not negative.
HoursMinutesSeconds Split(double seconds) {
  const auto whole = static_cast<std::int64_t>(std::min(seconds, kLongestTime));
  return {whole / 3600, whole / 60 % 60, whole % 60};
}

std::string TwoDigits(std::int64_t number) { return (number < 10 ? "0" : "") + std::to_string(number); }

// The shortest decimal text of a value between 0.01 and kLargestPercent. One that was stored as a float is written as
// that float: 0.35, not 0.3499999940395355.
std::string_view DecimalText(double value, std::array<char, 64>& buffer) {
  const auto narrow = static_cast<float>(value);
  char* const end = buffer.data() + buffer.size();
  const auto written = static_cast<double>(narrow) == value
                           ? std::to_chars(buffer.data(), end, narrow, std::chars_format::fixed)
                           : std::to_chars(buffer.data(), end, value, std::chars_format::fixed);
  return {buffer.data(), static_cast<std::size_t>(written.ptr - buffer.data())};
}

// `value` in tenths, halves rounded up. Not for negative values.
std::int64_t RoundedTenths(double value) {
  if (value < 0.01) return 0;
  std::array<char, 64> buffer{};
  const std::string_view text = DecimalText(value, buffer);
  const std::size_t point = std::min(text.find('.'), text.size());
  const auto digit = [text](std::size_t at) { return at < text.size() ? text[at] - '0' : 0; };
  std::int64_t whole = 0;
  std::from_chars(text.data(), text.data() + point, whole);
  return whole * 10 + digit(point + 1) + (digit(point + 2) >= 5 ? 1 : 0);
}

}  // namespace

std::string FormatSize(std::int64_t bytes, const LangStringArray& texts, std::string_view decimalSeparator) {
  struct Unit {
    std::int64_t below;
    std::int64_t divisor;
    int decimals;
    Word word;
  };
  constexpr std::array<Unit, 3> kUnits = {
      {{1000, 1, 0, kBytes}, {1000000, 1 << 10, 1, kKilo}, {1000000000, 1 << 20, 2, kMega}}};
  constexpr Unit kLargest{0, 1 << 30, 2, kGiga};
  if (bytes < 0) return "";
  const auto* const found =
      std::find_if(kUnits.begin(), kUnits.end(), [bytes](const Unit& unit) { return bytes < unit.below; });
  const Unit& unit = found == kUnits.end() ? kLargest : *found;
  return CutQuotient(bytes, unit.divisor, unit.decimals, decimalSeparator) + " " + texts[unit.word];
}

std::string FormatDuration(float seconds, const LangStringArray& texts) {
  if (!(seconds >= 0)) return "";
  const auto [h, m, s] = Split(std::floor(seconds));
  if (h == 0 && m == 0) return std::to_string(s) + texts[kSeconds];  // no blank in this form
  std::string text = h == 0 ? "" : std::to_string(h) + " " + texts[kHours] + " ";
  text += std::to_string(m) + " " + texts[kMinutes] + " ";
  return text + std::to_string(s) + " " + texts[kSeconds];
}

std::string FormatClock(float seconds) {
  if (!(seconds >= 0)) return "";
  const auto [h, m, s] = Split(std::nearbyint(seconds));
  return (h == 0 ? "" : TwoDigits(h) + ":") + TwoDigits(m) + ":" + TwoDigits(s);
}

std::string FormatPercent(double percent, std::string_view decimalSeparator) {
  if (!std::isfinite(percent)) percent = 0;
  const std::int64_t tenths = RoundedTenths(std::min(std::fabs(percent), kLargestPercent));
  std::string text = percent < 0 && tenths > 0 ? "-" : "";
  text += std::to_string(tenths / 10);
  return text.append(decimalSeparator).append(std::to_string(tenths % 10));
}

}  // namespace pellora
