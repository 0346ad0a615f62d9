// SimOutputFolders: the port of the same name on the simulated disk, where each of its calls is counted and can fail.
//
// Names are told apart by their bytes unless `ignoresCase` is set. An unnamed file takes room on the disk.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "SimDisk.h"
#include "ports/OutputFolders.h"

namespace pellora {

class SimOutputFolders final : public OutputFolders {
 public:
  explicit SimOutputFolders(SimDisk& disk) : disk_(disk) {}

  std::shared_ptr<OutputFolder> Open(const std::string& folder) override;

  // For the test; none of these is a port call.
  // Called with the whole path at the start of Publish, which is after its caller has looked at it.
  std::function<void(const std::string& path)> beforePublish;
  bool ignoresCase = false;                              // "A" is the file "a" if there is one
  std::size_t longestName = SIZE_MAX;                    // in bytes
  int Unnamed() const { return *unnamed_; }              // files that are open without a name
  OutputTraits TraitsOf(const std::string& path) const;  // as they were set; none for others

 private:
  friend class SimOutputFile;
  friend class SimOutputFolder;

  void CheckLength(const std::string& folder, const std::string& name) const;
  // `path` below `folder`, as the disk has it. Throws if a link or a file is in the way.
  std::string PathOf(const std::string& folder, const OutputPath& path, bool make);
  std::string AsOnDisk(const std::string& path) const;

  SimDisk& disk_;
  std::map<std::string, OutputTraits> traits_;
  std::shared_ptr<int> unnamed_ = std::make_shared<int>(0);
};

}  // namespace pellora
