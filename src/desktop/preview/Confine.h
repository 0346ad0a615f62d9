// Confine: takes from the preview process what a picture or a sound never needs, before its file is decoded. What
// cannot be taken is a ConfinementFailure, after which nothing may be rendered.
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

// To be called first of all: no new privileges, no look into this process from outside, its end with that of its
// parent, no descriptors but the three standard ones.
void LeaveOthers();

// To be called while there is one thread: no capabilities, limited memory, files and processor time, files that cannot
// grow, less of the processor than a transfer gets, and access to `file` and `places` alone (FileAccess.h).
void RestrictProcess(Work work, int file, const std::vector<std::string>& places);

// For what has to be said after a ConfinementFailure. Without effect once system calls are restricted.
void LetFilesGrow();

}  // namespace pellora
