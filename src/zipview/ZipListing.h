// ZipListing: the rows and totals that the viewer shows of an archive's entries. Pure functions.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "ui/Controls.h"
#include "zipview/ZipDirectory.h"

namespace pellora {

struct ZipName {
  std::string leaf;
  std::string folder;  // without a final "/"; empty is the root
};

// A name that ends in "/" is a directory: its leaf comes before that "/".
ZipName SplitZipName(std::string_view name);

// "62%": the share of `normal` saved by packing, ties to even; below 0 for what has grown, but clamped to 16 bits.
// Empty if `normal` is 0.
std::string ZipRatio(std::int64_t packed, std::int64_t normal);

struct ZipListing {
  std::vector<ListRow> rows;  // keys "e1", "e2", ... by the entries' numbers
  std::int32_t files = 0;
  std::int32_t normalTotal = 0;  // both at most the largest signed 32-bit value
  std::int32_t packedTotal = 0;
};

// All files of the archive; directories count but have no row.
ZipListing ListByFile(const std::vector<ZipEntry>& entries, const std::vector<std::string>& pictures);

// What is directly in `folder`, directories included. A folder without its own entry is not shown.
ZipListing ListByFolder(const std::vector<ZipEntry>& entries, const std::vector<std::string>& pictures,
                        std::string_view folder);

}  // namespace pellora
