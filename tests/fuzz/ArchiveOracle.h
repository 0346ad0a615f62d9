// ArchiveOracle: what libarchive finds in the same archive.
#pragma once

#include <string_view>

#include "Targets.h"

namespace pellora {

// Where libarchive lists an archive without a word, and nothing about it is ambiguous, its names and sizes are those of
// the directory.
void DemandLikeLibarchive(const ArchiveDirectory& directory, std::string_view file, const ArchiveEntryReader& read);

}  // namespace pellora
