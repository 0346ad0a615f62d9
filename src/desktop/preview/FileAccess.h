// FileAccess: what of the file system the preview process reaches.
#pragma once

#include <string>
#include <vector>

namespace pellora {

// From here on this thread and those that it starts read nothing but the system's folders, `places` and the file open
// at `file` (-1 for none), and write, make or run nothing. Places that do not exist are passed over. ConfinementFailure
// if the kernel has Landlock and it fails; a kernel without it leaves this to the filter of system calls, which
// refuses all writing, but not the reading of other files.
void RestrictFileAccess(int file, const std::vector<std::string>& places);

}  // namespace pellora
