#include "SimFileData.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace pellora {

const std::array<char, SimFileData::kPage> SimFileData::kZeros{};

// Keeps the page as the disk has it before its first change after a flush.
void SimFileData::Endanger(std::size_t page) {
  if (!flushed_ || old_.contains(page)) return;
  const auto lost = lost_.find(page);
  old_[page] = lost == lost_.end() ? DurablePage(page) : lost->second;
}

void SimFileData::Write(std::uint64_t offset, std::string_view bytes) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const std::uint64_t at = offset + done;
    const std::size_t page = static_cast<std::size_t>(at / kPage);
    const std::size_t in = static_cast<std::size_t>(at % kPage);
    const std::size_t count = std::min(kPage - in, bytes.size() - done);
    Endanger(page);
    if (in == 0 && (count == kPage || at + count >= size_)) lost_.erase(page);
    if (page >= pages_.size()) pages_.resize(page + 1);
    Page& here = pages_[page];
    const std::string_view part = bytes.substr(done, count);
    done += count;
    if (!here && std::memcmp(part.data(), kZeros.data(), count) == 0) continue;
    if (!here) {
      here = std::make_shared<std::array<char, kPage>>();
    } else if (here.use_count() > 1) {
      here = std::make_shared<std::array<char, kPage>>(*here);
    }
    std::memcpy(here->data() + in, part.data(), count);
  }
  if (bytes.empty()) return;
  size_ = std::max(size_, offset + bytes.size());
  cutByPower = false;
}

std::size_t SimFileData::Read(std::uint64_t offset, std::span<char> to) const {
  if (offset >= size_) return 0;
  const std::size_t count = static_cast<std::size_t>(std::min<std::uint64_t>(to.size(), size_ - offset));
  std::size_t done = 0;
  while (done < count) {
    const std::uint64_t at = offset + done;
    const std::size_t page = static_cast<std::size_t>(at / kPage);
    const std::size_t in = static_cast<std::size_t>(at % kPage);
    const std::size_t part = std::min(kPage - in, count - done);
    if (page < pages_.size() && pages_[page]) {
      std::memcpy(to.data() + done, pages_[page]->data() + in, part);
    } else {
      std::memset(to.data() + done, 0, part);
    }
    done += part;
  }
  return count;
}

void SimFileData::SetSize(std::uint64_t size) {
  if (size < size_) {
    const std::size_t kept = static_cast<std::size_t>((size + kPage - 1) / kPage);
    for (std::size_t page = kept; page < pages_.size(); ++page) Endanger(page);
    if (pages_.size() > kept) pages_.resize(kept);
    // What comes after the new end must read as zeros if the file grows again.
    const std::uint64_t whole = std::uint64_t{kept} * kPage;
    if (whole > size && kept <= pages_.size() && pages_[kept - 1]) {
      size_ = size;
      Write(size, std::string(static_cast<std::size_t>(whole - size), '\0'));
    }
  }
  size_ = size;
}

void SimFileData::Flush() {
  flushed_ = true;
  old_.clear();
  durableSize_ = size_;
}

void SimFileData::FailFlush() {
  if (!flushed_) {
    for (std::size_t page = 0; page < pages_.size(); ++page) lost_.emplace(page, nullptr);
  }
  lost_.merge(old_);
  old_.clear();
  flushed_ = true;
}

void SimFileData::CutPower(SimRandom& random) {
  std::map<std::size_t, Page> endangered = std::move(lost_);
  endangered.merge(old_);
  if (!flushed_) {
    for (std::size_t page = 0; page < pages_.size(); ++page) endangered.emplace(page, nullptr);
  }
  for (auto& [page, old] : endangered) {
    const bool beyond = std::uint64_t{page} * kPage >= durableSize_;
    const std::uint64_t choice = random.Below(beyond ? 3 : 2);
    if (choice == 0) continue;  // it was written back in time
    cutByPower = true;
    if (page >= pages_.size()) pages_.resize(page + 1);
    pages_[page] = choice == 1 ? std::move(old) : nullptr;
  }
  const std::uint64_t longer = std::max(size_, durableSize_);
  const std::uint64_t shorter = std::min(size_, durableSize_);
  std::uint64_t size = random.Coin() ? size_ : durableSize_;
  if (longer > shorter && random.Below(3) == 0) size = random.Between(shorter, longer);
  cutByPower = cutByPower || size != size_;
  size_ = longer;
  SetSize(size);
  old_.clear();
  lost_.clear();
  flushed_ = true;
  durableSize_ = size_;
}

}  // namespace pellora
