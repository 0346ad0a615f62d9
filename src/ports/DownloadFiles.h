// DownloadFiles: files whose bytes are known to be on the disk, and names that change whole.
//
// A download is written to a part file in the folder of its output and renamed once it is complete. What the journal
// says of it was flushed before. All calls may wait for a disk: they belong to Background works, one file's in order.
// Paths are bytes, "/" separates, offsets count from 0. Every operation throws Failure(File), whose text names the path
// and the reason, unless it says otherwise.
#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ports/Files.h"

namespace pellora {

// Two paths or open files lead to the same file if these are equal.
struct FileIdentity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

struct FileState {
  FileIdentity identity;
  std::uint64_t length = 0;
  std::int64_t modified = 0;  // nanoseconds since 1970
  friend bool operator==(const FileState&, const FileState&) = default;
};

class DownloadFile : public File {
 public:
  // Returns once everything that was written before the call is on the disk. After a failure it is not known what is,
  // and a later success says nothing about it.
  virtual void Flush() = 0;
  // Bytes beyond the former end are zeros.
  virtual void SetLength(std::uint64_t length) = 0;
  virtual FileState State() = 0;
};

class DownloadFiles {
 public:
  virtual ~DownloadFiles() = default;
  // Creates a file for the user alone at a name that nothing had; null if something has it, a dangling link too. It is
  // locked until it is closed or the program ends.
  virtual std::unique_ptr<DownloadFile> Create(const std::string& path) = 0;
  // Opens and locks a part file of an earlier run: a regular file of the user's with one name and this inode; the
  // number of a device may be another after a restart of the machine. Null if there is no such file there, or another
  // program has it locked.
  virtual std::unique_ptr<DownloadFile> Adopt(const std::string& path, const FileIdentity& identity) = 0;
  // For the journal: created when missing, for the user alone, never emptied; Failure(ForeignFile) like a part.
  virtual std::unique_ptr<DownloadFile> OpenJournal(const std::string& path) = 0;
  // The file now has these bytes, is on the disk and for the user alone, or it is as it was before. Missing folders are
  // made for the user alone too.
  virtual void Replace(const std::string& path, std::string_view bytes) = 0;
  // What is at the path, links not followed; nothing if nothing is, or no regular file.
  virtual std::optional<FileState> StateOf(const std::string& path) const = 0;
  // Flushes all of these, which takes little longer than flushing one. What each call has thrown, or null: first those
  // of the files.
  virtual std::vector<std::exception_ptr> FlushTogether(const std::vector<DownloadFile*>& files,
                                                        const std::vector<std::string>& folders);
  // Renames within one folder. False, and nothing has changed, if something has the new name. The rights become those
  // that the umask leaves a new file. The new name is on the disk after FlushFolder.
  virtual bool Publish(const std::string& part, const std::string& path) = 0;
  // The same over a file that still has this state; False if it has another.
  virtual bool PublishOver(const std::string& part, const std::string& path, const FileState& replaced) = 0;
  // Returns once the names that were given or deleted in this folder are so on the disk, if its file system can tell.
  virtual void FlushFolder(const std::string& folder) = 0;
  // Bytes that the user may still write to the disk of this folder.
  virtual std::uint64_t RoomIn(const std::string& folder) const = 0;
  // The number of this folder's disk: folders share their room with those of the same number.
  virtual std::uint64_t DiskOf(const std::string& folder) const = 0;
  // Of the disk of this folder: the length of the longest file; and whether a write far beyond the end of a file fills
  // the gap with zeros at once (FAT, exFAT), so that a file must grow in order.
  virtual std::uint64_t LongestFileIn(const std::string& folder) const = 0;
  virtual bool FillsGaps(const std::string& folder) const = 0;
};

}  // namespace pellora
