// OpenMissingStreams: gives a program that was started without standard input, output or error the empty device in
// their place.
#pragma once

#include <string>

namespace pellora {

// Before any other file is opened: it would get the number of the missing stream, and with it every message and
// warning.
void OpenMissingStreams();

// Writes a line to standard error, cut where it is very long. Not if that would wait: a pipe that nobody reads, or a
// terminal that was stopped, must not hold the program up.
void SayOnStandardError(std::string line);

}  // namespace pellora
