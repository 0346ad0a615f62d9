// ArchiveIndex: the entries of an archive as a user sees them: names, what keeps one from being unpacked, and the
// selection that a choice of entries makes. Entries are numbers from 0.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "archive/EntryLayout.h"
#include "archive/EntryNames.h"
#include "archive/RemoteArchives.h"
#include "core/Selection.h"

namespace pellora {

// Why an entry cannot be unpacked.
enum class EntryFault : std::uint8_t {
  None,
  Password,    // can be, with its password
  Encryption,  // as Obstacle has them
  Method,
  Kind,
  Name,     // leads out of the folder
  BadName,  // no file can have it
  Place,    // lies outside of the file, or where another entry lies
};
inline constexpr std::size_t kEntryFaults = 7;

class ArchiveIndex {
 public:
  ArchiveIndex(std::shared_ptr<const ArchiveContents> contents, CodePage page);

  const ArchiveContents& Contents() const { return *contents_; }
  std::size_t Count() const { return contents_->directory.Count(); }
  ArchiveEntry Entry(std::size_t at) const { return contents_->directory.Entry(at); }
  // In UTF-8 with "/" between its parts, without "." among them; without "/" at the end, which folders have. What leads
  // out of the folder is as it is.
  std::string NameOf(const ArchiveEntry& entry) const;
  // It leads out of the folder that is unpacked into: such an entry is in no folder of the archive.
  bool IsOutside(const ArchiveEntry& entry, std::string_view name) const;
  EntryFault FaultOf(std::size_t at) const;
  // Bytes to be fetched for it; 0 for folders and what cannot be unpacked.
  std::int64_t BytesToFetch(std::size_t at) const;

  // All entries whose name fits one of the patterns; a pattern that fits a folder, which need not have an entry, takes
  // all in it. `*` fits any text, also with "/", and `?` any character.
  std::vector<std::size_t> Matching(std::span<const std::string> patterns) const;
  // Nothing if its name leads out of the folder. It must be sound, or a folder.
  std::optional<SelectedEntry> Selected(std::size_t at) const;
  // Of entries that can be unpacked. Without `withFolders` all files come into one folder.
  Selection Select(std::span<const std::size_t> chosen, bool withFolders) const;

 private:
  std::shared_ptr<const ArchiveContents> contents_;
  CodePage page_;
  EntryLayout layout_;
};

// `*` fits any text and `?` one character of UTF-8. ASCII letters fit in any case if `anyCase`.
bool FitsPattern(std::string_view name, std::string_view pattern, bool anyCase);

// What the user types above a list: a pattern with `*` or `?` is for the whole of the last part of a path, or, if it
// has a "/", of the path; any other text for a part of the path. In any case.
bool FitsFilter(std::string_view path, std::string_view filter);

}  // namespace pellora
