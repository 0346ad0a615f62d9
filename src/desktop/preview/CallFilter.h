// CallFilter: the system calls that rendering needs, and an end to all others.
#pragma once

namespace pellora {

enum class Work {
  Picture,  // Qt's readers and our own
  Media,    // the media library: threads, plugins, a sound server that is connected already
};

// From here on every thread of the process, those that run already included, makes only the calls that `work`
// needs. Any other is answered as by a kernel that lacks it (ENOSYS), a file opened for writing or a socket with
// EACCES; a call of a foreign architecture ends the process. ConfinementFailure if that cannot be had.
void RestrictCalls(Work work);

}  // namespace pellora
