#include <algorithm>
#include <string>
#include <vector>

#include "ArchiveOracle.h"
#include "Oracle.h"
#include "Targets.h"
#include "archive/ArchiveReader.h"
#include "archive/EntryNames.h"

namespace pellora {

namespace {

constexpr std::size_t kBefore = 200'000;  // more than the reader fetches at first
constexpr std::uint64_t kFull = 0xFFFFFFFFU;

std::uint64_t Number(std::string_view text, std::size_t offset, int bytes) {
  std::uint64_t value = 0;
  while (bytes-- > 0) {
    const std::size_t at = offset + static_cast<std::size_t>(bytes);
    value = value << 8U | (at < text.size() ? static_cast<unsigned char>(text[at]) : 0U);
  }
  return value;
}

std::optional<ArchiveDirectory> ReadArchive(std::string_view file) {
  const AllocationMeter meter;
  ArchiveReader reader(static_cast<std::int64_t>(file.size()));
  for (int requests = 1; reader.Wants(); ++requests) {
    const Range wants = *reader.Wants();
    Demand(requests <= 4, "an archive is read by four requests");
    Demand(wants.begin >= 0 && wants.begin < wants.end && wants.end <= static_cast<std::int64_t>(file.size()),
           "only bytes of the file are fetched");
    reader.Take(
        std::string(file.substr(static_cast<std::size_t>(wants.begin), static_cast<std::size_t>(wants.Length()))));
  }
  Demand((reader.Fault() == ArchiveFault::None) == reader.Directory().has_value(), "there is a directory or a fault");
  Demand(meter.Bytes() <= 20 * file.size() + (64U << 10U), "an archive takes memory in proportion to its length");
  return reader.Directory();
}

// What the ZIP64 field has for those fields of the record that are full, in their order; empty if it has not.
std::vector<std::uint64_t> Zip64Of(std::string_view extra, std::size_t wanted) {
  for (std::size_t at = 0; at + 4 <= extra.size(); at += 4 + Number(extra, at + 2, 2)) {
    if (Number(extra, at, 2) != 1) continue;
    std::vector<std::uint64_t> values;
    if (Number(extra, at + 2, 2) < 8 * wanted || at + 4 + 8 * wanted > extra.size()) return {};
    for (std::size_t i = 0; i < wanted; ++i) values.push_back(Number(extra, at + 4 + 8 * i, 8));
    const bool again = extra.find(std::string("\1\0", 2), at + 4 + Number(extra, at + 2, 2)) != std::string_view::npos;
    if (again) return {};
    return values;
  }
  return {};
}

void DemandSizes(const ArchiveEntry& entry, std::string_view record, std::string_view extra) {
  std::vector<std::pair<std::uint64_t, std::int64_t>> fields = {{Number(record, 24, 4), entry.size},
                                                                {Number(record, 20, 4), entry.packed}};
  const auto full = static_cast<std::size_t>(
      std::count_if(fields.begin(), fields.end(), [](const auto& field) { return field.first == kFull; }));
  const std::vector<std::uint64_t> values = Zip64Of(extra, full);
  std::size_t next = 0;
  for (const auto& [stated, read] : fields) {
    if (stated != kFull) {
      Demand(static_cast<std::uint64_t>(read) == stated, "sizes are at their offsets");
    } else if (!values.empty()) {
      const std::uint64_t value = values[next++];
      Demand(static_cast<std::uint64_t>(read) == std::min(value, std::uint64_t{INT64_MAX}),
             "full sizes are those of the ZIP64 field");
    }
  }
}

void DemandKind(const ArchiveEntry& entry, std::string_view record) {
  const std::uint64_t madeBy = Number(record, 5, 1);
  const std::uint64_t type = Number(record, 40, 2) & 0170000U;
  const bool unix = madeBy == 3 || madeBy == 19;
  const bool special = unix && type != 0 && type != 0100000U && type != 0040000U;
  Demand((entry.kind == EntryKind::Other) == special, "links and devices are neither files nor folders");
  Demand(!special || entry.obstacle != Obstacle::None, "links and devices are not unpacked");
  Demand((entry.mode & ~0777U) == 0, "no rights of other identities are taken");
}

void DemandPath(const ArchiveDirectory& directory, const ArchiveEntry& entry) {
  for (const CodePage page : {CodePage::Dos437, CodePage::Dos850, CodePage::Dos852}) {
    const std::string name = EntryName(entry, page);
    const auto path = EntryPath(name, directory.BackslashSeparates(entry));
    if (!path) continue;
    Demand(!path->empty(), "a path has a part");
    for (const std::string& part : *path) {
      const bool safe = !part.empty() && part != "." && part != ".." && part.find('/') == std::string::npos &&
                        part.size() <= 255 && part.find('\0') == std::string::npos;
      Demand(safe, "a path leads nowhere else");
    }
  }
}

void DemandEntries(const ArchiveDirectory& directory, std::string_view file, const ArchiveEntryReader& read) {
  auto at = static_cast<std::size_t>(directory.Begin());
  for (std::size_t i = 0; i < directory.Count(); ++i) {
    const std::string_view record = file.substr(at);
    Demand(record.starts_with("PK\1\2"), "every entry has a record");
    const std::size_t name = Number(record, 28, 2);
    const std::size_t extra = Number(record, 30, 2);
    const ArchiveEntry entry = read(directory, i);
    Demand(entry.rawName == record.substr(46, name), "a name follows the fixed part");
    Demand(entry.crc == Number(record, 16, 4) && entry.flags == Number(record, 8, 2),
           "sum and flags are at their offsets");
    DemandSizes(entry, record, record.substr(46 + name, extra));
    DemandKind(entry, record);
    DemandPath(directory, entry);
    at += 46 + name + extra + Number(record, 32, 2);
  }
}

void DemandLayout(const ArchiveDirectory& directory, const ArchiveRangeReader& rangeOf) {
  const EntryLayout layout(directory);
  std::vector<Range> largest;
  std::vector<Range> wanted;
  for (std::size_t i = 0; i < directory.Count(); ++i) {
    if (!layout.IsSound(i)) continue;
    const ArchiveEntry entry = directory.Entry(i);
    const Range all = layout.LargestRangeOf(i);
    const Range likely = rangeOf(layout, i);
    Demand(all.begin >= 0 && all.end <= directory.Begin(), "entries lie before the directory");
    Demand(likely.begin == all.begin && likely.end <= all.end, "no more is fetched than belongs to an entry");
    Demand(likely.Length() >= 30 + static_cast<std::int64_t>(entry.rawName.size()) + entry.packed,
           "what is fetched holds the entry");
    largest.push_back(all);
    wanted.push_back(likely);
  }
  std::sort(largest.begin(), largest.end(), [](const Range& a, const Range& b) { return a.begin < b.begin; });
  for (std::size_t i = 1; i < largest.size(); ++i) {
    Demand(largest[i - 1].end <= largest[i].begin, "sound entries lie apart");
  }
  const IntervalSet needed(wanted);
  IntervalSet fetched;
  for (const Range& request : RequestsFor(wanted)) {
    Demand(fetched.Add(request) == std::vector<Range>{request}, "nothing is fetched twice");
  }
  for (const Range& range : wanted) Demand(fetched.HoldsAll(range), "all that is wanted is fetched");
  Demand(fetched.Bytes() <= needed.Bytes() + needed.Bytes() / 100, "gaps cost a hundredth at most");
}

}  // namespace

void FuzzArchive(std::string_view bytes, const ArchiveReaders& readers) {
  Choices choices(bytes);
  std::string file;
  // As a program that unpacks itself has it.
  if (choices.Byte() % 2 == 1) file.assign(kBefore, 'x');
  file += choices.Rest();
  const std::optional<ArchiveDirectory> directory = ReadArchive(file);
  if (!directory) return;
  DemandEntries(*directory, file, readers.entry);
  DemandLayout(*directory, readers.range);
  DemandLikeLibarchive(*directory, file, readers.entry);
}

}  // namespace pellora
