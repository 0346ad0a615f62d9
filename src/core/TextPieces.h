// TextPieces: reading a text that others have written piece by piece, front to back.
#pragma once

#include <algorithm>
#include <string_view>

namespace pellora {

inline constexpr std::string_view kHttpBlanks = " \t";         // RFC 9110, section 5.6.3
inline constexpr std::string_view kBlanksAndEnds = " \t\r\n";  // those of XML, too
inline constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// Without these characters at its beginning and end.
constexpr std::string_view Trimmed(std::string_view text, std::string_view blanks) {
  const std::size_t first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

// What comes before the first of these characters, or all. It is cut off the front of `rest`, with that character.
constexpr std::string_view CutAt(std::string_view& rest, std::string_view separators) {
  const std::size_t end = std::min(rest.find_first_of(separators), rest.size());
  const std::string_view piece = rest.substr(0, end);
  rest.remove_prefix(std::min(end + 1, rest.size()));
  return piece;
}

// The next line, which is cut off the front of `rest`. Its end, a line feed with or without a carriage return before
// it, is not returned.
constexpr std::string_view NextLine(std::string_view& rest) {
  std::string_view line = CutAt(rest, "\n");
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

constexpr std::string_view WithoutByteOrderMark(std::string_view text) {
  return text.starts_with(kByteOrderMark) ? text.substr(kByteOrderMark.size()) : text;
}

}  // namespace pellora
