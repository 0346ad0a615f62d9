// EntryLayout: where in an archive's file the bytes of its entries lie.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "archive/ArchiveDirectory.h"
#include "core/IntervalSet.h"

namespace pellora {

class EntryLayout {
 public:
  // The directory must outlive the layout.
  explicit EntryLayout(const ArchiveDirectory& directory);

  // It lies outside of the file's data, or another entry lies at its place: archives are so made to unpack to more than
  // they hold. Such an entry is never fetched.
  bool IsSound(std::size_t entry) const { return ends_.at(entry) >= 0; }

  // Local header, name and data of a sound entry. The local header's extra fields may be longer than those of the
  // directory, so the range reaches to the next entry. Only where that is far away does it end where the data is
  // likely to end: then the local header may show that more must be fetched.
  Range RangeOf(std::size_t entry) const;
  // To the next entry in any case: never more than this belongs to the entry.
  Range LargestRangeOf(std::size_t entry) const;

 private:
  const ArchiveDirectory& directory_;
  std::vector<std::int64_t> ends_;  // by entry: where the next one or the directory begins; -1: not sound
};

// The requests that fetch these ranges: neighbours together, and small gaps between them too, while the gaps are less
// than a hundredth of what is wanted. Ranges may overlap and come in any order.
std::vector<Range> RequestsFor(std::span<const Range> wanted);

}  // namespace pellora
