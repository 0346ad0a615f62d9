#include "core/FilterWords.h"

#include <algorithm>
#include <cstdint>

#include "core/Ascii.h"
#include "core/Utf8.h"

namespace pellora {

namespace {

struct Capitals {
  std::uint32_t first;
  std::uint32_t last;
  std::uint32_t distance;  // to the small letters; 1: capitals and small letters take turns
};

constexpr Capitals kCapitals[] = {{U'A', U'Z', 32},   {0xC0, 0xD6, 32},  {0xD8, 0xDE, 32},  {0x100, 0x137, 1},
                                  {0x139, 0x148, 1},  {0x14A, 0x177, 1}, {0x179, 0x17E, 1}, {0x391, 0x3A9, 32},
                                  {0x400, 0x40F, 80}, {0x410, 0x42F, 32}};

std::uint32_t Small(std::uint32_t code) {
  for (const auto& [first, last, distance] : kCapitals) {
    if (code < first || code > last) continue;
    return distance == 1 ? code + (code - first + 1) % 2 : code + distance;
  }
  return code;
}

// Bytes that are no UTF-8 stay as they are.
std::string Folded(std::string_view text) {
  std::string folded;
  folded.reserve(text.size());
  while (!text.empty()) {
    const Utf8Char next = FirstUtf8Char(text);
    if (next.length == 0) {
      folded += text.front();
    } else {
      AppendUtf8(folded, Small(next.code));
    }
    text.remove_prefix(std::max<std::size_t>(next.length, 1));
  }
  return folded;
}

}  // namespace

FilterWords::FilterWords(std::string_view filter) {
  for (filter = TrimBlanks(filter); !filter.empty(); filter = TrimLeadingBlanks(filter)) {
    const std::size_t end = std::min(filter.find(' '), filter.size());
    words_.push_back(Folded(filter.substr(0, end)));
    filter.remove_prefix(end);
  }
}

bool FilterWords::Fit(std::initializer_list<std::string_view> texts) const {
  std::vector<std::string> folded;
  folded.reserve(texts.size());
  for (const std::string_view text : texts) folded.push_back(Folded(text));
  return std::all_of(words_.begin(), words_.end(), [&](const std::string& word) {
    return std::any_of(folded.begin(), folded.end(),
                       [&](const std::string& text) { return text.find(word) != std::string::npos; });
  });
}

}  // namespace pellora
