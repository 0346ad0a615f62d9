#include "fetch/FileNameFromReply.h"

#include <algorithm>
#include <array>
#include <optional>

#include "core/Ascii.h"
#include "core/HarmlessName.h"
#include "core/Percent.h"
#include "core/TextPieces.h"
#include "core/Utf8.h"
#include "fetch/ReplyHeads.h"

namespace pellora {

namespace {

constexpr std::string_view kNameless = "index";

// Content-Disposition

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
  const std::string_view type = Trimmed(contentType.substr(0, contentType.find(';')), kHttpBlanks);
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
    const std::string_view name = Trimmed(parameter.substr(0, equals), kHttpBlanks);
    const std::string text = Unquoted(Trimmed(parameter.substr(equals + 1), kHttpBlanks));
    if (EqualsNoCase(name, "filename") && plain.empty()) plain = WithoutFolders(text);
    if (EqualsNoCase(name, "filename*") && extended.empty())
      extended = WithoutFolders(ExtendedValue(text).value_or(""));
  }
  return HarmlessName(extended).empty() ? plain : extended;
}

std::string FileNameFromReply(const FetchAnswer& answer, const WebAddress& address) {
  std::string name = HarmlessName(DispositionName(HeaderOf(answer, "Content-Disposition")));
  if (name.empty()) name = HarmlessName(PercentDecoded(LastPathPart(address)));
  if (name.empty()) name = kNameless;
  if (ExtensionStart(name) < name.size()) return name;
  return FittedName(name, std::string(ExtensionOfType(HeaderOf(answer, "Content-Type"))));
}

}  // namespace pellora
