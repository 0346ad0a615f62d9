#include "desktop/PosixDownloadFiles.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <limits>

#include "desktop/AtomicFile.h"
#include "desktop/FileFailure.h"
#include "desktop/InThreads.h"
#include "desktop/PosixFile.h"

namespace pellora {

namespace {

// File systems without access rights refuse the change.
void OpenByUmask(const PosixFile& file) { file.SetRights(0666 & ~ProcessUmask()); }

// Opened before its name changes, so that the rights go to this file and to no other.
PosixFile OpenToPublish(const std::string& part) {
  CheckPath(part);
  const int fd = OpenPath(part, O_RDONLY | O_NOFOLLOW, 0);
  if (fd < 0) throw FileFailure(part, errno);
  return {part, fd};
}

}  // namespace

DiskLimits LimitsOf(std::int64_t fileSystem) {
  constexpr std::uint64_t kUnlimited = std::numeric_limits<off_t>::max();
  constexpr std::uint64_t kFatFile = std::numeric_limits<std::uint32_t>::max();
  switch (fileSystem) {
    case MSDOS_SUPER_MAGIC:
      return {kFatFile, true};
    case EXFAT_SUPER_MAGIC:
      return {kUnlimited, true};
    default:
      return {kUnlimited, false};
  }
}

namespace {

DiskLimits LimitsIn(const std::string& folder) {
  CheckPath(folder);
  struct statfs disk {};
  if (statfs(folder.c_str(), &disk) != 0) throw FileFailure(folder, errno);
  return LimitsOf(disk.f_type);
}

}  // namespace

std::unique_ptr<DownloadFile> PosixDownloadFiles::Create(const std::string& path) {
  CheckPath(path);
  const int fd = OpenPath(path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, kPrivateMode);
  if (fd < 0 && errno == EEXIST) return nullptr;
  if (fd < 0) throw FileFailure(path, errno);
  auto file = std::make_unique<PosixFile>(path, fd);
  file->CloseToOthers();  // the umask may have taken even the user's rights
  file->WriteBackEarly();
  if (!file->Lock()) return nullptr;
  return file;
}

std::unique_ptr<DownloadFile> PosixDownloadFiles::Adopt(const std::string& path, const FileIdentity& identity) {
  CheckPath(path);
  if (files_.LookAtPart(path) != PartName::Own) return nullptr;
  // Opening takes the rights of others away, which another file is to keep.
  const std::optional<FileState> there = StateOf(path);
  if (!there || there->identity.inode != identity.inode) return nullptr;
  std::unique_ptr<PosixFile> file;
  try {
    file = files_.OpenPart(path, false);
  } catch (const Failure& failure) {
    if (failure.Number() == FailureNumber::ForeignFile) return nullptr;  // replaced just now
    throw;
  }
  if (!file || file->State().identity.inode != identity.inode || !file->Lock()) return nullptr;
  file->WriteBackEarly();
  return file;
}

std::unique_ptr<DownloadFile> PosixDownloadFiles::OpenJournal(const std::string& path) {
  CheckPath(path);
  return files_.OpenPart(path, true);
}

void PosixDownloadFiles::Replace(const std::string& path, std::string_view bytes) {
  CheckPath(path);
  if (files_.LookAtPart(path) == PartName::Foreign) {
    throw Failure(FailureNumber::ForeignFile, path + ": a link, another user's, or with several names");
  }
  ReplaceFile(path, bytes, kPrivateMode, FormerRights::Dropped);  // as OpenJournal: the next one is to open it
}

std::optional<FileState> PosixDownloadFiles::StateOf(const std::string& path) const {
  CheckPath(path);
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) {
    if (errno == ENOENT || errno == ENOTDIR) return std::nullopt;
    throw FileFailure(path, errno);
  }
  if (!S_ISREG(status.st_mode)) return std::nullopt;
  return StateIn(status);
}

std::vector<std::exception_ptr> PosixDownloadFiles::FlushTogether(const std::vector<DownloadFile*>& files,
                                                                  const std::vector<std::string>& folders) {
  std::vector<std::exception_ptr> failures(files.size() + folders.size());
  InThreads(failures.size(), [&](std::size_t at) {
    try {
      at < files.size() ? files[at]->Flush() : FlushFolder(folders[at - files.size()]);
    } catch (const Failure&) {
      failures[at] = std::current_exception();
    }
  });
  return failures;
}

bool PosixDownloadFiles::Publish(const std::string& part, const std::string& path) {
  CheckPath(path);
  const PosixFile file = OpenToPublish(part);
  OpenByUmask(file);  // first: nothing would do it after a kill
  if (!RenameExclusively(best_, AT_FDCWD, part, path, path)) {
    file.SetRights(kPrivateMode);
    return false;
  }
  return true;
}

bool PosixDownloadFiles::PublishOver(const std::string& part, const std::string& path, const FileState& replaced) {
  const PosixFile file = OpenToPublish(part);
  if (StateOf(path) != replaced) return false;
  OpenByUmask(file);
  if (rename(part.c_str(), path.c_str()) != 0) throw FileFailure(path, errno);
  return true;
}

void PosixDownloadFiles::FlushFolder(const std::string& folder) {
  CheckPath(folder);
  FlushNamesIn(folder);
}

std::uint64_t PosixDownloadFiles::RoomIn(const std::string& folder) const {
  CheckPath(folder);
  struct statvfs space {};
  if (statvfs(folder.c_str(), &space) != 0) throw FileFailure(folder, errno);
  // File systems that report no size are trusted.
  if (space.f_blocks == 0) return std::numeric_limits<std::uint64_t>::max();
  return std::uint64_t{space.f_bavail} * space.f_frsize;
}

std::uint64_t PosixDownloadFiles::DiskOf(const std::string& folder) const {
  CheckPath(folder);
  struct stat status {};
  if (stat(folder.c_str(), &status) != 0) throw FileFailure(folder, errno);
  return status.st_dev;
}

std::uint64_t PosixDownloadFiles::LongestFileIn(const std::string& folder) const {
  return LimitsIn(folder).longestFile;
}

bool PosixDownloadFiles::FillsGaps(const std::string& folder) const { return LimitsIn(folder).fillsGaps; }

}  // namespace pellora
