// Plugins: the registry of the media library's plugins. Making it starts other processes, which a confined process may
// not do, so a separate process that opens no user file makes it; the confined one only reads it.
#pragma once

#include <string>

namespace pellora {

inline constexpr const char* kListPlugins = "--plugins";

// Makes the list in `cacheFolder`, if there is none for the plugins now installed, by running this program with
// kListPlugins, and sets the variables that make the media library read it. Returns its path. Call after
// ReduceEnvironment.
std::string PreparePlugins(const std::string& cacheFolder);

// Runs kListPlugins and returns the exit code. Call after ReduceEnvironment.
int ListPlugins(const std::string& cacheFolder);

}  // namespace pellora
