#include "fetch/CopySearch.h"

#include <cstddef>
#include <string>

#include "archive/EntryUnpacking.h"
#include "core/Crc32.h"
#include "core/HarmlessName.h"
#include "fetch/NewPart.h"

namespace pellora {

bool CopySearch::Open() {
  path_ = entry_.path;
  path_.back() = NumberedName(path_.back(), number_);
  const OutputFound there = folder_->LookAt(path_);
  if (there.what == OutputName::Free || number_ > kMostNumbers) return true;
  ++number_;
  if (there.what != OutputName::File || there.length != entry_.packed.size) return false;
  if (!HasSum(entry_.packed)) return Find(folder_->HasTime(path_, TraitsOf(entry_)));
  file_ = folder_->OpenFile(path_);
  at_ = 0;
  sum_ = 0;
  return false;
}

bool CopySearch::ReadOn() {
  std::string bytes(std::size_t{4} << 20, '\0');
  bytes.resize(file_->ReadAt(at_, bytes));
  sum_ = Crc32(bytes, sum_);
  at_ += bytes.size();
  if (!bytes.empty() && at_ < entry_.packed.size) return false;
  file_.reset();
  return Find(at_ == entry_.packed.size && sum_ == entry_.packed.crc);
}

bool CopySearch::Find(bool found) {
  if (found) {
    folder_->AddName(path_);
    folder_->FlushNames();
  }
  found_ = found;
  return found;
}

}  // namespace pellora
