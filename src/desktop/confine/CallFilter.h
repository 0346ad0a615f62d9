// CallFilter: allows only the system calls that a work needs.
#pragma once

namespace pellora {

enum class Work {
  Picture,    // Qt's readers and our own
  Unpacking,  // decoders of archives: from standard input to standard output
  Media,      // the media library: threads, plugins, an existing connection to a sound server
};

// Restricts every thread of the process, including those already running, to the calls that `work` needs. Opening a
// file for writing or a socket fails with EACCES, any other call with ENOSYS, as in a kernel that lacks it; a call of a
// foreign architecture ends the process. Throws ConfinementFailure if that cannot be established.
void RestrictCalls(Work work);

}  // namespace pellora
