// Spawn: starts a program detached and without a shell.
#pragma once

#include <string>
#include <vector>

namespace pellora {

// `program` is a path or a name looked up in PATH. It runs as a reparented process in a new session, in `workingFolder`
// unless that is empty. Failure(File) if it cannot be started.
void SpawnDetached(const std::string& program, const std::vector<std::string>& arguments,
                   const std::string& workingFolder);

// Raises the limit of open files to the allowed maximum: each download needs up to eight part files and eight sockets.
// Programs started from here get the original limit.
void RaiseOpenFileLimit();

}  // namespace pellora
