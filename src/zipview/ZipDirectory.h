// ZipDirectory: the end record and the central directory of a ZIP archive, read as text of one character per byte. Pure
// functions, safe for any bytes: characters beyond the end of the text count as 0.
//
// The reader is deliberately minimal. It checks no signature and steps from record to record by the name's length
// alone, so that an archive comment or an extra field makes it read from wrong places. Positions count from 1, offsets
// in an archive from 0.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace pellora {

inline constexpr std::size_t kEndRecordLength = 22;

// One member of the archive, as its central record names it.
struct ZipEntry {
  std::int16_t NameLength = 0;
  std::string Name;       // path inside the archive, with "/"; ends in "/" for a directory
  std::string RawRecord;  // the fixed part and the name, as received
  std::int16_t Position = 0;
  std::int64_t CrcField = 0;  // from one byte before the CRC; unused
  std::int64_t LocalHeaderOffset = 0;
  std::int64_t PackedSize = 0;
  std::int64_t NormalSize = 0;
  bool IsDirectory = false;
};

struct ZipEndRecord {
  std::int16_t EntryCount = 0;  // at most 32767
  std::int64_t DirectorySize = 0;
};

// Little-endian numbers at `position`.
std::int64_t ReadZip16(std::int64_t position, std::string_view text);
std::int64_t ReadZip32(std::int64_t position, std::string_view text);

ZipEndRecord ReadEndRecord(std::string_view text);

// Elements 1 to `count`; element 0 is blank. Stops before a name length above the field's range, since the records
// after it cannot be found.
std::vector<ZipEntry> ReadDirectory(std::string_view text, std::int16_t count);

}  // namespace pellora
