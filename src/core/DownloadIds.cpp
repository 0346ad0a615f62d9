#include "core/DownloadIds.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <optional>
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

// Of the number at the start of the text; nullopt if there is none that fits.
std::optional<std::uint64_t> NumberAtStart(std::string_view text) {
  constexpr int kBase = 36;
  std::uint64_t number = 0;
  const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), number, kBase);
  return fault == std::errc() ? std::optional(number) : std::nullopt;
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

std::string IdOf(const DownloadRecord& record, bool sharesItsMoment) {
  return sharesItsMoment ? LongId(record) : ShortId(record);
}

std::vector<int> ListedAt(Program& program, std::uint64_t moment) {
  std::vector<int> listed;
  for (int i = 1; i <= program.DownloadCount; ++i) {
    if (MomentOf(program.Download(i)) == moment && program.Download(i).InUse) listed.push_back(i);
  }
  return listed;
}

}  // namespace

std::string IdOf(Program& program, int index) {
  const DownloadRecord& record = program.Download(index);
  return IdOf(record, ListedAt(program, MomentOf(record)).size() > 1);
}

// The longer form also counts for the last of those that shared a moment.
std::int16_t FindId(Program& program, const std::string& id) {
  const std::optional<std::uint64_t> moment =
      NumberAtStart(std::string_view(id).substr(std::min<std::size_t>(id.size(), 1)));
  if (!moment) return 0;
  const std::vector<int> listed = ListedAt(program, *moment);
  int found = 0;
  for (const int i : listed) {
    const DownloadRecord& record = program.Download(i);
    if (id != IdOf(record, listed.size() > 1) && id != LongId(record)) continue;
    if (found != 0) return 0;
    found = i;
  }
  return static_cast<std::int16_t>(found);
}

DownloadIds::DownloadIds(Program& program) : program_(program) {
  for (int i = 1; i <= program.DownloadCount; ++i) {
    if (program.Download(i).InUse) moments_.push_back(MomentOf(program.Download(i)));
  }
  std::sort(moments_.begin(), moments_.end());
}

std::string DownloadIds::Of(int index) const {
  const DownloadRecord& record = program_.Download(index);
  const auto [first, last] = std::equal_range(moments_.begin(), moments_.end(), MomentOf(record));
  return IdOf(record, last - first > 1);
}

}  // namespace pellora
