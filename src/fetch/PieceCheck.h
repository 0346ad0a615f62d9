// PieceCheck: where the pieces of a file lie, and which of them are wrong. Pure functions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "core/IntervalSet.h"
#include "core/Pieces.h"

namespace pellora {

// `pieces` are those of a file of `total` bytes (AreOfFile).
Range PieceAt(const PieceHashes& pieces, std::size_t index, std::int64_t total);
// The pieces that lie in `held` with all their bytes.
std::vector<std::size_t> PiecesWithin(const PieceHashes& pieces, const IntervalSet& held, std::int64_t total);
// The ranges of the file whose pieces are wrong; neighbours are one range. `computed` has the digits of every piece in
// order; a piece beyond its end counts as wrong.
std::vector<Range> WrongRanges(const PieceHashes& pieces, std::int64_t total, std::span<const std::string> computed);

}  // namespace pellora
