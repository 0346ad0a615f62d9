// Selection: what of a remote archive is to be fetched and unpacked, and where to.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/FileFacts.h"
#include "core/IntervalSet.h"
#include "ports/Unpacker.h"

namespace pellora {

struct SelectedEntry {
  std::vector<std::string> path;  // below the folder; safe
  std::string rawName;            // as it is in the archive
  // Of the archive's file: local header, name and, most likely, all of the data. A file without: it was unpacked from
  // an earlier version of the archive, and is not in this one.
  Range range;
  std::int64_t reach = 0;                // its data may lie up to here at most: offset in the archive's file
  PackedEntry packed;                    // without a password
  std::optional<std::int64_t> modified;  // seconds since 1970
  std::uint16_t mode = 0;                // Unix permissions; 0: not known
  bool isFolder = false;                 // it has no bytes

  bool operator==(const SelectedEntry&) const = default;
};

// What becomes of files that are in the folder already.
enum class Existing : std::uint8_t {
  Number,   // they stay, and the entry becomes "NAME (2)"
  Replace,  // by the entry
  Keep,     // they stay, and the entry is left out
};

struct Selection {
  std::string archive;  // its file name, for the user
  std::string folder;   // to unpack into; absolute
  Existing existing = Existing::Number;
  FileFacts facts;                     // of the archive when its directory was read
  std::vector<SelectedEntry> entries;  // as LiesBefore has them

  bool operator==(const Selection&) const = default;
};

// What has no bytes comes before what has some at the same place.
inline bool LiesBefore(const SelectedEntry& a, const SelectedEntry& b) {
  return std::pair(a.range.begin, a.range.end) < std::pair(b.range.begin, b.range.end);
}

}  // namespace pellora
