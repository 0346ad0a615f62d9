// IsArchiveName: whether a file is a ZIP archive by its name.
#pragma once

#include <string_view>

namespace pellora {

// The name ends in "zip" or in the ending of a format that consists of such archives: jar, docx, epub, ...
bool IsArchiveName(std::string_view name);

}  // namespace pellora
