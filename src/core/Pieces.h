// Pieces: checksums of the pieces of a file, by which a damaged one is repaired rather than fetched again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/Checksum.h"

namespace pellora {

struct PieceHashes {
  ChecksumKind kind = ChecksumKind::Sha256;
  std::int64_t length = 0;       // bytes of each piece, above 0; the last piece may be shorter
  std::vector<std::string> hex;  // of each piece in its order: digits as a Checksum has them

  bool operator==(const PieceHashes&) const = default;
};

// True if these are the pieces of a file of `total` bytes, with a checksum of the kind's length for each.
bool AreOfFile(const PieceHashes& pieces, std::int64_t total);

// The journal repeats them in every line of their download: more are not kept.
inline constexpr std::size_t kMostPieceDigits = std::size_t{64} << 10;
bool AreFewEnough(const PieceHashes& pieces);

// "sha-256:LENGTH:DIGITS", the digits of all pieces in one row; ParsePieces returns nothing for anything else.
std::string PiecesText(const PieceHashes& pieces);
std::optional<PieceHashes> ParsePieces(std::string_view text);

}  // namespace pellora
