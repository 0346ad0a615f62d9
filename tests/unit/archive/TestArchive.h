// TestArchive: archives of any shape, right and wrong, as bytes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace pellora {

inline std::string Little(std::uint64_t value, int length) {
  std::string bytes;
  for (int i = 0; i < length; ++i) bytes += static_cast<char>(value >> (8 * i) & 0xFFU);
  return bytes;
}

inline std::string ExtraField(std::uint16_t id, const std::string& data) {
  return Little(id, 2) + Little(data.size(), 2) + data;
}

struct TestEntry {
  std::string name;
  std::string data;  // packed bytes
  std::string localExtra = {};
  std::string extra = {};
  std::string comment = {};
  std::uint32_t size = 0;
  std::uint32_t crc = 0;
  std::uint16_t flags = 0;
  std::uint16_t method = 0;
  std::uint16_t madeBy = 0x031E;
  std::uint32_t attributes = 0100644U << 16U;
  std::int64_t offset = -1;  // stated; -1: where it lies
  std::uint32_t stated = 0;  // packed size; 0: that of `data`
  std::uint16_t date = 0x5A8C;
};

struct TestArchive {
  std::vector<TestEntry> entries;
  std::string before = {};   // bytes of something else, of which the offsets know nothing
  std::string padding = {};  // between data and directory
  std::string comment = {};
  std::string after = {};
  bool zip64 = false;       // with ZIP64 end record and locator
  bool fullFields = false;  // and the end record's own fields at their largest
  int promised = -1;        // number of entries stated; -1: theirs
  std::uint16_t disk = 0;

  std::vector<std::int64_t> offsets = {};  // in the file, once it was made
  std::int64_t directoryAt = 0;
  std::string directory = {};

  std::string Bytes() {
    std::string body;
    for (const TestEntry& entry : entries) {
      offsets.push_back(static_cast<std::int64_t>(before.size() + body.size()));
      body += "PK\3\4" + Little(20, 2) + Little(entry.flags, 2) + Little(entry.method, 2) + Little(0, 4) +
              Little(entry.crc, 4) + Little(entry.data.size(), 4) + Little(entry.size, 4) +
              Little(entry.name.size(), 2) + Little(entry.localExtra.size(), 2) + entry.name + entry.localExtra +
              entry.data;
    }
    body += padding;
    directory.clear();
    for (std::size_t i = 0; i < entries.size(); ++i) {
      const TestEntry& entry = entries[i];
      const auto offset = entry.offset < 0 ? offsets[i] - static_cast<std::int64_t>(before.size()) : entry.offset;
      directory += "PK\1\2" + Little(entry.madeBy, 2) + Little(20, 2) + Little(entry.flags, 2) +
                   Little(entry.method, 2) + Little(0x6000, 2) + Little(entry.date, 2) + Little(entry.crc, 4) +
                   Little(entry.stated != 0 ? entry.stated : entry.data.size(), 4) + Little(entry.size, 4) +
                   Little(entry.name.size(), 2) + Little(entry.extra.size(), 2) + Little(entry.comment.size(), 2) +
                   Little(0, 4) + Little(entry.attributes, 4) + Little(static_cast<std::uint64_t>(offset), 4) +
                   entry.name + entry.extra + entry.comment;
    }
    directoryAt = static_cast<std::int64_t>(before.size() + body.size());
    const std::uint64_t count = promised < 0 ? entries.size() : static_cast<std::uint64_t>(promised);
    std::string ends;
    if (zip64) {
      ends += "PK\6\6" + Little(44, 8) + Little(45, 2) + Little(45, 2) + Little(disk, 4) + Little(0, 4) +
              Little(count, 8) + Little(count, 8) + Little(directory.size(), 8) + Little(body.size(), 8);
      ends += "PK\6\7" + Little(0, 4) + Little(body.size() + directory.size(), 8) + Little(1, 4);
    }
    ends += "PK\5\6" + Little(disk, 2) + Little(0, 2) + Little(fullFields ? 0xFFFF : count, 2) +
            Little(fullFields ? 0xFFFF : count, 2) + Little(fullFields ? 0xFFFFFFFFU : directory.size(), 4) +
            Little(fullFields ? 0xFFFFFFFFU : body.size(), 4) + Little(comment.size(), 2) + comment;
    return before + body + directory + ends + after;
  }
};

}  // namespace pellora
