#include <algorithm>
#include <string>
#include <vector>

#include "Oracle.h"
#include "Targets.h"
#include "zipview/ZipListing.h"

namespace pellora {

namespace {

// The byte at `offset`, 0 after the end.
std::int64_t ByteAt(std::string_view text, std::size_t offset) {
  return offset < text.size() ? static_cast<unsigned char>(text[offset]) : 0;
}

std::int64_t Number(std::string_view text, std::size_t offset, int bytes) {
  std::int64_t value = 0;
  while (bytes-- > 0) value = value * 256 + ByteAt(text, offset + static_cast<std::size_t>(bytes));
  return value;
}

std::string Part(std::string_view text, std::size_t offset, std::size_t length) {
  std::string part;
  for (; length > 0 && offset < text.size(); --length) part += text[offset++];
  return part;
}

void DemandEntries(const std::vector<ZipEntry>& entries, std::string_view text, int count) {
  std::size_t offset = 0;
  for (int i = 1; i <= count; ++i) {
    const std::int64_t length = Number(text, offset + 28, 2);
    if (length > 32767) {
      count = i - 1;
      break;
    }
    Demand(entries.size() > static_cast<std::size_t>(i), "every record is an entry");
    const ZipEntry& entry = entries[static_cast<std::size_t>(i)];
    Demand(entry.NameLength == length && entry.Name == Part(text, offset + 46, entry.Name.size()) &&
               entry.RawRecord == Part(text, offset, 46 + static_cast<std::size_t>(length)),
           "a name follows the fixed part");
    Demand(entry.Name.size() == std::min<std::size_t>(static_cast<std::size_t>(length),
                                                      text.size() - std::min(text.size(), offset + 46)),
           "a name has the stated length, as far as there are bytes");
    Demand(entry.PackedSize == Number(text, offset + 20, 4) && entry.NormalSize == Number(text, offset + 24, 4) &&
               entry.LocalHeaderOffset == Number(text, offset + 42, 4) &&
               entry.CrcField == Number(text, offset + 15, 4),
           "the numbers are at their offsets");
    Demand(entry.Position == i && entry.IsDirectory == entry.Name.ends_with('/'), "entries are numbered from 1");
    offset += 46 + static_cast<std::size_t>(length);
  }
  Demand(entries.size() == static_cast<std::size_t>(count) + 1, "no entry comes from nowhere");
}

void DemandListing(const ZipListing& listing, const std::vector<ZipEntry>& entries) {
  Demand(listing.rows.size() < entries.size(), "a row is of an entry");
  Demand(listing.files >= static_cast<std::int32_t>(listing.rows.size()), "every row is counted");
  Demand(listing.normalTotal >= 0 && listing.packedTotal >= 0, "totals do not wrap");
  for (const ListRow& row : listing.rows) {
    Demand(row.subItems.size() == 4 && row.key.size() > 1, "a row is whole");
  }
}

void DemandListings(const std::vector<ZipEntry>& entries) {
  for (const ZipEntry& entry : entries) {
    const ZipName name = SplitZipName(entry.Name);
    Demand(name.leaf.size() + name.folder.size() <= entry.Name.size(), "a name's parts are no longer than it");
  }
  DemandListing(ListByFile(entries, {}), entries);
  DemandListing(ListByFolder(entries, {}, entries.size() > 1 ? SplitZipName(entries[1].Name).folder : ""), entries);
}

std::string Taken(const ZipReaders& readers, const std::vector<std::string_view>& blocks, std::size_t wanted) {
  std::string buffer;
  bool whole = false;
  for (const std::string_view block : blocks) {
    const bool done = readers.take(buffer, block, wanted);
    Demand(buffer.size() <= wanted && done == (buffer.size() == wanted) && (!whole || done),
           "no more is kept than was wanted");
    whole = done;
  }
  return buffer;
}

}  // namespace

void FuzzZip(std::string_view bytes, const ZipReaders& readers) {
  if (bytes.size() < 4) return;
  Choices choices(bytes);
  // Entries after the end of the text are all alike; a few hundred are enough.
  const auto count = static_cast<std::int16_t>(choices.Byte());
  choices.Byte();
  const std::size_t share = choices.Byte();
  const std::size_t wanted = choices.Byte() * std::size_t{16};
  const std::string_view reply = choices.Rest();
  const std::size_t cut = reply.size() * share / 255;

  const std::string buffer = Taken(readers, {reply.substr(0, cut), reply.substr(cut)}, wanted);
  // A block with this word counts as a header, and then the positions of block ends matter.
  if (LowerCase(reply).find("content-type") == std::string::npos) {
    Demand(buffer == Taken(readers, {reply}, wanted), "data is the same in one block and in two");
    Demand(buffer == reply.substr(0, wanted), "data is kept as it comes");
  }
  const ZipEndRecord end = ReadEndRecord(buffer);
  Demand(end.EntryCount == std::min<std::int64_t>(Number(buffer, 8, 2), 32767) &&
             end.DirectorySize == Number(buffer, 12, 4),
         "the numbers of the end record are at their offsets");

  for (const std::string_view text : {reply, std::string_view(buffer)}) {
    const AllocationMeter meter;
    const std::vector<ZipEntry> entries = readers.read(text, count);
    const std::uint64_t most =
        4 * text.size() + static_cast<std::uint64_t>(count + 1) * (sizeof(ZipEntry) + 256) + 1024;
    Demand(meter.Bytes() <= most, "a directory takes memory in proportion to its length");
    DemandEntries(entries, text, count);
    DemandListings(entries);
  }
}

}  // namespace pellora
