#include "fetch/HandOvers.h"

#include <utility>

namespace pellora {

void HandOvers::Keep(const JournalKey& key, HandOver handOver) {
  if (handOver == HandOver()) {
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
  HandOver handOver = Of(key);
  handOver.expected.reset();
  Keep(key, std::move(handOver));
}

void HandOvers::Move(const JournalKey& from, const JournalKey& to, bool withCookies) {
  HandOver handOver = Of(from);
  kept_.erase(from);
  if (!withCookies) handOver.cookies.clear();
  Keep(to, std::move(handOver));
}

}  // namespace pellora
