#include "fetch/FieldLines.h"

#include "core/Crc32.h"
#include "core/Percent.h"

namespace pellora::fields {

namespace {

constexpr std::size_t kCrcDigits = 8;

}  // namespace

std::string Hex(std::uint64_t value, std::size_t digits) {
  std::string text(digits, '0');
  for (std::size_t i = digits; i-- > 0; value >>= 4U) text[i] = "0123456789abcdef"[value & 15U];
  return text;
}

std::string Encoded(std::string_view value) {
  std::string text;
  for (const char c : value) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte <= 0x20 || byte == 0x7F || c == '%') {
      AppendPercent(text, c);
    } else {
      text += c;
    }
  }
  return text;
}

bool TakeBits(std::uint64_t& bits, std::string_view text) { return text.size() == 16 && Take(bits, text, 16); }

bool TakeFlag(bool& flag, std::string_view text) {
  flag = true;
  return text == "1";
}

bool TakeText(std::string& out, std::string_view text) {
  out = PercentDecoded(text);
  return true;
}

bool TakePath(std::string& out, std::string_view text) {
  out = PercentDecoded(text);
  return out.starts_with('/') && out.find('\0') == std::string::npos;
}

std::vector<std::string_view> PartsOf(std::string_view text) {
  std::vector<std::string_view> parts;
  while (true) {
    parts.push_back(text.substr(0, text.find(':')));
    if (parts.back().size() == text.size()) return parts;
    text.remove_prefix(parts.back().size() + 1);
  }
}

std::string RangesText(const IntervalSet& held) {
  std::string text;
  for (const Range& range : held.Ranges()) {
    if (!text.empty()) text += ',';
    text.append(std::to_string(range.begin)).append("-").append(std::to_string(range.end));
  }
  return text;
}

bool TakeRanges(IntervalSet& held, std::string_view text) {
  std::vector<Range> ranges;
  while (true) {
    const std::string_view item = text.substr(0, text.find(','));
    const std::size_t dash = item.find('-');
    Range range;
    if (dash == std::string_view::npos || !Take(range.begin, item.substr(0, dash)) ||
        !Take(range.end, item.substr(dash + 1)))
      return false;
    if (range.end <= range.begin || (!ranges.empty() && range.begin <= ranges.back().end)) return false;
    ranges.push_back(range);
    if (item.size() == text.size()) break;
    text.remove_prefix(item.size() + 1);
  }
  held = IntervalSet(ranges);
  return true;
}

std::string Line(const std::string& fields) { return Hex(Crc32(fields), kCrcDigits) + fields + "\n"; }

void AppendField(std::string& fields, std::string_view name, const std::string& value) {
  if (!value.empty()) fields.append(" ").append(name).append("=").append(value);
}

std::optional<std::string_view> FieldsOf(std::string_view line) {
  if (line.size() < kCrcDigits) return {};
  std::uint32_t crc = 0;
  const std::string_view fields = line.substr(kCrcDigits);
  if (!Take(crc, line.substr(0, kCrcDigits), 16) || crc != Crc32(fields)) return {};
  return fields;
}

std::optional<std::pair<std::string_view, std::string_view>> NextField(std::string_view& fields) {
  if (!fields.starts_with(' ')) return {};
  fields.remove_prefix(1);
  const std::string_view field = fields.substr(0, fields.find(' '));
  fields.remove_prefix(field.size());
  const std::size_t equals = field.find('=');
  if (equals == std::string_view::npos || equals == 0) return {};
  return std::pair(field.substr(0, equals), field.substr(equals + 1));
}

}  // namespace pellora::fields
