// OutputFolders: files below a folder that the user has chosen, by names from somewhere else. Nothing is ever made,
// read or replaced outside of it: no link below the folder is followed, and no name leads out of it.
//
// A file has no name until it is complete. All calls may wait for a disk: they belong to Background works. Paths are
// the parts of a path below the folder: never empty, "." or "..", without "/". Every operation throws Failure(File)
// unless it says otherwise; or RefusedName if just this path is the reason: a file or a link is where it needs
// a folder, or the disk knows no such names.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ports/DownloadFiles.h"
#include "ports/Files.h"

namespace pellora {

using OutputPath = std::vector<std::string>;

struct OutputTraits {
  std::uint16_t mode = 0;                // Unix permissions, without those for other users' identities; 0: not known
  std::optional<std::int64_t> modified;  // seconds since 1970
  // Where that is not known: a time of this machine's zone, as ZIP archives have it (APPNOTE.TXT 6.3.10,
  // section 4.4.6), the date above the time; 0: not known either.
  std::uint32_t localTime = 0;
};

class OutputFile {
 public:
  virtual ~OutputFile() = default;                 // deleted, unless it was published
  virtual void Write(std::string_view bytes) = 0;  // after what was written before
  // Waits until its bytes are on the disk, unless FlushTogether did, and gives it this name in its folder. Its rights
  // become those of `traits` less what the umask takes, always with reading and writing for the user. False, and
  // nothing has changed, if something has the name; or, with `replaced`, unless that file has it.
  virtual bool Publish(const std::string& name, const OutputTraits& traits,
                       const std::optional<FileIdentity>& replaced) = 0;
};

// To which all has been written.
struct CompleteFile {
  OutputFile* file = nullptr;
  OutputTraits traits;  // those that Publish is to give it
};

enum class OutputName : std::uint8_t { Free, File, Folder, Other };  // Other: a link, a device, ...

struct OutputFound {
  OutputName what = OutputName::Free;
  FileIdentity identity;     // of a File
  std::uint64_t length = 0;  // of a File
};

class OutputFolder {
 public:
  virtual ~OutputFolder() = default;
  // A file for the user alone, without a name, in the folder of `path`, which is made with all above it.
  virtual std::unique_ptr<OutputFile> Create(const OutputPath& path) = 0;
  // Waits until the bytes of all of these files, which Create made, are on the disk: that takes little longer than for
  // one. If it throws, it is not known of which they are.
  virtual void FlushTogether(const std::vector<CompleteFile>& files) = 0;
  // Waits until all names that Publish gave, and the folders that Create made for them, are on the disk.
  virtual void FlushNames() = 0;
  // FlushNames waits for this name as well: a former run gave it, and may not have come to that.
  virtual void AddName(const OutputPath& path) = 0;
  // Existing ones are no failure. The folder is on the disk, but for its traits.
  virtual void MakeFolder(const OutputPath& path) = 0;
  // Of a folder that is there. Its rights become fewer, but never more, as the folder may have been the user's before;
  // those that the user has stay. Last, as new files change a folder's time.
  virtual void SetTraits(const OutputPath& path, const OutputTraits& traits) = 0;
  virtual OutputFound LookAt(const OutputPath& path) = 0;
  // For reading; null if no File has this name.
  virtual std::unique_ptr<File> OpenFile(const OutputPath& path) = 0;
  // A File has this name, and the time that Publish gives by these traits, as far as disks keep times. False if they
  // have none.
  virtual bool HasTime(const OutputPath& path, const OutputTraits& traits) = 0;
};

class OutputFolders {
 public:
  virtual ~OutputFolders() = default;
  // The folder is made if it is missing. Its own path may lead over links, as the user has chosen it.
  virtual std::shared_ptr<OutputFolder> Open(const std::string& folder) = 0;
};

}  // namespace pellora
