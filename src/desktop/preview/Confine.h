// Confine: removes the rights that rendering a picture or a sound never needs, before the file is decoded. If something
// cannot be removed, it throws ConfinementFailure, and nothing may be rendered.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "desktop/preview/CallFilter.h"

namespace pellora {

class ConfinementFailure : public std::runtime_error {
 public:
  ConfinementFailure(const std::string& what, int error);
};

// Call first of all: no new privileges, no inspection from outside, an end with the parent's, and no descriptors but
// the three standard ones.
void IsolateProcess();

// Call while there is only one thread: no capabilities; limited memory, files and processor time; files cannot grow;
// lower priority than a transfer; access only to `file` and `places` (FileAccess.h).
void RestrictProcess(Work work, int file, const std::vector<std::string>& places);

// Allows a report to a file after a ConfinementFailure. Has no effect once system calls are restricted.
void LiftFileSizeLimit();

}  // namespace pellora
