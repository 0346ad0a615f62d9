// Environment: which environment variables the preview process keeps.
#pragma once

#include <string>
#include <vector>

namespace pellora {

// $XDG_CACHE_HOME/pellora, by default ~/.cache/pellora; empty without a home. Call before ReduceEnvironment.
std::string CacheFolder();

// Keeps only what locates libraries, plugins and the sound server, and wipes the rest from memory: home, session bus,
// display and any secrets.
void ReduceEnvironment();

// The folders and files named by variables, which must be readable.
std::vector<std::string> NamedPlaces();

}  // namespace pellora
