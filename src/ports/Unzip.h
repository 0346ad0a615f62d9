// Unzip: the archive library. Unpacks a whole ZIP archive into a folder.
//
// Nothing is written outside the folder: members with absolute names, with ".." in their path, links and devices are
// left out, and no link in the folder is followed.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace pellora {

// What Unpack returns; numbers other than 0 are shown to the user.
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
  // Blocks until done. Restores directories and replaces existing files without asking; leaves no partial file of a
  // damaged member. `print` gets the library's messages.
  virtual int Unpack(const std::string& archive, const std::string& folder,
                     const std::function<void(std::string_view text)>& print) = 0;
};

}  // namespace pellora
