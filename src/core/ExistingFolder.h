#pragma once

#include <string>

namespace pellora {

class DownloadFiles;

// `folder`, which is absolute, or the nearest folder above it that is there; "" if none can be reached. May wait for a
// disk.
std::string ExistingFolderOf(const DownloadFiles& files, std::string folder);

}  // namespace pellora
