#include "archive/EntryLayout.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "core/Numbers.h"

namespace pellora {

namespace {

constexpr std::int64_t kLocalHeader = 30;
constexpr std::int64_t kFarAway = std::int64_t{64} << 10;
// What a local header may have in extra fields beyond those in the directory.
constexpr std::int64_t kMoreExtra = 512;
constexpr std::int64_t kLargestGap = std::int64_t{16} << 10;
constexpr std::int64_t kGapShare = 100;

// The least that lies at an entry's place.
std::int64_t LeastLength(const ArchiveEntry& entry) {
  return kLocalHeader + static_cast<std::int64_t>(entry.rawName.size()) + entry.packed;
}

}  // namespace

EntryLayout::EntryLayout(const ArchiveDirectory& directory) : directory_(directory), ends_(directory.Count(), -1) {
  struct Span {
    std::int64_t begin;
    std::int64_t least;  // its end at the earliest
    std::size_t entry;
  };
  std::vector<Span> spans;
  spans.reserve(directory.Count());
  for (std::size_t i = 0; i < directory.Count(); ++i) {
    const ArchiveEntry entry = directory.Entry(i);
    const bool inside = entry.offset >= 0 && entry.packed >= 0 && entry.packed <= directory.Begin() &&
                        entry.offset <= directory.Begin() - LeastLength(entry);
    if (inside) spans.push_back({entry.offset, entry.offset + LeastLength(entry), i});
  }
  std::sort(spans.begin(), spans.end(),
            [](const Span& a, const Span& b) { return std::pair(a.begin, a.entry) < std::pair(b.begin, b.entry); });
  std::int64_t covered = 0;  // up to here some entry lies
  for (std::size_t i = 0; i < spans.size(); ++i) {
    const std::int64_t next = i + 1 < spans.size() ? spans[i + 1].begin : directory.Begin();
    const bool apart = spans[i].begin >= covered && spans[i].least <= next;
    if (apart) ends_[spans[i].entry] = next;
    covered = std::max(covered, spans[i].least);
  }
}

Range EntryLayout::RangeOf(std::size_t entry) const {
  const Range largest = LargestRangeOf(entry);
  const ArchiveEntry read = directory_.Entry(entry);
  const std::int64_t likely = ClampedSum(LeastLength(read), static_cast<std::int64_t>(read.extraLength) + kMoreExtra);
  return largest.Length() - likely > kFarAway ? Range{largest.begin, largest.begin + likely} : largest;
}

Range EntryLayout::LargestRangeOf(std::size_t entry) const { return {directory_.Entry(entry).offset, ends_.at(entry)}; }

std::vector<Range> RequestsFor(std::span<const Range> wanted) {
  const IntervalSet together(std::vector<Range>(wanted.begin(), wanted.end()));
  const std::vector<Range>& ranges = together.Ranges();
  if (ranges.size() < 2) return ranges;
  // The smallest gaps first: they save most requests.
  const auto gapAfter = [&](std::size_t i) { return ranges[i + 1].begin - ranges[i].end; };
  std::vector<std::size_t> order(ranges.size() - 1);
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return gapAfter(a) < gapAfter(b); });
  std::vector<bool> bridged(order.size(), false);
  std::int64_t left = together.Bytes() / kGapShare;
  for (const std::size_t i : order) {
    if (gapAfter(i) > kLargestGap || gapAfter(i) > left) break;
    left -= gapAfter(i);
    bridged[i] = true;
  }
  std::vector<Range> requests{ranges.front()};
  for (std::size_t i = 1; i < ranges.size(); ++i) {
    if (bridged[i - 1]) {
      requests.back().end = ranges[i].end;
    } else {
      requests.push_back(ranges[i]);
    }
  }
  return requests;
}

}  // namespace pellora
