// ArchiveRows: the rows and totals that LookInside shows of an archive's entries, made when they are drawn.
//
// The key of a file's row is "e" and its entry's number, that of a folder's "d" and its path. A folder that only names
// of files show is listed too.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "archive/ArchiveIndex.h"
#include "ui/Controls.h"

namespace pellora {

// The remark on an entry that has this fault.
using RemarkOf = std::function<std::string(EntryFault fault)>;

class ArchiveRows final : public RowSource {
 public:
  // All files whose path fits the filter.
  static std::shared_ptr<const ArchiveRows> OfFiles(std::shared_ptr<const ArchiveIndex> index, std::string_view filter,
                                                    const RemarkOf& remark);
  // What is directly in `folder` ("" is the root): its folders, and files that fit the filter.
  static std::shared_ptr<const ArchiveRows> OfFolder(std::shared_ptr<const ArchiveIndex> index, std::string_view folder,
                                                     std::string_view filter, const RemarkOf& remark);

  std::size_t Count() const override { return entries_.size() + folders_.size(); }
  ListRow Row(std::size_t number) const override;
  std::string Text(std::size_t number, int column) const override;

  std::size_t Files() const { return entries_.size(); }
  std::int64_t Size() const { return size_; }      // bytes unpacked, of the files
  std::int64_t Packed() const { return packed_; }  // bytes, of the files

  // The path of a folder's row; empty for a file's.
  std::string FolderOf(std::size_t number) const;
  // The entries of these rows, ascending, with all that is in folders among them.
  std::vector<std::size_t> EntriesOf(const std::vector<std::size_t>& numbers) const;

 private:
  ArchiveRows(std::shared_ptr<const ArchiveIndex> index, const RemarkOf& remark);
  void AddFile(std::size_t at, const ArchiveEntry& entry);
  std::string TextOfFile(std::size_t at, const ArchiveEntry& entry, int column) const;
  std::string TextOfFolder(const std::string& path, int column) const;

  const std::shared_ptr<const ArchiveIndex> index_;
  std::array<std::string, kEntryFaults> remarks_;
  std::vector<std::uint32_t> entries_;  // of the files; their rows come first
  std::vector<std::string> folders_;    // paths
  std::int64_t size_ = 0;
  std::int64_t packed_ = 0;
};

}  // namespace pellora
