#include "core/DateTexts.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <optional>
#include <set>
#include <vector>

#include "core/Ascii.h"
#include "ports/Failure.h"

namespace pellora {

namespace {

[[noreturn]] void NoDate() { throw Failure(FailureNumber::Conversion, "not a date"); }

// --- Characters.

// The code point at the start of `text` and its length; a byte that begins none counts as one.
struct CodePoint {
  std::uint32_t value = 0;
  std::size_t length = 1;
};

CodePoint FirstOf(std::string_view text) {
  const auto byte = [text](std::size_t at) { return static_cast<std::uint32_t>(static_cast<unsigned char>(text[at])); };
  const std::uint32_t lead = byte(0);
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC2 ? 2 : 1;
  if (length == 1 || length > text.size()) return {lead, 1};
  std::uint32_t value = lead & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0U) != 0x80U) return {lead, 1};
    value = value << 6U | (byte(i) & 0x3FU);
  }
  return {value, length};
}

void Append(std::string& out, std::uint32_t point) {
  const auto put = [&out](std::uint32_t byte) { out += static_cast<char>(static_cast<unsigned char>(byte)); };
  if (point < 0x80) return put(point);
  if (point >= 0x10000) {
    put(0xF0U | point >> 18U);
    put(0x80U | (point >> 12U & 0x3FU));
  } else if (point >= 0x800) {
    put(0xE0U | point >> 12U);
  }
  put(point < 0x800 ? 0xC0U | point >> 6U : 0x80U | (point >> 6U & 0x3FU));
  put(0x80U | (point & 0x3FU));
}

std::uint32_t ZeroOf(const DateForms& forms) { return forms.zero.empty() ? '0' : FirstOf(forms.zero).value; }

bool IsMark(std::uint32_t point) {
  return point == 0x200E || point == 0x200F || point == 0x061C || (point >= 0x202A && point <= 0x202E) ||
         (point >= 0x2066 && point <= 0x2069);
}

bool IsWideBlank(std::uint32_t point) {
  return point == '\t' || point == 0xA0 || point == 0x202F || point == 0x3000 || (point >= 0x2000 && point <= 0x200A);
}

// ASCII digits, plain blanks and lower case, without direction marks.
std::string Normalised(std::string_view text, const DateForms& forms) {
  const std::array<std::uint32_t, 3> zeros = {ZeroOf(forms), 0x0660, 0x06F0};
  std::string plain;
  while (!text.empty()) {
    const CodePoint point = FirstOf(text);
    const auto* const zero = std::find_if(
        zeros.begin(), zeros.end(), [point](std::uint32_t z) { return point.value >= z && point.value < z + 10; });
    if (zero != zeros.end()) {
      plain += static_cast<char>('0' + static_cast<char>(point.value - *zero));
    } else if (IsWideBlank(point.value)) {
      plain += ' ';
    } else if (!IsMark(point.value)) {
      plain.append(text.substr(0, point.length));
    }
    text.remove_prefix(point.length);
  }
  return ToLower(plain);
}

// --- Patterns.

// A field ('d', 'M', 'y', 'H', 'h', 'm', 's', 'A' for the half of the day) with its width, or literal text.
struct Piece {
  char field = 0;
  int width = 0;
  std::string literal;
};

std::vector<Piece> PiecesOf(std::string_view pattern) {
  std::vector<Piece> pieces;
  const auto literal = [&pieces](char c) {
    if (pieces.empty() || pieces.back().field != 0) pieces.emplace_back();
    pieces.back().literal += c;
  };
  bool quoted = false;
  for (std::size_t at = 0; at < pattern.size();) {
    const char c = pattern[at];
    if (c == '\'') {
      const bool doubled = at + 1 < pattern.size() && pattern[at + 1] == '\'';
      if (doubled) literal(c);
      if (!doubled) quoted = !quoted;
      at += doubled ? 2 : 1;
    } else if (!quoted && pattern.substr(at).starts_with("AP")) {
      pieces.push_back({'A', 2, {}});
      at += 2;
    } else if (!quoted && std::string_view("dMyHhms").find(c) != std::string_view::npos) {
      const std::size_t end = std::min(pattern.find_first_not_of(c, at), pattern.size());
      pieces.push_back({c, static_cast<int>(end - at), {}});
      at = end;
    } else {
      literal(c);
      ++at;
    }
  }
  return pieces;
}

int ValueOf(const CalendarFields& fields, char field) {
  switch (field) {
    case 'd':
      return fields.day;
    case 'M':
      return fields.month;
    case 'y':
      return fields.year;
    case 'H':
      return fields.hour;
    case 'h':
      return fields.hour % 12 == 0 ? 12 : fields.hour % 12;
    case 'm':
      return fields.minute;
    default:
      return fields.second;
  }
}

std::string Render(const std::string& pattern, double serial, const DateForms& forms) {
  const CalendarFields fields = FieldsOf(serial);
  std::string text;
  for (const Piece& piece : PiecesOf(pattern)) {
    if (piece.field == 0) {
      text += piece.literal;
    } else if (piece.field == 'A') {
      text += fields.hour < 12 ? forms.am : forms.pm;
    } else {
      std::string digits = std::to_string(ValueOf(fields, piece.field));
      const std::size_t width = piece.field == 'y' ? 4 : static_cast<std::size_t>(std::min(piece.width, 2));
      if (digits.size() < width) digits.insert(0, width - digits.size(), '0');
      for (const char digit : digits) Append(text, ZeroOf(forms) + static_cast<std::uint32_t>(digit - '0'));
    }
  }
  return text;
}

// --- Reading.

bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || static_cast<unsigned char>(c) >= 0x80; }

std::vector<std::string> WordsOf(std::string_view text) {
  std::vector<std::string> words;
  bool inWord = false;
  for (const char c : text) {
    if (!IsLetter(c)) {
      inWord = false;
      continue;
    }
    if (!inWord) words.emplace_back();
    inWord = true;
    words.back() += c;
  }
  return words;
}

std::string WithoutWords(std::string_view text) {
  std::string rest(text);
  std::replace_if(rest.begin(), rest.end(), IsLetter, ' ');
  return rest;
}

// The numbers of a text, and the text before, between and after them.
struct Numbers {
  std::vector<std::string> digits;
  std::vector<std::string> gaps{std::string()};
};

Numbers NumbersOf(std::string_view text) {
  Numbers found;
  bool inNumber = false;
  for (const char c : text) {
    if (!IsDigit(c)) {
      if (inNumber) found.gaps.emplace_back();
      inNumber = false;
      found.gaps.back() += c;
      continue;
    }
    if (!inNumber) found.digits.emplace_back();
    inNumber = true;
    found.digits.back() += c;
  }
  if (inNumber) found.gaps.emplace_back();
  return found;
}

enum class Half { None, Am, Pm };

// Removes the word for the half of the day from the text.
Half TakeHalf(std::string& text, const DateForms& forms) {
  struct Word {
    std::string_view text;
    Half half;
  };
  const std::string am = Normalised(forms.am, forms);
  const std::string pm = Normalised(forms.pm, forms);
  std::array<Word, 4> words = {{{am, Half::Am}, {pm, Half::Pm}, {"am", Half::Am}, {"pm", Half::Pm}}};
  // Longest first: one may be part of another.
  std::stable_sort(words.begin(), words.end(),
                   [](const Word& a, const Word& b) { return a.text.size() > b.text.size(); });
  for (const Word& word : words) {
    const std::size_t at = word.text.empty() ? std::string::npos : text.find(word.text);
    if (at == std::string::npos) continue;
    text.replace(at, word.text.size(), " ");
    return word.half;
  }
  return Half::None;
}

// Reads dates and times by a locale's patterns.
class Reader {
 public:
  explicit Reader(const DateForms& forms) {
    Learn(forms.date, forms, order_, dateGaps_);
    std::string hourAndMinute;
    Learn(forms.time, forms, hourAndMinute, timeGaps_);
    if (order_.size() != 3) order_ = "yMd";
  }

  std::optional<DateTimeReading> Read(std::string text, const DateForms& forms, DateTimeOrder order) const {
    const Half half = TakeHalf(text, forms);
    const Numbers numbers = NumbersOf(text);
    for (const std::string& word : WordsOf(text)) {
      if (!words_.contains(word)) return std::nullopt;
    }
    const std::size_t count = numbers.digits.size();
    const bool bounded = std::all_of(numbers.digits.begin(), numbers.digits.end(),
                                     [](const std::string& digits) { return digits.size() <= 4; });
    if (!bounded || !IsOuter(numbers.gaps.front()) || !IsOuter(numbers.gaps.back())) return std::nullopt;
    const bool dateFirst = order == DateTimeOrder::DateFirst;
    for (const bool dateLeads : {dateFirst, !dateFirst}) {
      const auto reading =
          count > 3 ? ReadBoth(numbers, dateLeads, half) : ReadOne(numbers, count == 3 && dateLeads, half);
      if (reading) return reading;
    }
    return std::nullopt;
  }

 private:
  void Learn(const std::string& pattern, const DateForms& forms, std::string& order, std::set<std::string>& gaps) {
    bool afterField = false;
    for (const Piece& piece : PiecesOf(pattern)) {
      if (piece.field == 'A') continue;
      if (piece.field != 0) {
        order += piece.field;
        afterField = true;
        continue;
      }
      const std::string literal = Normalised(piece.literal, forms);
      for (std::string& word : WordsOf(literal)) words_.insert(std::move(word));
      if (afterField) gaps.insert(std::string(TrimBlanks(WithoutWords(literal))));
    }
  }

  // Before and after all numbers, and between date and time.
  static bool IsOuter(const std::string& gap) {
    return WithoutWords(gap).find_first_not_of(" .,") == std::string::npos;
  }

  static bool IsBetween(const std::string& gap) { return IsOuter(gap) && gap.find_first_of(" ,") != std::string::npos; }

  bool IsInDate(const std::string& gap) const {
    const std::string signs(TrimBlanks(WithoutWords(gap)));
    return dateGaps_.contains(signs) || signs == "/" || signs == "-" || signs == ".";
  }

  bool IsInTime(const std::string& gap) const {
    const std::string signs(TrimBlanks(WithoutWords(gap)));
    return timeGaps_.contains(signs) || signs == ":";
  }

  std::optional<DateTimeReading> ReadBoth(const Numbers& numbers, bool dateLeads, Half half) const {
    const std::size_t timeCount = numbers.digits.size() - 3;
    if (timeCount < 2 || timeCount > 3) return std::nullopt;
    const std::size_t dateAt = dateLeads ? 0 : timeCount;
    if (!IsBetween(numbers.gaps[dateLeads ? 3 : timeCount])) return std::nullopt;
    CalendarFields fields;
    if (!TakeDate(numbers, dateAt, fields)) return std::nullopt;
    if (!TakeTime(numbers, dateLeads ? 3 : 0, timeCount, half, fields)) return std::nullopt;
    return Reading(fields, true, true);
  }

  std::optional<DateTimeReading> ReadOne(const Numbers& numbers, bool asDate, Half half) const {
    CalendarFields fields;
    const std::size_t count = numbers.digits.size();
    if (asDate) return TakeDate(numbers, 0, fields) && half == Half::None ? Reading(fields, true, false) : std::nullopt;
    if (count < 2 || !TakeTime(numbers, 0, count, half, fields)) return std::nullopt;
    return Reading(fields, false, true);
  }

  static std::optional<DateTimeReading> Reading(const CalendarFields& fields, bool hasDate, bool hasTime) {
    DateTimeReading reading;
    reading.hasDate = hasDate;
    reading.hasTime = hasTime;
    if (!Skip([&] { reading.serial = SerialOf(fields); })) return std::nullopt;
    return reading;
  }

  static int NumberOf(const std::string& digits) {
    int number = 0;
    for (const char digit : digits) number = number * 10 + (digit - '0');
    return number;
  }

  bool TakeDate(const Numbers& numbers, std::size_t at, CalendarFields& fields) const {
    if (!IsInDate(numbers.gaps[at + 1]) || !IsInDate(numbers.gaps[at + 2])) return false;
    for (std::size_t i = 0; i < 3; ++i) {
      const std::string& digits = numbers.digits[at + i];
      const int number = NumberOf(digits);
      if (order_[i] == 'y') {
        fields.year = digits.size() > 2 ? number : number < 30 ? 2000 + number : 1900 + number;
      } else {
        if (digits.size() > 2) return false;
        (order_[i] == 'M' ? fields.month : fields.day) = number;
      }
    }
    return true;
  }

  bool TakeTime(const Numbers& numbers, std::size_t at, std::size_t count, Half half, CalendarFields& fields) const {
    for (std::size_t i = 0; i < count; ++i) {
      if (numbers.digits[at + i].size() > 2) return false;
      if (i > 0 && !IsInTime(numbers.gaps[at + i])) return false;
    }
    fields.hour = NumberOf(numbers.digits[at]);
    fields.minute = NumberOf(numbers.digits[at + 1]);
    fields.second = count > 2 ? NumberOf(numbers.digits[at + 2]) : 0;
    if (half == Half::None) return true;
    if (fields.hour > 12) return false;
    fields.hour = fields.hour % 12 + (half == Half::Pm ? 12 : 0);
    return true;
  }

  std::string order_;  // of 'd', 'M' and 'y'
  std::set<std::string> dateGaps_, timeGaps_;
  std::set<std::string> words_;  // allowed beside the numbers
};

}  // namespace

std::string ShortDate(double serial, const DateForms& forms) { return Render(forms.date, serial, forms); }
std::string ShortTime(double serial, const DateForms& forms) { return Render(forms.time, serial, forms); }

DateTimeReading ReadLocalDateTime(std::string_view text, const DateForms& forms, DateTimeOrder order) {
  constexpr std::size_t kLongest = 200;  // bytes
  if (text.size() > kLongest) NoDate();
  std::string plain = Normalised(text, forms);
  DateTimeReading reading;
  std::string stored = plain;
  std::replace(stored.begin(), stored.end(), 't', 'T');
  if (Skip([&] { reading = ReadDateTime(stored); })) return reading;
  const auto local = Reader(forms).Read(std::move(plain), forms, order);
  if (!local) NoDate();
  return *local;
}

}  // namespace pellora
