#include "fetch/HttpDate.h"

#include <array>
#include <charconv>
#include <vector>

#include "core/Dates.h"
#include "ports/Failure.h"

namespace pellora {

namespace {

std::vector<std::string_view> Words(std::string_view text, std::string_view separators) {
  std::vector<std::string_view> words;
  for (std::size_t at = 0; (at = text.find_first_not_of(separators, at)) != std::string_view::npos;) {
    words.push_back(text.substr(at, text.find_first_of(separators, at) - at));
    at += words.back().size();
  }
  return words;
}

std::optional<int> Digits(std::string_view text, std::size_t most) {
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || text.size() > most || value < 0) return {};
  return value;
}

std::optional<int> MonthOf(std::string_view name) {
  constexpr std::array<std::string_view, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                        "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  for (std::size_t i = 0; i < kMonths.size(); ++i) {
    if (kMonths[i] == name) return static_cast<int>(i) + 1;
  }
  return {};
}

std::optional<int> YearOf(std::string_view text) {
  const std::optional<int> year = Digits(text, 4);
  if (!year || text.size() == 4) return year;
  if (text.size() != 2) return {};
  return *year + (*year < 70 ? 2000 : 1900);
}

std::optional<std::int64_t> SecondsOf(std::string_view year, std::string_view month, std::string_view day,
                                      std::string_view time) {
  const std::vector<std::string_view> parts = Words(time, ":");
  const auto y = YearOf(year);
  const auto m = MonthOf(month);
  const auto d = Digits(day, 2);
  if (!y || !m || !d || parts.size() != 3) return {};
  const auto hour = Digits(parts[0], 2);
  const auto minute = Digits(parts[1], 2);
  auto second = Digits(parts[2], 2);
  if (!hour || !minute || !second) return {};
  if (*second == 60) second = 59;  // a leap second, which the format has
  std::int64_t days = 0;
  const bool real = Skip([&] { days = static_cast<std::int64_t>(SerialOf({*y, *m, *d, 0, 0, 0})) - kDaysToUnixEpoch; });
  if (!real || *hour > 23 || *minute > 59 || *second > 59) return {};
  return ((days * 24 + *hour) * 60 + *minute) * 60 + *second;
}

}  // namespace

std::optional<std::int64_t> ParseHttpDate(std::string_view text) {
  const std::size_t comma = text.find(',');
  if (comma == std::string_view::npos) {
    const std::vector<std::string_view> words = Words(text, " ");
    return words.size() == 5 ? SecondsOf(words[4], words[1], words[2], words[3]) : std::nullopt;
  }
  const std::vector<std::string_view> words = Words(text.substr(comma + 1), " -");
  const bool whole = words.size() == 5 && words[4] == "GMT";
  return whole ? SecondsOf(words[2], words[1], words[0], words[3]) : std::nullopt;
}

}  // namespace pellora
