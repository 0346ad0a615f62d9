// PosixFolders: the folders of the disk, without hidden ones.
#pragma once

#include "ports/Folders.h"

namespace pellora {

class PosixFolders final : public Folders {
 public:
  // The root, the user's home, and mounted media.
  std::vector<std::string> Drives() const override;
  std::vector<std::string> FoldersIn(const std::string& path) const override;
};

}  // namespace pellora
