#include "ArchiveOracle.h"

#include <archive.h>
#include <archive_entry.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Oracle.h"

namespace pellora {

namespace {

using Listed = std::vector<std::pair<std::string, std::int64_t>>;

// Nothing if it warns of anything.
std::optional<Listed> ListedByLibarchive(std::string_view file) {
  const std::unique_ptr<archive, decltype(&archive_read_free)> reader(archive_read_new(), &archive_read_free);
  archive_read_support_format_zip_seekable(reader.get());
  archive_read_set_format_option(reader.get(), "zip", "mac-ext", nullptr);
  if (archive_read_open_memory(reader.get(), file.data(), file.size()) != ARCHIVE_OK) return {};
  Listed listed;
  while (true) {
    archive_entry* head = nullptr;
    const int result = archive_read_next_header(reader.get(), &head);
    if (result == ARCHIVE_EOF) break;
    const char* const name = result == ARCHIVE_OK ? archive_entry_pathname(head) : nullptr;
    if (name == nullptr || archive_entry_size_is_set(head) == 0) return {};
    listed.emplace_back(name, archive_entry_size(head));
  }
  std::sort(listed.begin(), listed.end());
  return listed;
}

bool IsPlain(std::string_view name) {
  return !name.empty() &&
         std::all_of(name.begin(), name.end(), [](char c) { return c > ' ' && c < '\x7F' && c != '\\'; });
}

// One end record right after the directory, and in that only files at places of their own, with names and sizes that
// nothing else says.
bool IsUnambiguous(const ArchiveDirectory& directory, std::string_view file) {
  if (file.find("PK\5\6") != file.rfind("PK\5\6")) return false;
  if (file.find("PK\6\6") != std::string_view::npos || file.find("PK\6\7") != std::string_view::npos) return false;
  const EntryLayout layout(directory);
  auto at = static_cast<std::size_t>(directory.Begin());
  for (std::size_t i = 0; i < directory.Count(); ++i) {
    const ArchiveEntry entry = directory.Entry(i);
    const bool plain = layout.IsSound(i) && entry.kind == EntryKind::File && entry.extraLength == 0 &&
                       entry.flags == 0 && IsPlain(entry.rawName);
    if (!plain) return false;
    const std::string_view local = file.substr(static_cast<std::size_t>(entry.offset));
    const std::string_view record(entry.rawName.data() - 46, 46);
    // Both records have the same fields from the version to the lengths of name and extra fields.
    const bool agrees = local.starts_with("PK\3\4") && local.substr(4, 26) == record.substr(6, 26) &&
                        local.substr(30, entry.rawName.size()) == entry.rawName;
    if (!agrees) return false;
    at += 46 + entry.rawName.size() + static_cast<unsigned char>(record[32]) +
          256U * static_cast<unsigned char>(record[33]);
  }
  return file.substr(at).starts_with("PK\5\6");
}

}  // namespace

void DemandLikeLibarchive(const ArchiveDirectory& directory, std::string_view file, const ArchiveEntryReader& read) {
  if (!IsUnambiguous(directory, file)) return;
  const std::optional<Listed> listed = ListedByLibarchive(file);
  if (!listed) return;
  Listed own;
  for (std::size_t i = 0; i < directory.Count(); ++i) {
    const ArchiveEntry entry = read(directory, i);
    own.emplace_back(entry.rawName, entry.size);
  }
  std::sort(own.begin(), own.end());
  Demand(own == *listed, "libarchive finds the same names and sizes");
}

}  // namespace pellora
