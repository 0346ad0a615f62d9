#include "core/ExistingFolder.h"

#include "core/FileNames.h"
#include "ports/DownloadFiles.h"
#include "ports/Failure.h"

namespace pellora {

std::string ExistingFolderOf(const DownloadFiles& files, std::string folder) {
  while (!Skip([&] { (void)files.DiskOf(folder); })) {
    const std::string above = FolderOf(folder);
    if (above.size() >= folder.size()) return {};
    folder = above.empty() ? "/" : above;
  }
  return folder;
}

}  // namespace pellora
