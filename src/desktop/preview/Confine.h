// Confine: takes from the preview process what a picture or a sound never needs, before any byte of the file
// is looked at.
#pragma once

namespace pellora {

// No network, no new privileges, no core dump, limited memory, and less of the processor than a transfer gets.
// Whatever the system refuses is left out.
void Confine();

}  // namespace pellora
