#include "Shrink.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace pellora {

namespace {

bool Fails(std::uint64_t seed, const LifeOptions& options, const std::set<int>& dropped) {
  LifeOptions all = options;
  all.dropped = dropped;
  return !Life(seed, all).Run().empty();
}

}  // namespace

// Drops ever smaller pieces of the plan, down to single items, until none can be dropped.
std::set<int> Shrink(std::uint64_t seed, const LifeOptions& options, int& lives) {
  lives = 1;
  if (!Fails(seed, options, options.dropped)) return {};
  const std::size_t count = MakePlan(seed).items.size();
  std::set<int> dropped = options.dropped;
  for (std::size_t size = std::max<std::size_t>(1, count / 2);; size = std::max<std::size_t>(1, size / 2)) {
    bool any = false;
    std::vector<int> kept;
    for (std::size_t i = 0; i < count; ++i) {
      if (!dropped.contains(static_cast<int>(i))) kept.push_back(static_cast<int>(i));
    }
    for (std::size_t at = 0; at < kept.size(); at += size) {
      std::set<int> fewer = dropped;
      for (std::size_t i = at; i < std::min(at + size, kept.size()); ++i) fewer.insert(kept[i]);
      ++lives;
      if (!Fails(seed, options, fewer)) continue;
      dropped = fewer;
      any = true;
    }
    if (size == 1 && !any) return dropped;
  }
}

}  // namespace pellora
