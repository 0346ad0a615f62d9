#include "core/Checksum.h"

#include <algorithm>
#include <array>
#include <utility>

#include "core/Ascii.h"
#include "core/TextPieces.h"

namespace pellora {

namespace {

struct Kind {
  ChecksumKind kind;
  std::string_view name;
  std::string_view plainName;
  std::size_t digits;
};
constexpr std::array kKinds = {Kind{ChecksumKind::Md5, "md5", "md5", 32}, Kind{ChecksumKind::Sha1, "sha-1", "sha1", 40},
                               Kind{ChecksumKind::Sha256, "sha-256", "sha256", 64},
                               Kind{ChecksumKind::Sha512, "sha-512", "sha512", 128}};

const Kind& Of(ChecksumKind kind) { return kKinds.at(static_cast<std::size_t>(kind)); }

}  // namespace

std::size_t HexDigitsOf(ChecksumKind kind) { return Of(kind).digits; }

std::string_view NameOf(ChecksumKind kind) { return Of(kind).name; }

std::optional<ChecksumKind> ChecksumKindNamed(std::string_view name) {
  const auto* const kind = std::find_if(kKinds.begin(), kKinds.end(), [&](const Kind& known) {
    return EqualsNoCase(name, known.name) || EqualsNoCase(name, known.plainName);
  });
  if (kind == kKinds.end()) return {};
  return kind->kind;
}

std::optional<Checksum> ParseChecksum(std::string_view text) {
  text = Trimmed(text, kBlanksAndEnds);
  std::string_view name;
  if (const std::size_t mark = text.find_first_of(":="); mark != std::string_view::npos) {
    name = Trimmed(text.substr(0, mark), kBlanksAndEnds);
    text = Trimmed(text.substr(mark + 1), kBlanksAndEnds);
    if (name.empty()) return {};
  }
  const auto* const kind = std::find_if(kKinds.begin(), kKinds.end(), [&](const Kind& known) {
    return known.digits == text.size() && (name.empty() || ChecksumKindNamed(name) == known.kind);
  });
  if (kind == kKinds.end()) return {};
  std::string hex = ToLower(text);
  if (hex.find_first_not_of("0123456789abcdef") != std::string::npos) return {};
  return Checksum{kind->kind, std::move(hex)};
}

std::string ChecksumText(const Checksum& checksum) { return std::string(NameOf(checksum.kind)) + ":" + checksum.hex; }

// The kinds are in the order of their strength.
void StrongestChecksum::Take(const Checksum& checksum) {
  if (best_ && checksum.kind < best_->kind) return;
  const bool same = best_ && checksum.kind == best_->kind;
  contradicted_ = same && (contradicted_ || checksum != *best_);
  best_ = checksum;
}

}  // namespace pellora
