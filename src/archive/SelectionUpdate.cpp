#include "archive/SelectionUpdate.h"

#include <algorithm>
#include <deque>
#include <map>
#include <optional>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

namespace pellora {

namespace {

using Traits = std::tuple<std::string_view, std::uint64_t, std::uint64_t, std::uint32_t>;

Traits TraitsOfEntry(const SelectedEntry& entry) {
  return {entry.rawName, entry.packed.packed, entry.packed.size, entry.packed.crc};
}

Traits TraitsOfEntry(const ArchiveEntry& entry) {
  return {entry.rawName, static_cast<std::uint64_t>(entry.packed), static_cast<std::uint64_t>(entry.size), entry.crc};
}

bool Holds(const IntervalSet& numbers, std::size_t number) { return numbers.Holds(static_cast<std::int64_t>(number)); }

void AddNumber(IntervalSet& numbers, std::size_t number) {
  numbers.Add({static_cast<std::int64_t>(number), static_cast<std::int64_t>(number) + 1});
}

// Of several files with the same traits those that are still to be unpacked come first.
std::map<Traits, std::deque<std::size_t>> FilesByTraits(const Selection& chosen, const IntervalSet& unpacked) {
  std::map<Traits, std::deque<std::size_t>> files;
  for (const bool done : {false, true}) {
    for (std::size_t i = 0; i < chosen.entries.size(); ++i) {
      const SelectedEntry& entry = chosen.entries[i];
      if (!entry.isFolder && Holds(unpacked, i) == done) files[TraitsOfEntry(entry)].push_back(i);
    }
  }
  return files;
}

// Each chosen file's entry in the new version, without its path.
std::vector<std::optional<SelectedEntry>> FindFiles(const Selection& chosen, const IntervalSet& unpacked,
                                                    const ArchiveIndex& archive) {
  std::map<Traits, std::deque<std::size_t>> wanted = FilesByTraits(chosen, unpacked);
  std::vector<std::optional<SelectedEntry>> found(chosen.entries.size());
  for (std::size_t at = 0; at < archive.Count(); ++at) {
    const ArchiveEntry entry = archive.Entry(at);
    if (entry.kind != EntryKind::File) continue;
    const auto numbers = wanted.find(TraitsOfEntry(entry));
    if (numbers == wanted.end() || numbers->second.empty()) continue;
    const EntryFault fault = archive.FaultOf(at);
    if (fault != EntryFault::None && fault != EntryFault::Password) continue;
    found[numbers->second.front()] = archive.Selected(at);
    numbers->second.pop_front();
  }
  return found;
}

SelectedEntry AtItsPath(SelectedEntry entry, const SelectedEntry& former) {
  entry.path = former.path;
  return entry;
}

SelectedEntry WithoutPlace(SelectedEntry entry) {
  entry.range = {};
  entry.reach = 0;
  return entry;
}

}  // namespace

SelectionUpdate UpdateSelection(const Selection& chosen, const IntervalSet& unpacked, const IntervalSet& begun,
                                const ArchiveIndex& archive) {
  SelectionUpdate update;
  std::vector<std::optional<SelectedEntry>> found = FindFiles(chosen, unpacked, archive);
  std::vector<std::pair<SelectedEntry, std::size_t>> kept;  // with their former numbers
  for (std::size_t i = 0; i < found.size(); ++i) {
    const SelectedEntry& former = chosen.entries[i];
    const bool isOpen = !former.isFolder && !Holds(unpacked, i);
    if (found[i]) {
      kept.emplace_back(AtItsPath(std::move(*found[i]), former), i);
      update.missing += isOpen ? 1 : 0;
    } else if (isOpen) {
      ++update.lost;
    } else {
      kept.emplace_back(WithoutPlace(former), i);
    }
  }
  std::stable_sort(kept.begin(), kept.end(), [](const auto& a, const auto& b) { return LiesBefore(a.first, b.first); });
  update.selection.archive = chosen.archive;
  update.selection.folder = chosen.folder;
  update.selection.existing = chosen.existing;
  update.selection.facts = archive.Contents().facts;
  for (auto& [entry, number] : kept) {
    if (Holds(unpacked, number)) AddNumber(update.unpacked, update.selection.entries.size());
    if (Holds(begun, number)) AddNumber(update.begun, update.selection.entries.size());
    update.selection.entries.push_back(std::move(entry));
  }
  return update;
}

}  // namespace pellora
