// Folders: what a folder picker needs of the disk.
#pragma once

#include <string>
#include <vector>

namespace pellora {

class Folders {
 public:
  virtual ~Folders() = default;
  // Where to start looking for a folder: the root, the home, what is mounted.
  virtual std::vector<std::string> Drives() const = 0;
  // Names of the folders directly in `path`, sorted. A folder that cannot be read is a Failure(File).
  virtual std::vector<std::string> FoldersIn(const std::string& path) const = 0;
};

}  // namespace pellora
