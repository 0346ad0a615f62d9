#include "SimContent.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "SimRandom.h"

namespace pellora {

SimContent SimContent::Generated(std::uint64_t length, std::uint64_t salt) {
  SimContent content;
  content.length_ = length;
  content.salt_ = salt;
  return content;
}

SimContent SimContent::Sparse(std::uint64_t length, std::uint64_t salt) {
  SimContent content = Generated(length, salt);
  content.sparse_ = true;
  return content;
}

void SimContent::Read(std::uint64_t offset, std::span<char> to) const {
  if (to.empty()) return;
  if (bytes_) {
    std::memcpy(to.data(), bytes_->data() + offset, to.size());
    return;
  }
  if (!sparse_) return Generate(offset, to);
  constexpr std::uint64_t kPeriod = std::uint64_t{16} << 20;
  constexpr std::uint64_t kPatch = 4096;
  std::memset(to.data(), 0, to.size());
  for (std::uint64_t patch = offset / kPeriod * kPeriod; patch < offset + to.size(); patch += kPeriod) {
    const std::uint64_t begin = std::max(patch, offset);
    const std::uint64_t end = std::min(patch + kPatch, offset + to.size());
    if (begin < end) Generate(begin, to.subspan(begin - offset, end - begin));
  }
}

void SimContent::Generate(std::uint64_t offset, std::span<char> to) const {
  constexpr std::uint64_t kWord = 8;
  std::size_t done = 0;
  while (done < to.size()) {
    const std::uint64_t at = offset + done;
    const std::uint64_t word = SimRandom(salt_ * 0xD1342543DE82EF95ULL + at / kWord).Next();
    const std::size_t from = static_cast<std::size_t>(at % kWord);
    if (from == 0 && to.size() - done >= kWord) {  // nearly always
      std::memcpy(to.data() + done, &word, kWord);
      done += kWord;
      continue;
    }
    std::array<char, kWord> bytes{};
    std::memcpy(bytes.data(), &word, kWord);
    const std::size_t count = std::min<std::size_t>(kWord - from, to.size() - done);
    std::memcpy(to.data() + done, bytes.data() + from, count);
    done += count;
  }
}

std::string SimContent::Bytes(std::uint64_t offset, std::uint64_t length) const {
  std::string bytes(static_cast<std::size_t>(length), '\0');
  Read(offset, bytes);
  return bytes;
}

}  // namespace pellora
