// FieldLines: lines of named fields, each with its own checksum, in which the web engine keeps what must survive.
//
// A line is its CRC-32 as eight hexadecimal digits, then fields " name=value", then a line feed; in values every byte
// up to 0x20, 0x7F and "%" is "%XX".
#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/IntervalSet.h"

namespace pellora::fields {

std::string Hex(std::uint64_t value, std::size_t digits);
std::string Encoded(std::string_view value);
std::string RangesText(const IntervalSet& held);

// Of values. False: no writer of this format writes such a one.
template <class Number>
bool Take(Number& number, std::string_view text, int base = 10) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  return error == std::errc() && end == text.data() + text.size() && !text.starts_with('-');
}
bool TakeBits(std::uint64_t& bits, std::string_view text);
bool TakeFlag(bool& flag, std::string_view text);
bool TakeText(std::string& out, std::string_view text);
// Of this computer, and with no NUL in it, which would end it earlier.
bool TakePath(std::string& out, std::string_view text);
// In rising order and apart, as they are written, so that reading takes linear time.
bool TakeRanges(IntervalSet& held, std::string_view text);

std::vector<std::string_view> PartsOf(std::string_view text);  // between ":"

// A whole line, with its line feed.
std::string Line(const std::string& fields);
void AppendField(std::string& fields, std::string_view name, const std::string& value);  // none for an empty value
// The fields of a line without line feed; nothing if its sum is wrong.
std::optional<std::string_view> FieldsOf(std::string_view line);
// Cuts " name=value" off the front.
std::optional<std::pair<std::string_view, std::string_view>> NextField(std::string_view& fields);

}  // namespace pellora::fields
