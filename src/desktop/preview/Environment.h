// Environment: what the preview process keeps of the variables that it was started with.
#pragma once

#include <string>
#include <vector>

namespace pellora {

// $XDG_CACHE_HOME/pellora, or the same under ~/.cache; empty without a home. To be asked before ReduceEnvironment.
std::string CacheFolder();

// Leaves only what says where libraries, plugins and the sound server are, and wipes the rest from memory: a home, a
// session bus, a display and whatever secrets there are.
void ReduceEnvironment();

// The folders and files that variables name, which have to be readable.
std::vector<std::string> NamedPlaces();

}  // namespace pellora
