// XdgFolders: the folders in a variable such as $XDG_DATA_DIRS, the most important first.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace pellora {

// `value` is that of the variable, `otherwise` what counts if it is empty. Relative folders are ignored, as the XDG
// Base Directory Specification says. No trailing slashes.
std::vector<std::string> XdgFolders(std::string_view value, std::string_view otherwise);

}  // namespace pellora
