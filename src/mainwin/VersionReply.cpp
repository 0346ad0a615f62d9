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

// `text` from `count` characters behind the start of the first `mark`, or behind the text's start less one.
std::string_view Behind(std::string_view text, std::string_view mark, std::size_t count) {
  const std::size_t at = text.find(mark);
  const std::size_t start = at == std::string_view::npos ? count - 1 : at + count;
  return text.substr(std::min(start, text.size()));
}

float ToFloat(double value) {
  constexpr double kMost = std::numeric_limits<float>::max();
  return static_cast<float>(std::clamp(value, -kMost, kMost));
}

}  // namespace

VersionReply ReadVersionReply(std::string_view block) {
  const std::string_view body = Behind(block, kBlankLine, kBlankLine.size());
  return {ToFloat(NumericPrefix(body)), std::string(Behind(body, kLineEnd, kLineEnd.size()))};
}

std::string VersionDigits(float version) {
  std::array<char, 64> buffer{};
  const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), version, std::chars_format::fixed);
  std::string digits(buffer.data(), end.ptr);
  std::erase(digits, '.');
  return digits;
}

}  // namespace pellora
