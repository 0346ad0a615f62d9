#include "SimHttpText.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>

namespace pellora {

namespace {

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

}  // namespace

bool SameWithoutCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return Lower(x) == Lower(y); });
}

std::string SimHttpDate(std::int64_t seconds) {
  static constexpr std::array<const char*, 7> kDays{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  static constexpr std::array<const char*, 12> kMonths{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const std::chrono::sys_seconds moment{std::chrono::seconds(seconds)};
  const auto day = std::chrono::floor<std::chrono::days>(moment);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss time(moment - day);
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%s, %02u %s %04d %02d:%02d:%02d GMT",
                kDays.at(std::chrono::weekday(day).c_encoding()), static_cast<unsigned>(date.day()),
                kMonths.at(static_cast<unsigned>(date.month()) - 1), static_cast<int>(date.year()),
                static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                static_cast<int>(time.seconds().count()));
  return text.data();
}

std::string SimBase64(std::string_view bytes) {
  constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t at = 0; at < bytes.size(); at += 3) {
    std::uint32_t group = 0;
    for (std::size_t i = 0; i < 3; ++i) {
      group = group << 8 | (at + i < bytes.size() ? static_cast<unsigned char>(bytes[at + i]) : 0U);
    }
    for (std::size_t i = 0; i < 4; ++i) {
      text += at + i <= bytes.size() ? kDigits[group >> (18 - 6 * i) & 63U] : '=';
    }
  }
  return text;
}

std::string SimAuthName(FetchAuth auth) {
  switch (auth) {
    case FetchAuth::Digest:
      return "Digest";
    case FetchAuth::Ntlm:
      return "NTLM";
    case FetchAuth::Negotiate:
      return "Negotiate";
    default:
      return "Basic";
  }
}

}  // namespace pellora
