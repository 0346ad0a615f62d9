#include "zipview/ArchiveRows.h"

#include <charconv>
#include <set>
#include <unordered_set>
#include <utility>

#include "core/Numbers.h"
#include "ui/SystemHelpers.h"
#include "zipview/ZipListing.h"

namespace pellora {

namespace {

void AddFile(ArchiveListing& listing, const ArchiveIndex& index, std::size_t at, const ArchiveEntry& entry,
             const std::string& path, const RemarkOf& remark) {
  ++listing.files;
  listing.size = ClampedSum(listing.size, entry.size);
  listing.packed = ClampedSum(listing.packed, entry.packed);
  const std::size_t slash = path.rfind('/');
  ListRow row;
  row.key = "e" + std::to_string(at);
  row.text = path.substr(slash + 1);  // npos + 1 is 0
  row.icon = FileTypePicture(row.text);
  std::string why = remark(index.FaultOf(at));
  row.subItems.reserve(why.empty() ? 4 : 5);
  row.subItems.push_back(std::to_string(entry.packed));
  row.subItems.push_back(std::to_string(entry.size));
  row.subItems.push_back(ZipRatio(entry.packed, entry.size));
  row.subItems.push_back(slash == std::string::npos ? std::string() : path.substr(0, slash));
  if (!why.empty()) row.subItems.push_back(std::move(why));
  listing.rows.push_back(std::move(row));
}

ListRow FolderRow(const std::string& path, std::string_view leaf, std::string_view folder) {
  ListRow row;
  row.key = "d" + path;
  row.text = "+" + std::string(leaf);
  row.icon = "folder";
  row.subItems = {"DIR", "DIR", "", std::string(folder)};
  return row;
}

std::size_t NumberOf(const ListRow& row) {
  std::size_t number = 0;
  std::from_chars(row.key.data() + 1, row.key.data() + row.key.size(), number);
  return number;
}

// In one of the folders, at any depth, or one of them.
bool IsIn(const std::unordered_set<std::string>& folders, const std::string& path) {
  if (folders.contains(path)) return true;
  for (std::size_t slash = path.find('/'); slash != std::string::npos; slash = path.find('/', slash + 1)) {
    if (folders.contains(path.substr(0, slash))) return true;
  }
  return false;
}

}  // namespace

ArchiveListing ListFiles(const ArchiveIndex& index, std::string_view filter, const RemarkOf& remark) {
  ArchiveListing listing;
  for (std::size_t at = 0; at < index.Count(); ++at) {
    const ArchiveEntry entry = index.Entry(at);
    if (entry.kind == EntryKind::Folder) continue;
    const std::string path = index.NameOf(entry);
    if (FitsFilter(path, filter)) AddFile(listing, index, at, entry, path, remark);
  }
  return listing;
}

ArchiveListing ListFolder(const ArchiveIndex& index, std::string_view folder, std::string_view filter,
                          const RemarkOf& remark) {
  ArchiveListing listing;
  const std::string start = folder.empty() ? std::string() : std::string(folder) + "/";
  std::set<std::string, std::less<>> folders;
  for (std::size_t at = 0; at < index.Count(); ++at) {
    const ArchiveEntry entry = index.Entry(at);
    const std::string path = index.NameOf(entry);
    if (index.LeadsOut(entry, path)) {
      if (folder.empty() && entry.kind != EntryKind::Folder && FitsFilter(path, filter))
        AddFile(listing, index, at, entry, path, remark);
      continue;
    }
    if (!path.starts_with(start) || path.size() == start.size()) continue;
    const std::size_t slash = path.find('/', start.size());
    if (slash == std::string::npos && entry.kind != EntryKind::Folder) {
      if (FitsFilter(path, filter)) AddFile(listing, index, at, entry, path, remark);
    } else {
      folders.insert(path.substr(0, slash));
    }
  }
  for (const std::string& path : folders) {
    listing.rows.push_back(FolderRow(path, std::string_view(path).substr(start.size()), folder));
  }
  return listing;
}

std::string_view FolderOfRow(const ListRow& row) {
  return row.key.starts_with('d') ? std::string_view(row.key).substr(1) : std::string_view();
}

std::vector<std::size_t> EntriesOfRows(const ArchiveIndex& index, const std::vector<ListRow>& rows,
                                       const std::vector<std::size_t>& chosen) {
  std::unordered_set<std::string> folders;
  std::vector<bool> isChosen(index.Count(), false);
  for (const std::size_t at : chosen) {
    const ListRow& row = rows.at(at);
    if (row.key.starts_with('d')) {
      folders.emplace(FolderOfRow(row));
    } else if (const std::size_t number = NumberOf(row); number < isChosen.size()) {
      isChosen[number] = true;
    }
  }
  std::vector<std::size_t> entries;
  for (std::size_t at = 0; at < isChosen.size(); ++at) {
    if (isChosen[at] || (!folders.empty() && IsIn(folders, index.NameOf(index.Entry(at))))) entries.push_back(at);
  }
  return entries;
}

}  // namespace pellora
