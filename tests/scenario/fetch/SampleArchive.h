// SampleArchive: an archive for downloads of chosen entries, and what an add says of them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "SimContent.h"
#include "SimPacking.h"
#include "core/Crc32.h"
#include "core/Selection.h"

namespace pellora {

struct SampleEntry {
  std::string name;
  std::string plain;
  bool packed = true;               // by deflate; else stored
  std::string password = {};        // that it is encrypted with
  std::size_t localExtra = 0;       // bytes of extra fields in its local header, which the directory does not have
  std::size_t expected = SIZE_MAX;  // bytes of these that the selection's range has room for
  bool aes = false;                 // it says of its encryption that it is AES, and has no CRC-32
};

class SampleArchive {
 public:
  void Add(const SampleEntry& entry) {
    const bool isFolder = entry.name.ends_with('/');
    SelectedEntry selected;
    selected.isFolder = isFolder;
    selected.rawName = entry.name;
    for (std::size_t at = 0; at < entry.name.size();) {
      const std::size_t slash = std::min(entry.name.find('/', at), entry.name.size());
      selected.path.push_back(entry.name.substr(at, slash - at));
      at = slash + 1;
    }
    const std::uint32_t crc = entry.aes ? 0 : Crc32(entry.plain);
    std::string data = entry.packed && !isFolder ? PackDeflate(entry.plain) : entry.plain;
    if (!entry.password.empty()) data = EncryptZip(data, entry.password, crc);
    PackedEntry& packed = selected.packed;
    packed.method = entry.packed && !isFolder ? 8 : 0;
    packed.flags = entry.password.empty() ? 0 : 1;
    packed.crc = crc;
    if (entry.aes) packed.aes = Little(2, 2) + "AE" + Little(3, 1) + Little(packed.method, 2);
    const int method = entry.aes ? 99 : packed.method;
    packed.packed = data.size();
    packed.size = entry.plain.size();
    selected.mode = isFolder ? 0755 : 0644;
    selected.modified = 1'700'000'000 + static_cast<std::int64_t>(all.size());
    const auto begin = static_cast<std::int64_t>(bytes.size());
    bytes += "PK\3\4" + Little(20, 2) + Little(packed.flags, 2) + Little(static_cast<std::uint64_t>(method), 2) +
             Little(0, 4) + Little(crc, 4) + Little(data.size(), 4) + Little(entry.plain.size(), 4) +
             Little(entry.name.size(), 2) + Little(entry.localExtra, 2) + entry.name +
             std::string(entry.localExtra, 'x') + data;
    const auto end = static_cast<std::int64_t>(bytes.size());
    const std::size_t lacks = entry.localExtra - std::min(entry.localExtra, entry.expected);
    selected.range = {begin, end - static_cast<std::int64_t>(lacks)};
    selected.reach = end;
    all.push_back(selected);
  }
  // What is no directory: a download of chosen entries reads none unless the archive has changed.
  void End() { bytes += std::string(5000, 'd'); }
  void EndWithDirectory() {
    std::string directory;
    for (const SelectedEntry& entry : all) {
      const PackedEntry& packed = entry.packed;
      const std::uint64_t mode = entry.isFolder ? 040755U : 0100644U;
      directory += "PK\1\2" + Little(0x031E, 2) + Little(20, 2) + Little(packed.flags, 2) + Little(packed.method, 2) +
                   Little(0, 4) + Little(packed.crc, 4) + Little(packed.packed, 4) + Little(packed.size, 4) +
                   Little(entry.rawName.size(), 2) + Little(0, 8) + Little(mode << 16U, 4) +
                   Little(static_cast<std::uint64_t>(entry.range.begin), 4) + entry.rawName;
    }
    const std::string counts = Little(all.size(), 2) + Little(all.size(), 2);
    const std::string places = Little(directory.size(), 4) + Little(bytes.size(), 4);
    bytes += directory + "PK\5\6" + Little(0, 4) + counts + places + Little(0, 2);
  }

  std::shared_ptr<Selection> Choose(const std::vector<std::size_t>& numbers, const std::string& folder) const {
    auto chosen = std::make_shared<Selection>();
    chosen->archive = "big.zip";
    chosen->folder = folder;
    chosen->facts.total = static_cast<std::int64_t>(bytes.size());
    for (const std::size_t number : numbers) chosen->entries.push_back(all.at(number));
    return chosen;
  }
  static std::string Little(std::uint64_t value, int length) {
    std::string little;
    for (int i = 0; i < length; ++i) little += static_cast<char>(value >> (8 * i) & 0xFFU);
    return little;
  }

  std::string bytes;
  std::vector<SelectedEntry> all;
};

}  // namespace pellora
