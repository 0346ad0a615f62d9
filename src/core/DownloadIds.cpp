#include "core/DownloadIds.h"

#include <algorithm>
#include <bit>
#include <string_view>

#include "core/Program.h"

namespace pellora {

namespace {

std::string InLettersAndDigits(std::uint64_t number) {
  constexpr std::string_view kDigits = "0123456789abcdefghijklmnopqrstuvwxyz";
  std::string text;
  do {
    text.insert(text.begin(), kDigits[number % kDigits.size()]);
    number /= kDigits.size();
  } while (number > 0);
  return text;
}

// FNV-1a
std::uint32_t HashOf(std::string_view text) {
  std::uint32_t hash = 2166136261U;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619U;
  return hash;
}

std::uint64_t MomentOf(const DownloadRecord& record) { return std::bit_cast<std::uint64_t>(record.DateAdded); }

// The letter keeps it from being taken for an index.
std::string ShortId(const DownloadRecord& record) { return "d" + InLettersAndDigits(MomentOf(record)); }

std::string LongId(const DownloadRecord& record) {
  return ShortId(record) + "-" + InLettersAndDigits(HashOf(record.URL));
}

}  // namespace

DownloadIds::DownloadIds(Program& program) : program_(program) {
  for (int i = 1; i <= program.DownloadCount; ++i) {
    if (program.Download(i).InUse) moments_.push_back(MomentOf(program.Download(i)));
  }
  std::sort(moments_.begin(), moments_.end());
}

bool DownloadIds::IsShared(std::uint64_t moment) const {
  const auto [first, last] = std::equal_range(moments_.begin(), moments_.end(), moment);
  return last - first > 1;
}

std::string DownloadIds::Of(int index) const {
  const DownloadRecord& record = program_.Download(index);
  return IsShared(MomentOf(record)) ? LongId(record) : ShortId(record);
}

// The longer form also counts for the last of those that shared a moment.
std::int16_t DownloadIds::Find(const std::string& id) const {
  int found = 0;
  for (int i = 1; i <= program_.DownloadCount; ++i) {
    const DownloadRecord& record = program_.Download(i);
    if (!record.InUse || !id.starts_with(ShortId(record))) continue;
    if (id != Of(i) && id != LongId(record)) continue;
    if (found != 0) return 0;
    found = i;
  }
  return static_cast<std::int16_t>(found);
}

}  // namespace pellora
