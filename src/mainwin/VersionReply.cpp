#include "mainwin/VersionReply.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

#include "core/Numbers.h"

namespace pellora {

namespace {

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kBlankLine = "\r\n\r\n";

// The text after the first `mark`. Without one it begins as if the mark were found one character before the text.
std::string_view TextAfter(std::string_view text, std::string_view mark) {
  const std::size_t at = text.find(mark);
  const std::size_t start = at == std::string_view::npos ? mark.size() - 1 : at + mark.size();
  return text.substr(std::min(start, text.size()));
}

float ToFloat(double value) {
  constexpr double kMost = std::numeric_limits<float>::max();
  return static_cast<float>(std::clamp(value, -kMost, kMost));
}

}  // namespace

VersionReply ReadVersionReply(std::string_view block) {
  const std::string_view body = TextAfter(block, kBlankLine);
  return {ToFloat(NumericPrefix(body)), std::string(TextAfter(body, kLineEnd))};
}

std::string VersionDigits(float version) {
  std::array<char, 64> buffer{};
  const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), version, std::chars_format::fixed);
  std::string digits(buffer.data(), end.ptr);
  std::erase(digits, '.');
  return digits;
}

}  // namespace pellora
