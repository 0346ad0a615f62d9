// FileAccess: which parts of the file system the preview process can reach.
#pragma once

#include <string>
#include <vector>

namespace pellora {

// Restricts this thread and those it starts to reading the system's folders, `places` and the file open at `file` (-1
// for none); writing, creating and executing are denied. Missing places are skipped. Throws ConfinementFailure if the
// kernel has Landlock and it fails. Without Landlock, the filter of system calls must do, which denies writing but not
// reading other files.
void RestrictFileAccess(int file, const std::vector<std::string>& places);

}  // namespace pellora
