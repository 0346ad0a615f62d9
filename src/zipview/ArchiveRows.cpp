#include "zipview/ArchiveRows.h"

#include <algorithm>
#include <cstddef>
#include <set>
#include <string>
#include <unordered_set>
#include <utility>

#include "core/Numbers.h"
#include "ui/SystemHelpers.h"
#include "zipview/ZipListing.h"

namespace pellora {

namespace {

enum Column : int { kName, kPacked, kSize, kRatio, kPath, kRemark, kColumns };

// Without the last part.
std::string Above(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

std::string LastPart(const std::string& path) { return path.substr(path.rfind('/') + 1); }  // npos + 1 is 0

class ChosenFolders {
 public:
  void Add(std::string_view folder) {
    depths_.insert(std::count(folder.begin(), folder.end(), '/'));
    folders_.emplace(folder);
  }
  bool IsEmpty() const { return folders_.empty(); }
  // In one of them, at any depth, or one of them. A path may be in 30,000 folders: few depths are looked at.
  bool Hold(const std::string& path) const {
    std::ptrdiff_t depth = 0;
    for (std::size_t slash = path.find('/'); slash != std::string::npos; slash = path.find('/', slash + 1)) {
      if (depths_.contains(depth++) && folders_.contains(path.substr(0, slash))) return true;
    }
    return folders_.contains(path);
  }

 private:
  std::unordered_set<std::string> folders_;
  std::set<std::ptrdiff_t> depths_;  // how many "/" they have: those of one list have the same number
};

}  // namespace

ArchiveRows::ArchiveRows(std::shared_ptr<const ArchiveIndex> index, const RemarkOf& remark) : index_(std::move(index)) {
  for (std::size_t fault = 0; fault < remarks_.size(); ++fault)
    remarks_[fault] = remark(static_cast<EntryFault>(fault));
}

std::shared_ptr<const ArchiveRows> ArchiveRows::OfFiles(std::shared_ptr<const ArchiveIndex> index,
                                                        std::string_view filter, const RemarkOf& remark) {
  const std::shared_ptr<ArchiveRows> rows(new ArchiveRows(std::move(index), remark));
  for (std::size_t at = 0; at < rows->index_->Count(); ++at) {
    const ArchiveEntry entry = rows->index_->Entry(at);
    if (entry.kind == EntryKind::Folder) continue;
    if (filter.empty() || FitsFilter(rows->index_->NameOf(entry), filter)) rows->AddFile(at, entry);
  }
  return rows;
}

std::shared_ptr<const ArchiveRows> ArchiveRows::OfFolder(std::shared_ptr<const ArchiveIndex> index,
                                                         std::string_view folder, std::string_view filter,
                                                         const RemarkOf& remark) {
  const std::shared_ptr<ArchiveRows> rows(new ArchiveRows(std::move(index), remark));
  const std::string start = folder.empty() ? std::string() : std::string(folder) + "/";
  std::set<std::string, std::less<>> folders;
  for (std::size_t at = 0; at < rows->index_->Count(); ++at) {
    const ArchiveEntry entry = rows->index_->Entry(at);
    const std::string path = rows->index_->NameOf(entry);
    if (rows->index_->IsOutside(entry, path)) {
      if (folder.empty() && entry.kind != EntryKind::Folder && FitsFilter(path, filter)) rows->AddFile(at, entry);
      continue;
    }
    const bool isWhole = entry.kind == EntryKind::Folder && path == ".";  // not a folder in it
    if (!path.starts_with(start) || path.size() == start.size() || isWhole) continue;
    const std::size_t slash = path.find('/', start.size());
    if (slash == std::string::npos && entry.kind != EntryKind::Folder) {
      if (FitsFilter(path, filter)) rows->AddFile(at, entry);
    } else {
      folders.insert(path.substr(0, slash));
    }
  }
  rows->folders_.assign(folders.begin(), folders.end());
  return rows;
}

void ArchiveRows::AddFile(std::size_t at, const ArchiveEntry& entry) {
  entries_.push_back(static_cast<std::uint32_t>(at));
  size_ = ClampedSum(size_, entry.size);
  packed_ = ClampedSum(packed_, entry.packed);
}

std::string ArchiveRows::TextOfFile(std::size_t at, const ArchiveEntry& entry, int column) const {
  switch (column) {
    case kName:
      return LastPart(index_->NameOf(entry));
    case kPacked:
      return std::to_string(entry.packed);
    case kSize:
      return std::to_string(entry.size);
    case kRatio:
      return ZipRatio(entry.packed, entry.size);
    case kPath:
      return Above(index_->NameOf(entry));
    case kRemark:
      return remarks_.at(static_cast<std::size_t>(index_->FaultOf(at)));
    default:
      return {};
  }
}

std::string ArchiveRows::TextOfFolder(const std::string& path, int column) const {
  switch (column) {
    case kName:
      return "+" + LastPart(path);
    case kPacked:
    case kSize:
      return "DIR";
    case kPath:
      return Above(path);
    default:
      return {};
  }
}

std::string ArchiveRows::Text(std::size_t number, int column) const {
  if (number >= entries_.size()) return TextOfFolder(folders_.at(number - entries_.size()), column);
  const std::size_t at = entries_[number];
  return TextOfFile(at, index_->Entry(at), column);
}

ListRow ArchiveRows::Row(std::size_t number) const {
  ListRow row;
  row.text = Text(number, kName);
  const bool isFolder = number >= entries_.size();
  row.key = isFolder ? "d" + FolderOf(number) : "e" + std::to_string(entries_[number]);
  row.icon = isFolder ? "folder" : FileTypePicture(row.text);
  for (int column = kName + 1; column < kColumns; ++column) row.subItems.push_back(Text(number, column));
  return row;
}

std::string ArchiveRows::FolderOf(std::size_t number) const {
  return number < entries_.size() ? std::string() : folders_.at(number - entries_.size());
}

std::vector<std::size_t> ArchiveRows::EntriesOf(const std::vector<std::size_t>& numbers) const {
  ChosenFolders folders;
  std::vector<bool> isChosen(index_->Count(), false);
  for (const std::size_t number : numbers) {
    if (number < entries_.size()) {
      isChosen[entries_[number]] = true;
    } else {
      folders.Add(FolderOf(number));
    }
  }
  std::vector<std::size_t> entries;
  for (std::size_t at = 0; at < isChosen.size(); ++at) {
    if (isChosen[at] || (!folders.IsEmpty() && folders.Hold(index_->NameOf(index_->Entry(at))))) entries.push_back(at);
  }
  return entries;
}

}  // namespace pellora
