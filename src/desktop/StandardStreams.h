// OpenMissingStreams: gives a program that was started without standard input, output or error the empty device in
// their place.
#pragma once

namespace pellora {

// Before any other file is opened: it would get the number of the missing stream, and with it every message and
// warning.
void OpenMissingStreams();

}  // namespace pellora
