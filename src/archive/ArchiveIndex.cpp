#include "archive/ArchiveIndex.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "core/Ascii.h"

namespace pellora {

namespace {

bool IsContinuation(char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80; }

std::size_t AfterCharacter(std::string_view text, std::size_t at) {
  ++at;
  while (at < text.size() && IsContinuation(text[at])) ++at;
  return at;
}

bool HasWildcard(std::string_view pattern) { return pattern.find_first_of("*?") != std::string_view::npos; }

std::string_view LastPart(std::string_view path) { return path.substr(path.rfind('/') + 1); }  // npos + 1 is 0

bool ContainsNoCase(std::string_view text, std::string_view part) {
  const auto equal = [](char a, char b) { return ToLower(a) == ToLower(b); };
  return std::search(text.begin(), text.end(), part.begin(), part.end(), equal) != text.end();
}

// It has parts that no path on the disk will have.
bool IsUntidy(std::string_view name) {
  return name.starts_with("./") || name.find("/./") != std::string_view::npos ||
         name.find("//") != std::string_view::npos || name.ends_with("/.");
}

std::string Joined(const std::vector<std::string>& parts) {
  std::string path;
  for (const std::string& part : parts) path.append(path.empty() ? "" : "/").append(part);
  return path;
}

// The entry itself, or a folder that it is in. No folder is looked at alone: a name may have 30,000 of them.
bool FitsWithFolders(std::string_view name, std::string_view pattern) {
  return FitsPattern(name, pattern, false) || FitsPattern(name, std::string(pattern) + "/*", false);
}

EntryFault FaultOfObstacle(Obstacle obstacle) {
  switch (obstacle) {
    case Obstacle::Password:
      return EntryFault::Password;
    case Obstacle::Encryption:
      return EntryFault::Encryption;
    case Obstacle::Method:
      return EntryFault::Method;
    case Obstacle::Kind:
      return EntryFault::Kind;
    default:
      return EntryFault::None;
  }
}

}  // namespace

ArchiveIndex::ArchiveIndex(std::shared_ptr<const ArchiveContents> contents, CodePage page)
    : contents_(std::move(contents)), page_(page), layout_(contents_->directory) {}

std::string ArchiveIndex::NameOf(const ArchiveEntry& entry) const {
  std::string name = EntryName(entry, page_);
  if (contents_->directory.BackslashSeparates(entry)) std::replace(name.begin(), name.end(), '\\', '/');
  if (IsUntidy(name)) {
    const std::optional<std::vector<std::string>> parts = EntryPath(name, false);
    if (parts) return Joined(*parts);
  }
  while (name.size() > 1 && name.ends_with('/')) name.pop_back();
  return name;
}

bool ArchiveIndex::IsOutside(const ArchiveEntry& entry, std::string_view name) const {
  if (!name.starts_with('/') && name.find("..") == std::string_view::npos) return false;
  return LeadsOut(EntryName(entry, page_), contents_->directory.BackslashSeparates(entry));
}

EntryFault ArchiveIndex::FaultOf(std::size_t at) const {
  const ArchiveEntry entry = Entry(at);
  const EntryFault fault = FaultOfObstacle(entry.obstacle);
  if (fault != EntryFault::None && fault != EntryFault::Password) return fault;
  const bool hasBytes = entry.kind != EntryKind::Folder;
  const bool separates = contents_->directory.BackslashSeparates(entry);
  const std::string name = EntryName(entry, page_);
  if (!EntryPath(name, separates)) {
    if (!hasBytes && IsWholeFolder(name, separates)) return EntryFault::None;
    return LeadsOut(name, separates) ? EntryFault::Name : EntryFault::BadName;
  }
  return hasBytes && !layout_.IsSound(at) ? EntryFault::Place : fault;
}

std::int64_t ArchiveIndex::BytesToFetch(std::size_t at) const {
  const ArchiveEntry entry = Entry(at);
  const bool unpacks = entry.obstacle == Obstacle::None || entry.obstacle == Obstacle::Password;
  return entry.kind == EntryKind::File && unpacks && layout_.IsSound(at) ? layout_.RangeOf(at).Length() : 0;
}

std::vector<std::size_t> ArchiveIndex::Matching(std::span<const std::string> patterns) const {
  std::vector<std::size_t> matching;
  for (std::size_t at = 0; at < Count(); ++at) {
    const std::string name = NameOf(Entry(at));
    const bool fits = std::any_of(patterns.begin(), patterns.end(), [&](std::string_view pattern) {
      while (pattern.size() > 1 && pattern.ends_with('/')) pattern.remove_suffix(1);
      return FitsWithFolders(name, pattern);
    });
    if (fits) matching.push_back(at);
  }
  return matching;
}

std::optional<SelectedEntry> ArchiveIndex::Selected(std::size_t at) const {
  const ArchiveEntry entry = Entry(at);
  std::optional<std::vector<std::string>> path =
      EntryPath(EntryName(entry, page_), contents_->directory.BackslashSeparates(entry));
  if (!path) return std::nullopt;
  SelectedEntry selected;
  selected.path = std::move(*path);
  selected.rawName = entry.rawName;
  selected.packed = {entry.method,
                     entry.flags,
                     entry.dosTime,
                     entry.dosDate,
                     entry.crc,
                     static_cast<std::uint64_t>(entry.packed),
                     static_cast<std::uint64_t>(entry.size),
                     std::string(entry.aes),
                     {}};
  selected.modified = entry.modified;
  selected.mode = entry.mode;
  selected.isFolder = entry.kind == EntryKind::Folder;
  if (selected.isFolder) return selected;
  selected.range = layout_.RangeOf(at);
  selected.reach = layout_.LargestRangeOf(at).end;
  return selected;
}

Selection ArchiveIndex::Select(std::span<const std::size_t> chosen, bool withFolders) const {
  Selection selection;
  selection.archive = contents_->name;
  selection.facts = contents_->facts;
  for (const std::size_t at : chosen) {
    std::optional<SelectedEntry> entry = Selected(at);
    if (!entry || (entry->isFolder && !withFolders)) continue;
    if (!withFolders) entry->path.erase(entry->path.begin(), entry->path.end() - 1);
    selection.entries.push_back(std::move(*entry));
  }
  std::stable_sort(selection.entries.begin(), selection.entries.end(), LiesBefore);
  return selection;
}

// Goes back to the last `*` alone, so the time is at most the product of both lengths.
bool FitsPattern(std::string_view name, std::string_view pattern, bool anyCase) {
  std::size_t at = 0;
  std::size_t next = 0;
  std::optional<std::size_t> star;  // in the pattern, after it
  std::size_t starAt = 0;           // in the name
  while (at < name.size()) {
    const bool one = next < pattern.size() && pattern[next] == '?';
    if (next < pattern.size() && pattern[next] == '*') {
      star = ++next;
      starAt = at;
    } else if (one) {
      at = AfterCharacter(name, at);
      ++next;
    } else if (next < pattern.size() &&
               (anyCase ? ToLower(pattern[next]) == ToLower(name[at]) : pattern[next] == name[at])) {
      ++at;
      ++next;
    } else if (star) {
      at = starAt = AfterCharacter(name, starAt);
      next = *star;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', next) == std::string_view::npos;
}

bool FitsFilter(std::string_view path, std::string_view filter) {
  if (!HasWildcard(filter)) return ContainsNoCase(path, filter);
  const bool ofPath = filter.find('/') != std::string_view::npos;
  return FitsPattern(ofPath ? path : LastPart(path), filter, true);
}

}  // namespace pellora
