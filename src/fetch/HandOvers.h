// HandOvers: what browsers, or users in their place, have handed over with addresses: cookies and the page. In memory
// alone; the journal keeps only that there was some.
#pragma once

#include <map>
#include <string>

#include "core/WebAdd.h"
#include "fetch/JournalCodec.h"

namespace pellora {

class HandOvers {
 public:
  // In place of what the download had.
  void Keep(const JournalKey& key, HandOver handOver);
  // Empty if there is none.
  const HandOver& Of(const JournalKey& key) const;
  bool HasCookies(const JournalKey& key) const { return !Of(key).cookies.empty(); }
  bool HasPage(const JournalKey& key) const { return !Of(key).referrer.empty(); }
  // The expected answer has come.
  void ExpectationMet(const JournalKey& key);
  // The download has another address. The page goes along, the cookies only if they may be sent there.
  void Move(const JournalKey& from, const JournalKey& to, bool withCookies);
  void Forget(const JournalKey& key) { kept_.erase(key); }

 private:
  std::map<JournalKey, HandOver> kept_;
};

}  // namespace pellora
