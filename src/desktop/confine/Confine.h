// Confine: removes the rights that decoding never needs, before foreign bytes are decoded. If something cannot be
// removed, it throws ConfinementFailure, and nothing may be decoded.
#pragma once

#include <chrono>
#include <stdexcept>
#include <string>
#include <vector>

#include "desktop/confine/CallFilter.h"

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

// The processor time that this process may use from now on, in place of that of a preview.
void LimitProcessorTime(std::chrono::seconds most);

// Allows a report to a file after a ConfinementFailure. Has no effect once system calls are restricted.
void LiftFileSizeLimit();

}  // namespace pellora
