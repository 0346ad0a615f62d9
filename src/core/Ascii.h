// Ascii: case and blanks independent of the locale. Bytes above 127 stay unchanged.
// Only U+0020 is a blank.
#pragma once

#include <string>
#include <string_view>

namespace pellora {

constexpr char ToLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }
constexpr char ToUpper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - ('a' - 'A')) : c; }
constexpr bool IsDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool IsControl(char c) { return static_cast<unsigned char>(c) < ' ' || c == 0x7F; }

inline std::string ToLower(std::string_view text) {
  std::string result(text);
  for (char& c : result) c = ToLower(c);
  return result;
}

inline std::string ToUpper(std::string_view text) {
  std::string result(text);
  for (char& c : result) c = ToUpper(c);
  return result;
}

constexpr std::string_view TrimLeadingBlanks(std::string_view text) {
  const std::size_t first = text.find_first_not_of(' ');
  return first == std::string_view::npos ? std::string_view{} : text.substr(first);
}

constexpr std::string_view TrimTrailingBlanks(std::string_view text) {
  return text.substr(0, text.find_last_not_of(' ') + 1);  // npos + 1 is 0: nothing but blanks
}

constexpr std::string_view TrimBlanks(std::string_view text) { return TrimTrailingBlanks(TrimLeadingBlanks(text)); }

constexpr bool HasControls(std::string_view text) {
  for (const char c : text) {
    if (IsControl(c)) return true;
  }
  return false;
}

constexpr bool EqualsNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (ToLower(a[i]) != ToLower(b[i])) return false;
  }
  return true;
}

constexpr bool StartsWithNoCase(std::string_view text, std::string_view start) {
  return text.size() >= start.size() && EqualsNoCase(text.substr(0, start.size()), start);
}

constexpr bool EndsWithNoCase(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && EqualsNoCase(text.substr(text.size() - end.size()), end);
}

}  // namespace pellora
