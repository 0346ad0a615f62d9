// Registration: makes the program known to the user's desktop: the bus activation file, so that a call starts the
// program, and the application entry with its icon.
#pragma once

#include <string>

namespace pellora {

// The texts of the two files. Failure(InvalidCall) if the path contains a line break, which neither file can express.
std::string ActivationFileText(const std::string& program);
std::string ApplicationEntryText(const std::string& program);

// Writes the files below `dataHome` if they are missing or differ. Failures are ignored.
void RegisterProgram(const std::string& program, const std::string& dataHome);

}  // namespace pellora
