#include "fetch/PieceCheck.h"

#include <algorithm>

namespace pellora {

Range PieceAt(const PieceHashes& pieces, std::size_t index, std::int64_t total) {
  const std::int64_t begin = static_cast<std::int64_t>(index) * pieces.length;
  return {begin, begin + std::min(pieces.length, total - begin)};
}

std::vector<std::size_t> PiecesWithin(const PieceHashes& pieces, const IntervalSet& held, std::int64_t total) {
  std::vector<std::size_t> within;
  for (std::size_t i = 0; i < pieces.hex.size(); ++i) {
    if (held.HoldsAll(PieceAt(pieces, i, total))) within.push_back(i);
  }
  return within;
}

std::vector<Range> WrongRanges(const PieceHashes& pieces, std::int64_t total, std::span<const std::string> computed) {
  IntervalSet wrong;
  for (std::size_t i = 0; i < pieces.hex.size(); ++i) {
    if (i >= computed.size() || computed[i] != pieces.hex[i]) wrong.Add(PieceAt(pieces, i, total));
  }
  return wrong.Ranges();
}

}  // namespace pellora
