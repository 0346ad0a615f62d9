#include "core/HarmlessName.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>

#include "core/Ascii.h"
#include "core/Utf8.h"

namespace pellora {

namespace {

constexpr std::string_view kPartEnding = ".part";
constexpr std::size_t kLongestExtension = 16;  // bytes, with the dot
constexpr int kLastNumber = 1'000'000;         // of a name

bool IsInvisible(std::uint32_t code) {
  struct Block {
    std::uint32_t first;
    std::uint32_t last;
  };
  // Controls, marks and embeddings of direction, zero-width and line separators, annotations, tags.
  constexpr std::array kBlocks = {Block{0, 0x1F},         Block{0x7F, 0x9F},     Block{0x61C, 0x61C},
                                  Block{0x200B, 0x200B},  Block{0x200E, 0x200F}, Block{0x2028, 0x202E},
                                  Block{0x2060, 0x206F},  Block{0xFEFF, 0xFEFF}, Block{0xFFF9, 0xFFFB},
                                  Block{0xE0000, 0xE007F}};
  return std::any_of(kBlocks.begin(), kBlocks.end(),
                     [code](const Block& block) { return block.first <= code && code <= block.last; });
}

std::string WithoutHarmfulCharacters(std::string_view name) {
  constexpr std::string_view kReplaced = "/\\:*?\"<>|";  // what some disk cannot keep in a name
  std::string result;
  while (!name.empty()) {
    const Utf8Char next = FirstUtf8Char(name);
    const bool replaced = next.length == 1 && kReplaced.find(name.front()) != std::string_view::npos;
    if (replaced) {
      result += '_';
    } else if (!IsInvisible(next.code)) {
      result += name.substr(0, next.length);
    }
    name.remove_prefix(next.length);
  }
  return result;
}

// Some systems open a device by these names, whatever the extension.
bool IsDevice(std::string_view name) {
  const std::string_view stem = TrimTrailingBlanks(name.substr(0, name.find('.')));
  constexpr std::array<std::string_view, 4> kDevices = {"con", "prn", "aux", "nul"};
  for (const std::string_view device : kDevices) {
    if (EqualsNoCase(stem, device)) return true;
  }
  const bool port = StartsWithNoCase(stem, "com") || StartsWithNoCase(stem, "lpt");
  return port && stem.size() == 4 && stem[3] >= '1' && stem[3] <= '9';
}

}  // namespace

std::size_t ExtensionStart(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  if (dot == std::string_view::npos || dot == 0 || name.size() - dot < 2 || name.size() - dot > kLongestExtension) {
    return name.size();
  }
  const std::string_view extension = name.substr(dot + 1);
  const bool plain = std::all_of(extension.begin(), extension.end(), [](char c) {
    return IsDigit(c) || (ToLower(c) >= 'a' && ToLower(c) <= 'z') || static_cast<unsigned char>(c) >= 0x80;
  });
  if (!plain) return name.size();
  constexpr std::string_view kTar = ".tar";
  const bool tar = dot > kTar.size() && EndsWithNoCase(name.substr(0, dot), kTar);
  return tar ? dot - kTar.size() : dot;
}

std::string FittedName(std::string_view stem, const std::string& ending) {
  const std::string_view cut = Utf8Prefix(stem, kLongestFileName - std::min(ending.size(), kLongestFileName));
  return std::string(cut.substr(0, cut.find_last_not_of(" .") + 1)).append(ending);
}

std::string WithoutFolders(std::string_view name) {
  return std::string(name.substr(name.find_last_of("/\\") + 1));  // npos + 1 is 0
}

std::string HarmlessName(std::string_view name) {
  std::string text(name);
  if (!IsUtf8(name)) text = Utf8FromLatin1(name);
  std::string clean = WithoutHarmfulCharacters(text);
  clean.erase(0, std::min(clean.find_first_not_of(' '), clean.size()));
  clean.erase(clean.find_last_not_of(" .") + 1);  // npos + 1 is 0: nothing but these
  if (clean.empty()) return clean;
  if (clean.front() == '.' || clean.front() == '~' || clean.front() == '-') clean.front() = '_';
  if (IsDevice(clean)) clean.insert(0, 1, '_');
  if (clean.size() <= kLongestFileName) return clean;
  const std::size_t dot = ExtensionStart(clean);
  return FittedName(std::string_view(clean).substr(0, dot), clean.substr(dot));
}

std::string NumberedName(const std::string& name, int number) {
  if (number <= 1) return name;
  const std::size_t dot = ExtensionStart(name);
  return FittedName(std::string_view(name).substr(0, dot), " (" + std::to_string(number) + ")" + name.substr(dot));
}

std::string FollowingName(const std::string& name) {
  const std::size_t dot = ExtensionStart(name);
  const std::string ending = name.substr(dot);
  const std::string_view stem = std::string_view(name).substr(0, dot);
  const std::size_t mark = stem.rfind(" (");
  if (mark != std::string_view::npos && mark > 0 && stem.ends_with(')')) {
    const std::string_view digits = stem.substr(mark + 2, stem.size() - mark - 3);
    int number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    const bool whole = error == std::errc() && end == digits.data() + digits.size();
    if (whole && number >= 2 && number < kLastNumber && !digits.starts_with('0')) {
      return FittedName(stem.substr(0, mark), " (" + std::to_string(number + 1) + ")" + ending);
    }
  }
  return NumberedName(name, 2);
}

std::string PartNameOf(const std::string& name) {
  return std::string(Utf8Prefix(name, kLongestFileName)).append(kPartEnding);
}

bool IsPartName(std::string_view name) { return name.ends_with(kPartEnding); }

}  // namespace pellora
