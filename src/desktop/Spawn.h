// Spawn: starts a program detached, without a shell. Paths stay bytes.
#pragma once

#include <string>
#include <vector>

namespace pellora {

// `program` is a path, or a name looked up in PATH. The child is nobody's child, in a session of its own,
// in `workingFolder` unless that is empty. Failure(File) if it cannot be started.
void SpawnDetached(const std::string& program, const std::vector<std::string>& arguments,
                   const std::string& workingFolder);

// Raises the number of open files to what the system allows: eight part files and eight sockets for each
// download. Programs started from here get the former number back.
void RaiseOpenFileLimit();

}  // namespace pellora
