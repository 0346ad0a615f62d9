#include "desktop/PosixFiles.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <optional>

#include "desktop/FileFailure.h"
#include "desktop/PosixFile.h"

namespace pellora {

namespace {

struct stat StatusOf(const std::string& path) {
  CheckPath(path);
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) throw FileFailure(path, errno);
  return status;
}

void RefuseIrregular(const std::string& path, mode_t mode) {
  if (S_ISREG(mode)) return;
  if (S_ISDIR(mode)) throw FileFailure(path, EISDIR);
  throw Failure(FailureNumber::File, path + ": not a regular file");
}

constexpr mode_t kDefaultMode = 0666;

// Creates the file if it is missing. Fails with ELOOP for a link.
int OpenNoFollow(const std::string& path, mode_t mode) { return OpenPath(path, O_RDWR | O_CREAT | O_NOFOLLOW, mode); }

std::string FolderOf(const std::string& path) { return path.substr(0, path.rfind('/') + 1); }

// The owner that this file system reports for files created by this process.
std::optional<uid_t> OwnerOfNewFiles(const std::string& folder) {
  std::string name = folder + ".pellora-XXXXXX";
  const int fd = mkostemp(name.data(), O_CLOEXEC);
  if (fd < 0) return std::nullopt;
  struct stat status {};
  const bool known = fstat(fd, &status) == 0;
  unlink(name.c_str());
  close(fd);
  return known ? std::optional(status.st_uid) : std::nullopt;
}

[[noreturn]] void RefuseForeign(const std::string& path, const char* reason) {
  throw Failure(FailureNumber::ForeignFile, path + ": " + reason);
}

[[noreturn]] void RefusePart(const std::string& path) {
  RefuseForeign(path, "not a part file of this program: a link, another user's, or with several names");
}

}  // namespace

PosixFiles::PosixFiles() : PosixFiles(geteuid()) {}

// Network shares and foreign file systems may report one owner for all files, including those of this user.
bool PosixFiles::IsOurs(const std::string& path, const struct stat& status) const {
  return status.st_uid == user_ || OwnerOfNewFiles(FolderOf(path)) == status.st_uid;
}

bool PosixFiles::MayBePart(const std::string& path, const struct stat& status) const {
  return S_ISREG(status.st_mode) && status.st_nlink <= 1 && IsOurs(path, status);
}

PartName PosixFiles::LookAtPart(const std::string& path) const {
  struct stat status {};
  if (path.find('\0') != std::string::npos || lstat(path.c_str(), &status) != 0) return PartName::Free;
  return MayBePart(path, status) ? PartName::Own : PartName::Foreign;
}

std::unique_ptr<PosixFile> PosixFiles::OpenPart(const std::string& path, bool create) const {
  if (LookAtPart(path) == PartName::Foreign) RefusePart(path);  // opening has side effects on some devices
  const int fd = create ? OpenNoFollow(path, kPrivateMode) : OpenPath(path, O_RDWR | O_NOFOLLOW, 0);
  if (fd < 0) {
    const int error = errno;
    if (LookAtPart(path) == PartName::Foreign) RefusePart(path);
    if (error == ENOENT && !create) return nullptr;
    throw FileFailure(path, error);
  }
  auto file = std::make_unique<PosixFile>(path, fd);
  struct stat named {};
  const struct stat opened = file->Status();
  // The link count alone does not show a second name that is removed just now.
  const bool same = lstat(path.c_str(), &named) == 0 && IsOneFile(opened, named);
  if (!same || !MayBePart(path, opened)) RefusePart(path);
  file->CloseToOthers();
  return file;
}

// Reads owner and link from one descriptor: the name may be replaced in between.
std::string PosixFiles::TargetOfOwnLink(const std::string& link) const {
  const int fd = OpenPath(link, O_PATH | O_NOFOLLOW, 0);
  if (fd < 0) throw FileFailure(link, errno);
  std::string target(PATH_MAX, '\0');
  struct stat status {};
  const bool read = fstat(fd, &status) == 0;
  const ssize_t length = readlinkat(fd, "", target.data(), target.size());
  const int error = errno;
  close(fd);
  if (read && S_ISLNK(status.st_mode) && !IsOurs(link, status))
    RefuseForeign(link, "a link of another user is not followed");
  if (!read || length <= 0) throw FileFailure(link, error);
  target.resize(static_cast<std::size_t>(length));
  return target.front() == '/' ? target : FolderOf(link) + target;
}

int PosixFiles::OpenByOwnLinks(const std::string& path, mode_t mode) const {
  constexpr int kMaxLinks = 40;  // as in the kernel
  std::string at = path;
  for (int links = 0; links <= kMaxLinks; ++links) {
    // Checked before opening, which has side effects on some devices.
    struct stat status {};
    if (lstat(at.c_str(), &status) == 0 && !S_ISLNK(status.st_mode)) RefuseIrregular(path, status.st_mode);
    const int fd = OpenNoFollow(at, mode);
    if (fd >= 0) return fd;
    if (errno != ELOOP) throw FileFailure(path, errno);
    at = TargetOfOwnLink(at);
  }
  throw FileFailure(path, ELOOP);
}

std::unique_ptr<File> PosixFiles::Open(const std::string& path, FileKind kind) {
  CheckPath(path);
  if (kind == FileKind::Part) return OpenPart(path, true);
  const bool output = kind == FileKind::Output;
  const int fd = OpenByOwnLinks(path, output ? kDefaultMode : kPrivateMode);
  auto file = std::make_unique<PosixFile>(path, fd);
  RefuseIrregular(path, file->Status().st_mode);
  if (!output) file->CloseToOthers();
  return file;
}

std::unique_ptr<File> PosixFiles::OpenForReading(const std::string& path) {
  RefuseIrregular(path, StatusOf(path).st_mode);
  const int fd = OpenPath(path, O_RDONLY, 0);
  if (fd < 0) throw FileFailure(path, errno);
  auto file = std::make_unique<PosixFile>(path, fd);
  RefuseIrregular(path, file->Status().st_mode);
  return file;
}

void PosixFiles::Delete(const std::string& path) {
  CheckPath(path);
  if (unlink(path.c_str()) != 0) throw FileFailure(path, errno);
}

void PosixFiles::CreateFolder(const std::string& path) {
  CheckPath(path);
  std::string::size_type end = path.find('/', 1);
  for (;; end = path.find('/', end + 1)) {
    const std::string part = path.substr(0, end);
    struct stat status {};
    if (stat(part.c_str(), &status) == 0) {
      if (!S_ISDIR(status.st_mode)) throw FileFailure(part, ENOTDIR);
    } else if (mkdir(part.c_str(), 0777) != 0 && errno != EEXIST) {
      throw FileFailure(part, errno);
    }
    if (end == std::string::npos) return;
  }
}

bool PosixFiles::Exists(const std::string& path) const {
  struct stat status {};
  return path.find('\0') == std::string::npos && stat(path.c_str(), &status) == 0;
}

bool PosixFiles::FolderExists(const std::string& path) const {
  struct stat status {};
  const bool found = path.find('\0') == std::string::npos && stat(path.c_str(), &status) == 0;
  return found && S_ISDIR(status.st_mode);
}

std::uint64_t PosixFiles::LengthOf(const std::string& path) const {
  const struct stat status = StatusOf(path);
  RefuseIrregular(path, status.st_mode);
  return static_cast<std::uint64_t>(status.st_size);
}

std::vector<std::string> PosixFiles::FilesIn(const std::string& folder) const {
  std::vector<std::string> names;
  DIR* const opened = opendir(folder.c_str());
  if (opened == nullptr) return names;
  while (const dirent* entry = readdir(opened)) {
    struct stat status {};
    if (fstatat(dirfd(opened), entry->d_name, &status, 0) == 0 && S_ISREG(status.st_mode)) {
      names.emplace_back(entry->d_name);
    }
  }
  closedir(opened);
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace pellora
