#include "core/IntervalSet.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace pellora {

namespace {

bool EndsBefore(const Range& range, std::int64_t offset) { return range.end < offset; }

}  // namespace

IntervalSet::IntervalSet(const std::vector<Range>& ranges) {
  for (const Range& range : ranges) (void)Add(range);
}

std::vector<Range> IntervalSet::Add(Range range) {
  if (range.end <= range.begin) return {};
  std::vector<Range> added = Missing(range);
  // All that overlap or touch the new one become one with it.
  const auto first = std::lower_bound(ranges_.begin(), ranges_.end(), range.begin, EndsBefore);
  auto last = first;
  while (last != ranges_.end() && last->begin <= range.end) {
    range.begin = std::min(range.begin, last->begin);
    range.end = std::max(range.end, last->end);
    ++last;
  }
  ranges_.insert(ranges_.erase(first, last), range);
  return added;
}

void IntervalSet::Remove(Range range) {
  if (range.end <= range.begin) return;
  std::vector<Range> kept;
  for (const Range& held : ranges_) {
    const Range before{held.begin, std::min(held.end, range.begin)};
    const Range after{std::max(held.begin, range.end), held.end};
    if (before.Length() > 0) kept.push_back(before);
    if (after.Length() > 0) kept.push_back(after);
  }
  ranges_ = std::move(kept);
}

void IntervalSet::CutTo(std::int64_t length) {
  while (!ranges_.empty() && ranges_.back().begin >= length) ranges_.pop_back();
  if (!ranges_.empty()) ranges_.back().end = std::min(ranges_.back().end, length);
}

bool IntervalSet::Holds(std::int64_t offset) const { return HoldsAll({offset, offset + 1}); }

bool IntervalSet::HoldsAll(Range range) const { return Missing(range, 1).empty(); }

std::vector<Range> IntervalSet::Missing(Range within, std::size_t most) const {
  std::vector<Range> missing;
  std::int64_t at = within.begin;
  for (auto held = std::lower_bound(ranges_.begin(), ranges_.end(), within.begin, EndsBefore);
       held != ranges_.end() && held->begin < within.end; ++held) {
    if (held->begin > at) missing.push_back({at, held->begin});
    if (missing.size() >= most) return missing;
    at = std::max(at, held->end);
  }
  if (at < within.end) missing.push_back({at, within.end});
  return missing;
}

std::int64_t IntervalSet::Bytes() const {
  return std::accumulate(ranges_.begin(), ranges_.end(), std::int64_t{0},
                         [](std::int64_t sum, const Range& range) { return sum + range.Length(); });
}

}  // namespace pellora
