// ArchiveEnd: the end records of a ZIP archive, which say where its directory lies (APPNOTE.TXT 6.3.10, sections 4.3.14
// to 4.3.16).
//
// Anything may precede an archive (a program that unpacks itself) or follow it, an archive may have a comment that
// looks like an end record, and what archivers write into a pipe names wrong places. So there may be several
// candidates, and only the directory itself shows which is right.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace pellora {

// The longest comment and the end record before it.
inline constexpr std::int64_t kFurthestEnd = 65535 + 22;

struct ArchiveEnd {
  std::int64_t begin = 0;            // offset in the file of the first of the end records, where the directory ends
  std::int64_t directoryOffset = 0;  // as stated; wrong by the length of whatever precedes the archive
  std::int64_t directorySize = 0;    // bytes
  std::int64_t entries = 0;          // modulo 65536 without ZIP64
  bool zip64 = false;
  bool split = false;  // the archive is one of several volumes

  bool operator==(const ArchiveEnd&) const = default;
};

// Candidates in the last bytes of a file, the last one first, at most `most`. `tailAt` is the offset of the first byte
// of `tail` in the file.
std::vector<ArchiveEnd> FindArchiveEnds(std::string_view tail, std::int64_t tailAt, std::size_t most = 8);

}  // namespace pellora
