#include "fetch/FileNameFromReply.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

#include "core/Ascii.h"
#include "core/Percent.h"
#include "core/Utf8.h"
#include "fetch/ReplyHeads.h"

namespace pellora {

namespace {

constexpr std::string_view kPartEnding = ".part";
constexpr std::string_view kNameless = "index";
constexpr std::size_t kLongestExtension = 16;  // bytes, with the dot
constexpr int kLastNumber = 1'000'000;         // of a name

// Content-Disposition

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// The end of a parameter: the next ";" outside of quotes.
std::size_t EndOfParameter(std::string_view text) {
  bool quoted = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (quoted && text[i] == '\\') {
      ++i;
    } else if (text[i] == '"') {
      quoted = !quoted;
    } else if (text[i] == ';' && !quoted) {
      return i;
    }
  }
  return text.size();
}

// A token, or a quoted string without its quotes and escapes (RFC 9110, section 5.6.4); an open one ends with the text.
std::string Unquoted(std::string_view value) {
  if (!value.starts_with('"')) return std::string(value);
  std::string text;
  for (std::size_t i = 1; i < value.size() && value[i] != '"'; ++i) {
    if (value[i] == '\\' && i + 1 < value.size()) ++i;
    text += value[i];
  }
  return text;
}

// "UTF-8'en'na%C3%AFve" (RFC 8187, section 3.2). Nothing for other character sets and broken UTF-8.
std::optional<std::string> ExtendedValue(std::string_view value) {
  const std::size_t first = value.find('\'');
  const std::size_t second = first == std::string_view::npos ? first : value.find('\'', first + 1);
  if (second == std::string_view::npos) return {};
  std::string text = PercentDecoded(value.substr(second + 1));
  const std::string_view set = value.substr(0, first);
  if (EqualsNoCase(set, "ISO-8859-1")) return Utf8FromLatin1(text);
  if (!EqualsNoCase(set, "UTF-8") || !IsUtf8(text)) return {};
  return text;
}

// The last part of what may be a path of any system.
std::string WithoutFolders(const std::string& name) {
  const std::size_t slash = name.find_last_of("/\\");
  return slash == std::string::npos ? name : name.substr(slash + 1);
}

// Harmless names

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

// Where the extension begins, at its dot; ".tar.gz" is one. The length of the name if it has none.
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

// `stem` cut so that `ending` fits after it.
std::string Fitted(std::string_view stem, const std::string& ending) {
  const std::string_view cut = Utf8Prefix(stem, kLongestFileName - std::min(ending.size(), kLongestFileName));
  return std::string(cut.substr(0, cut.find_last_not_of(" .") + 1)).append(ending);
}

// Extensions for types

struct TypeRow {
  std::string_view type;
  std::string_view extension;
};
constexpr std::array kTypes = {
    TypeRow{"application/epub+zip", ".epub"},
    TypeRow{"application/gzip", ".gz"},
    TypeRow{"application/java-archive", ".jar"},
    TypeRow{"application/json", ".json"},
    TypeRow{"application/msword", ".doc"},
    TypeRow{"application/ogg", ".ogg"},
    TypeRow{"application/pdf", ".pdf"},
    TypeRow{"application/postscript", ".ps"},
    TypeRow{"application/rtf", ".rtf"},
    TypeRow{"application/vnd.android.package-archive", ".apk"},
    TypeRow{"application/vnd.debian.binary-package", ".deb"},
    TypeRow{"application/vnd.ms-excel", ".xls"},
    TypeRow{"application/vnd.ms-powerpoint", ".ppt"},
    TypeRow{"application/vnd.oasis.opendocument.presentation", ".odp"},
    TypeRow{"application/vnd.oasis.opendocument.spreadsheet", ".ods"},
    TypeRow{"application/vnd.oasis.opendocument.text", ".odt"},
    TypeRow{"application/vnd.openxmlformats-officedocument.presentationml.presentation", ".pptx"},
    TypeRow{"application/vnd.openxmlformats-officedocument.spreadsheetml.sheet", ".xlsx"},
    TypeRow{"application/vnd.openxmlformats-officedocument.wordprocessingml.document", ".docx"},
    TypeRow{"application/vnd.rar", ".rar"},
    TypeRow{"application/x-7z-compressed", ".7z"},
    TypeRow{"application/x-bittorrent", ".torrent"},
    TypeRow{"application/x-bzip2", ".bz2"},
    TypeRow{"application/x-debian-package", ".deb"},
    TypeRow{"application/x-gzip", ".gz"},
    TypeRow{"application/x-iso9660-image", ".iso"},
    TypeRow{"application/x-rar-compressed", ".rar"},
    TypeRow{"application/x-rpm", ".rpm"},
    TypeRow{"application/x-tar", ".tar"},
    TypeRow{"application/x-xz", ".xz"},
    TypeRow{"application/xml", ".xml"},
    TypeRow{"application/zip", ".zip"},
    TypeRow{"application/zstd", ".zst"},
    TypeRow{"audio/aac", ".aac"},
    TypeRow{"audio/flac", ".flac"},
    TypeRow{"audio/midi", ".mid"},
    TypeRow{"audio/mp4", ".m4a"},
    TypeRow{"audio/mpeg", ".mp3"},
    TypeRow{"audio/ogg", ".ogg"},
    TypeRow{"audio/wav", ".wav"},
    TypeRow{"audio/x-wav", ".wav"},
    TypeRow{"image/avif", ".avif"},
    TypeRow{"image/bmp", ".bmp"},
    TypeRow{"image/gif", ".gif"},
    TypeRow{"image/jpeg", ".jpg"},
    TypeRow{"image/png", ".png"},
    TypeRow{"image/svg+xml", ".svg"},
    TypeRow{"image/tiff", ".tif"},
    TypeRow{"image/webp", ".webp"},
    TypeRow{"text/css", ".css"},
    TypeRow{"text/csv", ".csv"},
    TypeRow{"text/html", ".html"},
    TypeRow{"text/javascript", ".js"},
    TypeRow{"text/plain", ".txt"},
    TypeRow{"text/xml", ".xml"},
    TypeRow{"video/mp4", ".mp4"},
    TypeRow{"video/mpeg", ".mpg"},
    TypeRow{"video/quicktime", ".mov"},
    TypeRow{"video/webm", ".webm"},
    TypeRow{"video/x-flv", ".flv"},
    TypeRow{"video/x-matroska", ".mkv"},
    TypeRow{"video/x-msvideo", ".avi"},
};

std::string_view ExtensionOfType(std::string_view contentType) {
  const std::string_view type = Trimmed(contentType.substr(0, contentType.find(';')));
  const auto* const row = std::find_if(kTypes.begin(), kTypes.end(),
                                       [&](const TypeRow& candidate) { return EqualsNoCase(candidate.type, type); });
  return row == kTypes.end() ? std::string_view() : row->extension;
}

}  // namespace

std::string DispositionName(std::string_view value) {
  std::string plain;
  std::string extended;
  while (!value.empty()) {
    const std::size_t end = EndOfParameter(value);
    const std::string_view parameter = value.substr(0, end);
    value.remove_prefix(std::min(end + 1, value.size()));
    const std::size_t equals = parameter.find('=');
    if (equals == std::string_view::npos) continue;  // the disposition's type
    const std::string_view name = Trimmed(parameter.substr(0, equals));
    const std::string text = Unquoted(Trimmed(parameter.substr(equals + 1)));
    if (EqualsNoCase(name, "filename") && plain.empty()) plain = WithoutFolders(text);
    if (EqualsNoCase(name, "filename*") && extended.empty())
      extended = WithoutFolders(ExtendedValue(text).value_or(""));
  }
  return HarmlessName(extended).empty() ? plain : extended;
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
  return Fitted(std::string_view(clean).substr(0, dot), clean.substr(dot));
}

std::string FileNameFromReply(const FetchAnswer& answer, const WebAddress& address) {
  std::string name = HarmlessName(DispositionName(HeaderOf(answer, "Content-Disposition")));
  if (name.empty()) name = HarmlessName(PercentDecoded(LastPathPart(address)));
  if (name.empty()) name = kNameless;
  if (ExtensionStart(name) < name.size()) return name;
  return Fitted(name, std::string(ExtensionOfType(HeaderOf(answer, "Content-Type"))));
}

std::string NumberedName(const std::string& name, int number) {
  if (number <= 1) return name;
  const std::size_t dot = ExtensionStart(name);
  return Fitted(std::string_view(name).substr(0, dot), " (" + std::to_string(number) + ")" + name.substr(dot));
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
      return Fitted(stem.substr(0, mark), " (" + std::to_string(number + 1) + ")" + ending);
    }
  }
  return NumberedName(name, 2);
}

std::string PartNameOf(const std::string& name) {
  return std::string(Utf8Prefix(name, kLongestFileName)).append(kPartEnding);
}

}  // namespace pellora
