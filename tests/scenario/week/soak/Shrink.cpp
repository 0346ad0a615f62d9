#include "Shrink.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace pellora {

namespace {

// What a life fails with, without what differs from life to life; empty if it does not fail.
std::string FailureOf(std::uint64_t seed, const LifeOptions& options, const std::set<int>& dropped) {
  LifeOptions all = options;
  all.dropped = dropped;
  const std::vector<std::string> wrong = Life(seed, all).Run();
  if (wrong.empty()) return {};
  std::string kind = wrong.front().substr(0, wrong.front().find('/'));
  std::erase_if(kind, [](char c) { return c >= '0' && c <= '9'; });
  return kind;
}

}  // namespace

// Drops ever smaller pieces of the plan, down to single items, until none can be dropped.
std::set<int> Shrink(std::uint64_t seed, const LifeOptions& options, int& lives) {
  lives = 1;
  const std::string failure = FailureOf(seed, options, options.dropped);
  if (failure.empty()) return {};
  const std::size_t count = MakePlan(seed, options.web).items.size();
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
      if (FailureOf(seed, options, fewer) != failure) continue;
      dropped = fewer;
      any = true;
    }
    if (size == 1 && !any) return dropped;
  }
}

}  // namespace pellora
