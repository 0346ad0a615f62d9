// MediaLibrary: direct calls into the media library. It is loaded by name; the program links only the layer above it,
// which starts without it.
#pragma once

#include <string>

namespace pellora {

// Its path; empty if it is not installed.
const std::string& MediaLibraryPath();

bool StartMediaLibrary();

// Whether everything a player is built from is installed. Otherwise no player may be made: the layer above would end
// the process.
bool CanPlay();

// Connects to the sound server for good: everything played later shares the connection.
void ConnectSound();

}  // namespace pellora
