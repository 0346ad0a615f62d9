#include "core/Pieces.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace pellora {

namespace {

// Cuts the text before the next colon off the front, and the colon.
std::string_view NextPart(std::string_view& text) {
  const std::size_t colon = text.find(':');
  const std::string_view part = text.substr(0, colon);
  text.remove_prefix(colon == std::string_view::npos ? text.size() : colon + 1);
  return part;
}

}  // namespace

bool AreOfFile(const PieceHashes& pieces, std::int64_t total) {
  if (pieces.length <= 0 || total <= 0) return false;
  const std::int64_t count = total / pieces.length + (total % pieces.length == 0 ? 0 : 1);
  const bool whole = std::all_of(pieces.hex.begin(), pieces.hex.end(),
                                 [&](const std::string& hex) { return hex.size() == HexDigitsOf(pieces.kind); });
  return whole && static_cast<std::uint64_t>(count) == pieces.hex.size();
}

bool AreFewEnough(const PieceHashes& pieces) {
  return pieces.hex.size() <= kMostPieceDigits / HexDigitsOf(pieces.kind);
}

std::string PiecesText(const PieceHashes& pieces) {
  std::string text = std::string(NameOf(pieces.kind)) + ":" + std::to_string(pieces.length) + ":";
  for (const std::string& hex : pieces.hex) text += hex;
  return text;
}

std::optional<PieceHashes> ParsePieces(std::string_view text) {
  const std::optional<ChecksumKind> kind = ChecksumKindNamed(NextPart(text));
  if (!kind) return {};
  PieceHashes pieces{*kind, 0, {}};
  const std::string_view length = NextPart(text);
  const auto [end, error] = std::from_chars(length.data(), length.data() + length.size(), pieces.length);
  if (error != std::errc() || end != length.data() + length.size() || pieces.length <= 0) return {};
  const std::size_t digits = HexDigitsOf(*kind);
  if (text.empty() || text.size() % digits != 0 || text.size() > kMostPieceDigits) return {};
  if (text.find_first_not_of("0123456789abcdef") != std::string_view::npos) return {};
  for (; !text.empty(); text.remove_prefix(digits)) pieces.hex.emplace_back(text.substr(0, digits));
  return pieces;
}

}  // namespace pellora
