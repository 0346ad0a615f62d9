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
  std::string folder;  // without a "/" at its end; empty is the root
};

// A name that ends in "/" is a directory: its leaf is what stands before that "/".
ZipName SplitZipName(std::string_view name);

// "62%": how much of `normal` the packing saved, halves rounded to the even neighbour; below 0 for what has
// grown, and not below what the rounded share's 16 bits can say. Empty where `normal` is 0.
std::string ZipRatio(std::int64_t packed, std::int64_t normal);

struct ZipListing {
  std::vector<ListRow> rows;  // keys "e1", "e2", ... by the entries' numbers
  std::int32_t files = 0;
  std::int32_t normalTotal = 0;  // both held at the largest signed 32-bit value
  std::int32_t packedTotal = 0;
};

// All files of the archive; its directories count, but have no row.
ZipListing ListByFile(const std::vector<ZipEntry>& entries, const std::vector<std::string>& pictures);

// What lies directly in `folder`, directories included. A folder without an entry of its own does not show.
ZipListing ListByFolder(const std::vector<ZipEntry>& entries, const std::vector<std::string>& pictures,
                        std::string_view folder);

}  // namespace pellora
