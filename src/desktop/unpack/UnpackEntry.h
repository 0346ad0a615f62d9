// UnpackEntry: decodes one entry of a ZIP archive, whose packed bytes are read from one descriptor, into another one.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "desktop/unpack/Protocol.h"

namespace pellora {

struct PackedEntry {
  std::uint16_t method = 0;  // of packing, also for an entry that is encrypted by AES
  std::uint16_t flags = 0;
  std::uint16_t dosTime = 0;
  std::uint16_t dosDate = 0;
  std::uint32_t crc = 0;
  std::uint64_t packed = 0;
  std::uint64_t size = 0;
  std::string aes;       // data of extra field 0x9901; empty: none
  std::string password;  // empty: none
};

// Of a line without its line feed; nothing if it is none.
std::optional<PackedEntry> ParseOrder(std::string_view line);

// The local header that libarchive's streaming reader is given in place of the archive's own: with the directory's
// sizes, and without the flag that puts them after the data, which that reader cannot unpack in every method.
std::string LocalHeader(const PackedEntry& entry);

UnpackExit UnpackEntry(const PackedEntry& entry, int from, int to);

}  // namespace pellora
