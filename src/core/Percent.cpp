#include "core/Percent.h"

#include "core/Ascii.h"

namespace pellora {

int HexValue(char c) {
  if (IsDigit(c)) return c - '0';
  const char lower = ToLower(c);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

void AppendPercent(std::string& out, char byte) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  const auto value = static_cast<unsigned char>(byte);
  out += '%';
  out += kDigits[value >> 4U];
  out += kDigits[value & 15U];
}

std::string PercentDecoded(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool whole =
        text[i] == '%' && text.size() - i > 2 && HexValue(text[i + 1]) >= 0 && HexValue(text[i + 2]) >= 0;
    if (!whole) {
      result += text[i];
      continue;
    }
    result += static_cast<char>(HexValue(text[i + 1]) * 16 + HexValue(text[i + 2]));
    i += 2;
  }
  return result;
}

}  // namespace pellora
