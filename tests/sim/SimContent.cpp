#include "SimContent.h"

#include <algorithm>
#include <cstring>

#include "SimRandom.h"

namespace pellora {

namespace {

// The eight bytes at eight times `number`.
inline std::uint64_t WordOf(std::uint64_t salt, std::uint64_t number) {
  return SimRandom(salt * 0xD1342543DE82EF95ULL + number).Next();
}

}  // namespace

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
  constexpr std::size_t kWord = sizeof(std::uint64_t);
  std::uint64_t number = offset / kWord;
  if (const auto from = static_cast<std::size_t>(offset % kWord); from > 0) {
    const std::size_t count = std::min(kWord - from, to.size());
    const std::uint64_t word = WordOf(salt_, number++);
    std::memcpy(to.data(), reinterpret_cast<const char*>(&word) + from, count);
    to = to.subspan(count);
  }
  const std::size_t words = to.size() / kWord;
  char* const at = to.data();
  const std::uint64_t salt = salt_;  // not read again for each word: `to` might hold it
  for (std::size_t i = 0; i < words; ++i) {
    const std::uint64_t word = WordOf(salt, number + i);
    std::memcpy(at + i * kWord, &word, kWord);
  }
  const std::uint64_t last = WordOf(salt_, number + words);
  std::memcpy(to.data() + words * kWord, &last, to.size() % kWord);
}

std::string SimContent::Bytes(std::uint64_t offset, std::uint64_t length) const {
  std::string bytes(static_cast<std::size_t>(length), '\0');
  Read(offset, bytes);
  return bytes;
}

}  // namespace pellora
