// ArchiveRows: the rows and totals that LookInside shows of an archive's entries. Pure functions.
//
// The key of a file's row is "e" and its entry's number, that of a folder's "d" and its path. A folder that only names
// of files show is listed too.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "archive/ArchiveIndex.h"
#include "ui/Controls.h"

namespace pellora {

struct ArchiveListing {
  std::vector<ListRow> rows;
  std::int64_t files = 0;
  std::int64_t size = 0;    // bytes unpacked
  std::int64_t packed = 0;  // bytes
};

// The remark on an entry that has this fault.
using RemarkOf = std::function<std::string(EntryFault fault)>;

// All files whose path fits the filter.
ArchiveListing ListFiles(const ArchiveIndex& index, std::string_view filter, const RemarkOf& remark);
// What is directly in `folder` ("" is the root): its folders, and files that fit the filter.
ArchiveListing ListFolder(const ArchiveIndex& index, std::string_view folder, std::string_view filter,
                          const RemarkOf& remark);

// The path of a folder's row; empty for a file's.
std::string_view FolderOfRow(const ListRow& row);
// The entries of these rows, ascending, with all that is in folders among them.
std::vector<std::size_t> EntriesOfRows(const ArchiveIndex& index, const std::vector<ListRow>& rows,
                                       const std::vector<std::size_t>& chosen);

}  // namespace pellora
