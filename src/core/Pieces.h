// PieceHashes: checksums of a file's pieces, in their order. All pieces but the last have the same length.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/Checksum.h"

namespace pellora {

struct PieceHashes {
  ChecksumKind kind = ChecksumKind::Sha256;
  std::int64_t length = 0;       // of a piece, bytes
  std::vector<std::string> hex;  // in lower case, of the kind's length

  bool operator==(const PieceHashes&) const = default;
};

}  // namespace pellora
