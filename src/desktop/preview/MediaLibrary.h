// MediaLibrary: what is asked of the media library directly. It is looked for by name: what is linked is only the layer
// above it, which starts without.
#pragma once

#include <string>

namespace pellora {

// Where it is; empty if the machine has none.
const std::string& MediaLibraryPath();

bool StartMediaLibrary();

// Whether the machine has what a player is built from. Without it the player must not be made: the layer above ends the
// process then.
bool CanPlay();

// Connects to the sound server and stays connected: what is played later shares the connection.
void ConnectSound();

}  // namespace pellora
