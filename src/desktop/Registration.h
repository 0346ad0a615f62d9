// Registration: what makes the program known to the user's desktop: the bus activation file, so that a call
// starts it, and the application entry with its icon.
#pragma once

#include <string>

namespace pellora {

// The texts of the two files for the program of that path. Failure(InvalidCall) for a path with a line break,
// which neither file can hold.
std::string ActivationFileText(const std::string& program);
std::string ApplicationEntryText(const std::string& program);

// Writes the files below `dataHome` where they are missing or differ. Each failure is skipped.
void RegisterProgram(const std::string& program, const std::string& dataHome);

}  // namespace pellora
