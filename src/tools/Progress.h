// Progress: what `pelloractl wait` prints: a line for each download that has ended and, on a terminal and on request,
// below them one line for each of the others, redrawn in place.
#pragma once

#include <cstddef>
#include <set>

#include "tools/WaitList.h"

namespace pellora {

enum class WaitForm {
  Ends,      // lines for those that have ended
  Progress,  // and, on a terminal, for the others
  Json,      // objects for those that have ended
};

class Progress {
 public:
  explicit Progress(WaitForm form);

  void Show(const WaitList& waits);

 private:
  void Erase();
  void Draw(const WaitList& waits);

  const WaitForm form_;
  const bool draws_;
  std::set<std::size_t> ended_;  // printed
  std::size_t drawn_ = 0;        // lines below the cursor's first position
};

}  // namespace pellora
