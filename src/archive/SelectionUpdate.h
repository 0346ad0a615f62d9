// SelectionUpdate: what was chosen of an archive, looked for in another version of it. A pure function.
#pragma once

#include <cstddef>

#include "archive/ArchiveIndex.h"
#include "core/IntervalSet.h"
#include "core/Selection.h"

namespace pellora {

struct SelectionUpdate {
  Selection selection;   // what is left, where it lies in the new version
  IntervalSet unpacked;  // numbers of its entries
  IntervalSet begun;
  std::size_t missing = 0;  // files that are still to be unpacked,
  std::size_t lost = 0;     // and those that would have been, but are not in the new version as they were

  bool operator==(const SelectionUpdate&) const = default;
};

// `unpacked` and `begun` are numbers of entries of `chosen`. A file is the same if its name in the archive, its sizes
// and its CRC-32 are; how it is packed, its time and its permissions may have changed. It keeps the path that it was
// chosen to have. Folders, and files that are unpacked already, stay in the selection in any case.
SelectionUpdate UpdateSelection(const Selection& chosen, const IntervalSet& unpacked, const IntervalSet& begun,
                                const ArchiveIndex& archive);

}  // namespace pellora
