// ArchiveReader: which bytes of a remote ZIP archive are needed to know what it holds. The caller fetches them: mostly
// in two requests, at most in four.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <utility>

#include "archive/ArchiveDirectory.h"
#include "core/IntervalSet.h"

namespace pellora {

enum class ArchiveFault : std::uint8_t {
  None,
  NoArchive,  // no directory was found
  Split,      // the archive is one of several volumes
  TooLarge,   // its directory is beyond what is read
};

class ArchiveReader {
 public:
  // What is asked for first: the end of the file, and with it the directory of a small archive.
  static constexpr std::int64_t kTail = std::int64_t{128} << 10;

  // `length` of the file, in bytes.
  explicit ArchiveReader(std::int64_t length);

  // What is to be fetched next; nothing once the reading is over.
  std::optional<Range> Wants() const { return wants_; }
  // All bytes of the range that was wanted.
  void Take(std::string bytes);

  // Once nothing is wanted: the directory, or why there is none.
  const std::optional<ArchiveDirectory>& Directory() const { return directory_; }
  // The same, which must be there, moved out.
  ArchiveDirectory TakeDirectory() { return std::move(directory_).value(); }
  ArchiveFault Fault() const { return fault_; }

 private:
  void FindPlaces();
  void TryPlaces();
  bool ReadDirectory(std::string text);
  void End(ArchiveFault fault);

  struct Place {
    Range range;
    ArchiveEnd end;
  };
  std::int64_t length_;
  std::optional<Range> wants_;
  std::string tail_;
  Range tailRange_;
  bool hasTail_ = false;
  std::deque<Place> places_;  // where the directory may be, the likeliest first
  int fetches_ = 0;           // of places beyond the tail
  std::int64_t fetched_ = 0;  // bytes of them
  ArchiveFault seen_ = ArchiveFault::NoArchive;
  std::optional<ArchiveDirectory> directory_;
  ArchiveFault fault_ = ArchiveFault::None;
};

}  // namespace pellora
