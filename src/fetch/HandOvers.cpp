#include "fetch/HandOvers.h"

#include <utility>

namespace pellora {

void HandOvers::Keep(const JournalKey& key, HandOver handOver) {
  if (handOver.IsEmpty()) {
    kept_.erase(key);
  } else {
    kept_.insert_or_assign(key, std::move(handOver));
  }
}

const HandOver& HandOvers::Of(const JournalKey& key) const {
  static const HandOver kNone;
  const auto found = kept_.find(key);
  return found == kept_.end() ? kNone : found->second;
}

void HandOvers::ExpectationMet(const JournalKey& key) {
  const auto found = kept_.find(key);
  if (found == kept_.end()) return;
  found->second.expected.reset();
  if (found->second.IsEmpty()) kept_.erase(found);
}

void HandOvers::Move(const JournalKey& from, const JournalKey& to, bool withCookies) {
  auto moved = kept_.extract(from);
  kept_.erase(to);
  if (moved.empty()) return;
  if (!withCookies) moved.mapped().cookies.clear();
  Keep(to, std::move(moved.mapped()));
}

}  // namespace pellora
