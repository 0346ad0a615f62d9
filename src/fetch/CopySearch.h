// CopySearch: the file that an entry of an archive has become before a kill, by the names that it may have. Where no
// CRC-32 proves it, its time does.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "core/Selection.h"
#include "ports/Files.h"
#include "ports/OutputFolders.h"

namespace pellora {

class CopySearch {
 public:
  CopySearch(std::shared_ptr<OutputFolder> folder, SelectedEntry entry)
      : folder_(std::move(folder)), entry_(std::move(entry)) {}

  // For works. True once it is over; each step reads 4 MiB at most.
  bool Step() { return file_ ? ReadOn() : Open(); }
  bool Found() const { return found_; }  // its name is on the disk

 private:
  bool Open();
  bool ReadOn();
  bool Find(bool found);

  const std::shared_ptr<OutputFolder> folder_;
  const SelectedEntry entry_;
  OutputPath path_;  // that is looked at
  int number_ = 1;
  std::unique_ptr<File> file_;
  std::uint64_t at_ = 0;
  std::uint32_t sum_ = 0;
  bool found_ = false;
};

}  // namespace pellora
