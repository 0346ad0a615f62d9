#include "zipview/ZipListing.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace pellora {

namespace {

constexpr std::int64_t kMostPercent = std::numeric_limits<std::int16_t>::max();

void AddHeld(std::int32_t& total, std::int64_t size) {
  constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
  total = static_cast<std::int32_t>(std::min(total + size, kMost));
}

void Count(ZipListing& listing, const ZipEntry& entry) {
  ++listing.files;
  AddHeld(listing.normalTotal, entry.NormalSize);
  AddHeld(listing.packedTotal, entry.PackedSize);
}

ListRow MakeRow(const ZipEntry& entry, const std::vector<std::string>& pictures, ZipName name) {
  ListRow row;
  row.key = "e" + std::to_string(entry.Position);
  const auto picture = static_cast<std::size_t>(entry.Position);
  if (picture < pictures.size()) row.icon = pictures[picture];
  row.subItems.reserve(4);
  if (entry.IsDirectory) {
    row.text = "+" + name.leaf;
    row.subItems.assign(2, "DIR");
  } else {
    row.text = std::move(name.leaf);
    row.subItems.push_back(std::to_string(entry.PackedSize));
    row.subItems.push_back(std::to_string(entry.NormalSize));
  }
  row.subItems.push_back(ZipRatio(entry.PackedSize, entry.NormalSize));
  row.subItems.push_back(std::move(name.folder));
  return row;
}

}  // namespace

ZipName SplitZipName(std::string_view name) {
  std::size_t slash = name.rfind('/');
  if (slash == std::string_view::npos) return {std::string(name), {}};
  std::string_view leaf = name.substr(slash + 1);
  if (slash + 1 == name.size()) {
    // Starts before the last two characters: the one before the final "/" always belongs to the leaf.
    slash = name.size() < 3 ? std::string_view::npos : name.rfind('/', name.size() - 3);
    if (slash == std::string_view::npos) return {std::string(name.substr(0, name.size() - 1)), {}};
    leaf = name.substr(slash + 1, name.size() - slash - 2);
  }
  return {std::string(leaf), std::string(name.substr(0, slash))};
}

std::string ZipRatio(std::int64_t packed, std::int64_t normal) {
  constexpr std::int64_t kMostExact = std::numeric_limits<std::int64_t>::max() / 200;
  if (normal == 0) return {};
  if (packed > kMostExact || normal > kMostExact)
    return ZipRatio(packed / 1024, std::max<std::int64_t>(1, normal / 1024));
  const std::int64_t hundredfold = packed * 100;
  std::int64_t share = hundredfold / normal;
  const std::int64_t twiceRest = hundredfold % normal * 2;
  if (twiceRest > normal || (twiceRest == normal && share % 2 != 0)) ++share;
  return std::to_string(100 - std::min(share, kMostPercent)) + "%";
}

ZipListing ListByFile(const std::vector<ZipEntry>& entries, const std::vector<std::string>& pictures) {
  ZipListing listing;
  listing.rows.reserve(entries.size());
  for (std::size_t i = 1; i < entries.size(); ++i) {
    Count(listing, entries[i]);
    if (entries[i].IsDirectory) continue;
    listing.rows.push_back(MakeRow(entries[i], pictures, SplitZipName(entries[i].Name)));
  }
  return listing;
}

ZipListing ListByFolder(const std::vector<ZipEntry>& entries, const std::vector<std::string>& pictures,
                        std::string_view folder) {
  ZipListing listing;
  for (std::size_t i = 1; i < entries.size(); ++i) {
    ZipName name = SplitZipName(entries[i].Name);
    if (name.folder != folder) continue;
    Count(listing, entries[i]);
    listing.rows.push_back(MakeRow(entries[i], pictures, std::move(name)));
  }
  return listing;
}

}  // namespace pellora
