// Plugins: the list of what the media library's plugins can do. It is made by a process that opens no file of the
// user's and is free to start others, since a confined one may not; a confined one only reads it.
#pragma once

#include <string>

namespace pellora {

inline constexpr const char* kListPlugins = "--plugins";

// Has the list in `cacheFolder` made where there is none of the plugins that are installed now, by running this
// program with kListPlugins, and sets the variables that make the media library read it. Returns its path. To be called
// after ReduceEnvironment.
std::string PreparePlugins(const std::string& cacheFolder);

// What kListPlugins does; the exit code. To be called after ReduceEnvironment.
int ListPlugins(const std::string& cacheFolder);

}  // namespace pellora
