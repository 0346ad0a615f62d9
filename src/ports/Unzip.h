// Unzip: the archive library. Unpacks a whole ZIP archive into a folder.
//
// Nothing of an archive can leave the folder: members with an absolute name, with a ".." in their path, or
// that are links or devices are left out, and no link that lies in the folder is followed.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace pellora {

// What Unpack returns; any number but 0 is shown to the user as it is.
enum UnzipResult : int {
  kUnzipDone = 0,
  kUnzipMembersLeftOut = 1,  // everything else was unpacked
  kUnzipDamaged = 2,
  kUnzipNoArchive = 9,  // no such file, or no archive, or one without members
  kUnzipDiskFull = 50,  // or any other failure to write
  kUnzipNeedsPassword = 82,
};

class Unzip {
 public:
  virtual ~Unzip() = default;
  // Blocks until it is done. Directories are restored and existing files replaced without asking; a file
  // that is damaged in the archive is not left behind in part. `print` gets the library's messages.
  virtual int Unpack(const std::string& archive, const std::string& folder,
                     const std::function<void(std::string_view text)>& print) = 0;
};

}  // namespace pellora
