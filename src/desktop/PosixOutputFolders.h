// PosixOutputFolders: files below an open folder. The parts of a path are opened one by one, each relative to the one
// above and never through a link, so that nothing which others do to the folders meanwhile leads out of it. (One call
// of openat2 does no more for such paths, and neither old kernels nor some containers have it.)
//
// A file is created without a name where the disk can do that (O_TMPFILE), else as ".pellora-XXXXXX", which is deleted.
#pragma once

#include "desktop/ExclusiveRename.h"
#include "ports/OutputFolders.h"

namespace pellora {

// What the disk can do; less for tests.
struct OutputAbilities {
  bool unnamed = true;   // O_TMPFILE
  bool exchange = true;  // renameat2 with RENAME_EXCHANGE
  ExclusiveRename rename = ExclusiveRename::InOneStep;
};

class PosixOutputFolders final : public OutputFolders {
 public:
  explicit PosixOutputFolders(OutputAbilities abilities = {}) : abilities_(abilities) {}

  std::shared_ptr<OutputFolder> Open(const std::string& folder) override;

 private:
  const OutputAbilities abilities_;
};

}  // namespace pellora
