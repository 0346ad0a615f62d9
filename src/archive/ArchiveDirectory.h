// ArchiveDirectory: the central directory of a ZIP archive (APPNOTE.TXT 6.3.10, section 4.3.12), read from its bytes.
//
// It keeps the bytes and four more for each entry; an entry is read when it is asked for. Safe for any bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "archive/ArchiveEnd.h"

namespace pellora {

// Beyond these a directory is refused.
inline constexpr std::int64_t kLargestDirectory = std::int64_t{256} << 20;  // bytes
inline constexpr std::int64_t kMostEntries = 2'000'000;

enum class EntryKind : std::uint8_t {
  File,
  Folder,
  Other,  // a link, a device, ...: never unpacked
};

// Why an entry cannot be unpacked.
enum class Obstacle : std::uint8_t {
  None,
  Password,    // can be, with its password
  Encryption,  // of a kind, or of a packing method, that nothing here decrypts
  Method,      // packed in a way that nothing here unpacks
  Kind,        // no file and no folder
};

struct ArchiveEntry {
  std::string_view rawName;          // as it is in the archive, in an unknown coding; of the directory's text
  std::string_view unicodeName;      // of an extra field; empty: none
  std::uint32_t unicodeNameCrc = 0;  // CRC-32 of the name that the field was made for
  std::int64_t offset = 0;           // of its local header, in the file
  std::int64_t packed = 0;           // bytes in the archive
  std::int64_t size = 0;             // bytes unpacked
  std::size_t extraLength = 0;       // of its extra fields in the directory
  std::uint32_t crc = 0;             // CRC-32 of the unpacked bytes
  std::uint16_t flags = 0;
  std::uint16_t method = 0;   // of packing; for encryption by AES the one below that
  std::uint16_t dosTime = 0;  // local time
  std::uint16_t dosDate = 0;
  std::optional<std::int64_t> modified;  // seconds since 1970, if an extra field has it
  std::uint16_t mode = 0;                // Unix permissions; 0: not known
  std::uint8_t madeBy = 0;               // the system whose attributes it has
  EntryKind kind = EntryKind::File;
  Obstacle obstacle = Obstacle::None;
  std::string_view aes;  // the data of extra field 0x9901; empty: not encrypted by AES
};

// The bytes are those of a directory of more than `kMostEntries`. Their end records may deny it, as they count in 16
// bits.
bool HasTooManyEntries(std::string_view text);

class ArchiveDirectory {
 public:
  // `text` is the directory's bytes, which were at `at` in the file. Nothing if they are no directory with the entries
  // that `end` promises.
  static std::optional<ArchiveDirectory> Read(std::string text, std::int64_t at, const ArchiveEnd& end);

  std::size_t Count() const { return starts_.size(); }
  // Valid as long as the directory.
  ArchiveEntry Entry(std::size_t index) const;
  // Where the entries' data ends.
  std::int64_t Begin() const { return at_; }
  // "\" separates the parts of this entry's name, as some archivers have it.
  bool BackslashSeparates(const ArchiveEntry& entry) const;

 private:
  ArchiveDirectory() = default;

  std::string text_;
  std::vector<std::uint32_t> starts_;  // of the entries, in text_
  std::int64_t at_ = 0;
  std::int64_t shift_ = 0;  // to be added to every offset in it
  bool hasSlash_ = false;   // in a name
};

}  // namespace pellora
