// SimFileData: the bytes of one simulated file, as the program reads them and as they would be after a power cut.
//
// Contents are sparse pages. A flush makes all of them durable; what is written later is in danger until the next one.
// A failed flush loses its pages silently: they stay readable, and a later flush makes only those of them durable that
// were written again as a whole.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "SimRandom.h"

namespace pellora {

class SimFileData {
 public:
  std::uint64_t Size() const { return size_; }
  void Write(std::uint64_t offset, std::string_view bytes);
  std::size_t Read(std::uint64_t offset, std::span<char> to) const;
  void SetSize(std::uint64_t size);  // new bytes are zeros
  void Flush();
  void FailFlush();
  // The machine loses its power: each page in danger is new or as it was at the last flush, as the seed says; pages
  // beyond the length of the last flush may also be zeros, and the length may be the former one. Then all is durable.
  void CutPower(SimRandom& random);

  std::uint64_t reserved = 0;  // the least space that the file occupies
  bool onDisk = true;          // False once deleted or lost, even if still open
  int names = 1;
  bool ofAnotherUser = false;    // belongs to another user
  bool openToOthers = true;      // others may read it
  bool lockedByAnother = false;  // by another program
  bool cutByPower = false;       // it lost bytes, and was not written since
  std::uint64_t inode = 0;
  std::int64_t modified = 0;  // nanoseconds since 1970

 private:
  static constexpr std::size_t kPage = std::size_t{16} << 10;
  static const std::array<char, kPage> kZeros;
  using Page = std::shared_ptr<std::array<char, kPage>>;  // null: zeros

  void Endanger(std::size_t page);
  Page DurablePage(std::size_t page) const { return page < pages_.size() ? pages_[page] : nullptr; }

  std::vector<Page> pages_;
  std::uint64_t size_ = 0;
  // A file that was never flushed has no page on the disk for sure, and old_ is not kept.
  bool flushed_ = false;
  std::uint64_t durableSize_ = 0;
  std::map<std::size_t, Page> old_;   // as they were at the last flush, of the pages changed since
  std::map<std::size_t, Page> lost_;  // as they are on the disk, of the pages that a failed flush lost
};

}  // namespace pellora
