#include "core/IniText.h"

#include <algorithm>

#include "core/TextPieces.h"

namespace pellora {

namespace {

constexpr std::string_view kSection = "[Options]";
constexpr std::string_view kBlanks = " \t\r";

// Where the lines of interest are in the file.
struct Place {
  bool hasSection = false;
  std::size_t sectionEnd = 0;  // where a further line of the section goes
  bool hasKey = false;
  std::size_t lineStart = 0;
  std::size_t lineEnd = 0;  // without the line's end
  std::string_view value;
};

Place Find(std::string_view content, std::string_view key) {
  Place place;
  bool inSection = false;
  for (std::size_t start = 0; start < content.size();) {
    const std::size_t end = std::min(content.find('\n', start), content.size());
    const std::size_t next = std::min(end + 1, content.size());
    std::string_view line = Trimmed(content.substr(start, end - start), kBlanks);
    if (start == 0) line = Trimmed(WithoutByteOrderMark(line), kBlanks);
    if (!line.empty() && line.front() == '[') {
      inSection = line == kSection;
      if (inSection) {
        place.hasSection = true;
        place.sectionEnd = next;
      }
    } else if (inSection && !line.empty()) {
      place.sectionEnd = next;
      const std::size_t equals = line.find('=');
      if (equals != std::string_view::npos && Trimmed(line.substr(0, equals), kBlanks) == key) {
        place.hasKey = true;
        place.lineStart = start;
        place.lineEnd = end;
        place.value = Trimmed(line.substr(equals + 1), kBlanks);
      }
    }
    start = next;
  }
  return place;
}

std::string Unquote(std::string_view text) {
  if (text.size() < 2 || text.front() != '"' || text.back() != '"') return std::string(text);
  const std::string_view inner = text.substr(1, text.size() - 2);
  std::string plain;
  for (std::size_t i = 0; i < inner.size(); ++i) {
    char c = inner[i];
    if (c == '\\' && i + 1 < inner.size()) {
      c = inner[++i];
      if (c == 'n') c = '\n';
      if (c == 'r') c = '\r';
    }
    plain += c;
  }
  return plain;
}

std::string Quote(std::string_view text) {
  const bool plain = Trimmed(text, kBlanks) == text && text.find('\n') == std::string::npos &&
                     text.find('\r') == std::string::npos && (text.empty() || text.front() != '"');
  if (plain) return std::string(text);
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '\\' || c == '"') quoted += '\\';
    if (c == '\n') {
      quoted += "\\n";
    } else if (c == '\r') {
      quoted += "\\r";
    } else {
      quoted += c;
    }
  }
  return quoted + '"';
}

}  // namespace

std::optional<std::string> IniValue(std::string_view content, std::string_view key) {
  const Place place = Find(content, key);
  if (!place.hasKey) return std::nullopt;
  return Unquote(place.value);
}

std::string WithIniValue(std::string content, std::string_view key, std::string_view value) {
  const std::string line = std::string(key) + "=" + Quote(value);
  const Place place = Find(content, key);
  if (place.hasKey) {
    if (Unquote(place.value) != value) content.replace(place.lineStart, place.lineEnd - place.lineStart, line);
  } else if (place.hasSection) {
    const bool open = content[place.sectionEnd - 1] != '\n';
    content.insert(place.sectionEnd, (open ? "\n" : "") + line + "\n");
  } else {
    if (!content.empty() && content.back() != '\n') content += '\n';
    content += std::string(kSection) + "\n" + line + "\n";
  }
  return content;
}

}  // namespace pellora
