#include "core/ChecksumList.h"

#include <utility>

#include "core/Ascii.h"
#include "core/TextPieces.h"

namespace pellora {

namespace {

struct Line {
  Checksum checksum;
  std::string_view name;
};

// Digits alone have the kind of their number.
std::optional<Checksum> ChecksumOfDigits(std::string_view digits) {
  if (digits.find_first_of(":=") != std::string_view::npos) return {};
  return ParseChecksum(digits);
}

std::optional<Line> GnuLine(std::string_view line) {
  const std::size_t blank = line.find(' ');
  if (blank == std::string_view::npos || line.size() < blank + 3) return {};
  if (line[blank + 1] != ' ' && line[blank + 1] != '*') return {};
  const std::optional<Checksum> checksum = ChecksumOfDigits(line.substr(0, blank));
  if (!checksum) return {};
  return Line{*checksum, line.substr(blank + 2)};
}

// OpenSSL writes "SHA2-256(NAME)= DIGITS".
std::optional<ChecksumKind> BsdKind(std::string_view text) {
  const std::string_view name = TrimTrailingBlanks(text);
  if (EqualsNoCase(name, "SHA2-256")) return ChecksumKind::Sha256;
  if (EqualsNoCase(name, "SHA2-512")) return ChecksumKind::Sha512;
  return ChecksumKindNamed(name);
}

// The name may have brackets itself.
std::optional<Line> BsdLine(std::string_view line) {
  const std::size_t open = line.find('(');
  const std::size_t close = line.rfind(')');
  if (open == std::string_view::npos || close == std::string_view::npos || close < open + 2) return {};
  const std::optional<ChecksumKind> kind = BsdKind(line.substr(0, open));
  const std::string_view rest = TrimBlanks(line.substr(close + 1));
  if (!kind || !rest.starts_with('=')) return {};
  const std::optional<Checksum> checksum = ChecksumOfDigits(rest.substr(1));
  if (!checksum || checksum->kind != *kind) return {};
  return Line{*checksum, line.substr(open + 1, close - open - 1)};
}

// Nothing if a "\" comes before anything that coreutils does not escape.
std::optional<std::string> Unescaped(std::string_view name) {
  std::string plain;
  for (std::size_t at = 0; at < name.size(); ++at) {
    if (name[at] != '\\') {
      plain += name[at];
      continue;
    }
    if (++at == name.size()) return {};
    const std::size_t which = std::string_view("\\nr").find(name[at]);
    if (which == std::string_view::npos) return {};
    plain += "\\\n\r"[which];
  }
  return plain;
}

bool Names(std::string_view listed, bool escaped, std::string_view name) {
  std::string plain(listed);
  if (escaped) {
    std::optional<std::string> unescaped = Unescaped(listed);
    if (!unescaped) return false;
    plain = std::move(*unescaped);
  }
  const std::string_view bare = plain;
  return bare == name || (bare.starts_with("./") && bare.substr(2) == name);
}

}  // namespace

std::optional<Checksum> ListedChecksum(std::string_view list, std::string_view name) {
  StrongestChecksum strongest;
  list = WithoutByteOrderMark(list);
  while (!list.empty()) {
    std::string_view text = NextLine(list);
    const bool escaped = text.starts_with('\\');
    if (escaped) text.remove_prefix(1);
    std::optional<Line> line = GnuLine(text);
    if (!line) line = BsdLine(text);
    if (line && Names(line->name, escaped, name)) strongest.Take(line->checksum);
  }
  return strongest.Result();
}

std::optional<Checksum> ListedChecksumOfOne(std::string_view list, std::string_view name) {
  if (std::optional<Checksum> listed = ListedChecksum(list, name)) return listed;
  return ChecksumOfDigits(WithoutByteOrderMark(list));
}

}  // namespace pellora
