#include "desktop/PosixDownloadFiles.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <limits>

#include "desktop/AtomicFile.h"
#include "desktop/FileFailure.h"
#include "desktop/PosixFile.h"

namespace pellora {

namespace {

// The umask without changing it, which other threads would notice; the strictest if the system does not say.
mode_t Umask() {
  const std::string path = "/proc/self/status";
  mode_t mask = 0077;
  const int fd = OpenPath(path, O_RDONLY, 0);
  if (fd < 0) return mask;
  std::array<char, 512> buffer{};  // the umask is in the second line
  const std::string_view text(buffer.data(), PosixFile(path, fd).ReadAt(0, buffer));
  constexpr std::string_view kKey = "\nUmask:\t";
  const std::string_view::size_type key = text.find(kKey);
  if (key != std::string_view::npos) std::from_chars(text.data() + key + kKey.size(), text.end(), mask, 8);
  return mask;
}

// File systems without access rights refuse the change.
void OpenByUmask(const PosixFile& file) { file.SetRights(0666 & ~Umask()); }

// Whether `error` says that the file system lacks an operation, rather than that it has failed.
bool MeansCannot(int error) {
  return error == EINVAL || error == ENOSYS || error == EOPNOTSUPP || error == EPERM || error == EMLINK;
}

enum class Renamed { Yes, NameTaken, Cannot };

Renamed ByError(int result, const std::string& path) {
  if (result == 0) return Renamed::Yes;
  if (errno == EEXIST) return Renamed::NameTaken;
  if (MeansCannot(errno)) return Renamed::Cannot;
  throw FileFailure(path, errno);
}

Renamed InOneStep(const std::string& from, const std::string& to) {
  return ByError(renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE), to);
}

Renamed ByLink(const std::string& from, const std::string& to) {
  const Renamed linked = ByError(link(from.c_str(), to.c_str()), to);
  if (linked != Renamed::Yes || unlink(from.c_str()) == 0) return linked;
  const int error = errno;
  unlink(to.c_str());
  throw FileFailure(from, error);
}

Renamed WithPlaceHolder(const std::string& from, const std::string& to) {
  const int fd = OpenPath(to, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, kPrivateMode);
  if (fd < 0 && errno == EEXIST) return Renamed::NameTaken;
  if (fd < 0) throw FileFailure(to, errno);
  close(fd);
  if (rename(from.c_str(), to.c_str()) == 0) return Renamed::Yes;
  const int error = errno;
  unlink(to.c_str());
  throw FileFailure(to, error);
}

bool RenameExclusively(ExclusiveRename best, const std::string& from, const std::string& to) {
  Renamed result = Renamed::Cannot;
  if (best == ExclusiveRename::InOneStep) result = InOneStep(from, to);
  if (result == Renamed::Cannot && best != ExclusiveRename::PlaceHolder) result = ByLink(from, to);
  if (result == Renamed::Cannot) result = WithPlaceHolder(from, to);
  return result == Renamed::Yes;
}

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
  ReplaceFile(path, bytes, kPrivateMode);
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

bool PosixDownloadFiles::Publish(const std::string& part, const std::string& path) {
  CheckPath(path);
  const PosixFile file = OpenToPublish(part);
  OpenByUmask(file);  // first: nothing would do it after a kill
  if (!RenameExclusively(best_, part, path)) {
    file.SetRights(kPrivateMode);
    return false;
  }
  FlushFolderOf(path);
  return true;
}

bool PosixDownloadFiles::PublishOver(const std::string& part, const std::string& path, const FileState& replaced) {
  const PosixFile file = OpenToPublish(part);
  if (StateOf(path) != replaced) return false;
  OpenByUmask(file);
  if (rename(part.c_str(), path.c_str()) != 0) throw FileFailure(path, errno);
  FlushFolderOf(path);
  return true;
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
