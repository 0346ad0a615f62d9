#include "FuzzZip.h"

#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "zipview/ZipDirectory.h"
#include "zipview/ZipListing.h"
#include "zipview/ZipTransfer.h"

namespace pellora {

namespace {

void Demand(bool holds) {
  if (!holds) std::abort();
}

void CheckListing(const ZipListing& listing, const std::vector<ZipEntry>& entries) {
  Demand(listing.rows.size() < entries.size());
  Demand(listing.files >= static_cast<std::int32_t>(listing.rows.size()));
  Demand(listing.normalTotal >= 0 && listing.packedTotal >= 0);
  for (const ListRow& row : listing.rows) Demand(row.subItems.size() == 4 && row.key.size() > 1);
}

}  // namespace

void FuzzZip(const std::uint8_t* data, std::size_t size) {
  if (size < 4) return;
  // Entries behind the end of the text are all alike; a few hundred are enough.
  const auto count = static_cast<std::int16_t>((data[0] | data[1] << 8) & 0xff);
  const std::string_view reply(reinterpret_cast<const char*>(data) + 4, size - 4);
  const std::size_t cut = reply.size() * data[2] / 255;
  const std::size_t wanted = static_cast<std::size_t>(data[3]) * 16;

  std::string buffer;
  const bool first = TakeZipBlock(buffer, reply.substr(0, cut), wanted);
  const bool second = TakeZipBlock(buffer, reply.substr(cut), wanted);
  Demand(buffer.size() <= wanted && second == (buffer.size() == wanted) && (!first || second));
  const ZipEndRecord end = ReadEndRecord(buffer);
  Demand(end.EntryCount >= 0 && end.DirectorySize >= 0 && end.DirectorySize <= 0xffffffffLL);

  for (const std::string_view text : {reply, std::string_view(buffer)}) {
    const std::vector<ZipEntry> entries = ReadDirectory(text, count);
    Demand(!entries.empty() && entries.size() <= static_cast<std::size_t>(count) + 1);
    std::size_t raw = 0;
    for (const ZipEntry& entry : entries) {
      raw += entry.RawRecord.size();
      Demand(entry.NameLength >= 0 && entry.Name.size() <= static_cast<std::size_t>(entry.NameLength));
      const ZipName name = SplitZipName(entry.Name);
      Demand(name.leaf.size() + name.folder.size() <= entry.Name.size());
    }
    Demand(raw <= text.size());
    CheckListing(ListByFile(entries, {}), entries);
    CheckListing(ListByFolder(entries, {}, entries.size() > 1 ? SplitZipName(entries[1].Name).folder : ""), entries);
  }
}

}  // namespace pellora
