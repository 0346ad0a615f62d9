// PosixFile: one open file, by descriptor and position, unbuffered. PosixFiles and PosixDownloadFiles open it.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <string>

#include "ports/DownloadFiles.h"

namespace pellora {

constexpr mode_t kPrivateMode = 0600;

// Throws for an empty path and for one with a NUL, which would silently cut the name.
void CheckPath(const std::string& path);
bool IsOneFile(const struct stat& a, const struct stat& b);
FileState StateIn(const struct stat& status);
// Close-on-exec, and O_NONBLOCK: opening must not hang if a pipe has just replaced the file.
int OpenPath(const std::string& path, int flags, mode_t mode);

// The umask without changing it, which other threads would notice; the strictest if the system does not say.
mode_t ProcessUmask();

class PosixFile final : public DownloadFile {
 public:
  PosixFile(std::string path, int fd);  // takes the descriptor
  ~PosixFile() override;
  PosixFile(const PosixFile&) = delete;
  PosixFile& operator=(const PosixFile&) = delete;

  void WriteAt(std::uint64_t offset, std::string_view bytes) override;
  std::size_t ReadAt(std::uint64_t offset, std::span<char> buffer) override;
  std::size_t CopyFrom(File& source, std::uint64_t from, std::uint64_t offset, std::size_t size) override;
  std::uint64_t Length() override;
  bool IsPrivate() override;
  void Reserve(std::uint64_t size) override;
  void Flush() override;
  void SetLength(std::uint64_t length) override;
  FileState State() override;

  // False if another program has it locked. The lock ends when the file is closed.
  bool Lock() const;
  // From now on the disk is given what was written each few MiB, so that Flush has little left to wait for.
  void WriteBackEarly() { writesBackEarly_ = true; }
  void CloseToOthers() const;
  void SetRights(mode_t mode) const;  // file systems without rights refuse; there the mount decides who may read
  struct stat Status() const;

 private:
  void FreeReservedBlocks() const;
  void StartWriteBack(std::size_t written);
  void CheckFreeSpace(std::uint64_t size) const;

  std::string path_;
  int fd_;
  bool writesBackEarly_ = false;
  std::size_t unstarted_ = 0;  // bytes written since the last start
};

}  // namespace pellora
