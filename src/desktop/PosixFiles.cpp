#include "desktop/PosixFiles.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <limits>
#include <optional>

#include "desktop/FileFailure.h"

namespace pellora {

namespace {

// A NUL would silently cut the name.
void CheckPath(const std::string& path) {
  if (path.empty() || path.find('\0') != std::string::npos) throw FileFailure(path, EINVAL);
}

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

bool IsOneFile(const struct stat& a, const struct stat& b) { return a.st_dev == b.st_dev && a.st_ino == b.st_ino; }

off_t Position(const std::string& path, std::uint64_t offset, std::uint64_t length) {
  constexpr std::uint64_t kMaxOffset = std::numeric_limits<off_t>::max();
  if (offset > kMaxOffset || length > kMaxOffset - offset) throw FileFailure(path, EFBIG);
  return static_cast<off_t>(offset);
}

// Copies between files without leaving the page cache: the pipe holds references. A pipe of one mebibyte takes fewer
// calls than copy_file_range, which splices 64 KiB at a time.
class Pipe {
 public:
  explicit Pipe(std::size_t size) {
    if (pipe2(ends_.data(), O_CLOEXEC) != 0) ends_ = {-1, -1};
    if (*this) fcntl(Inlet(), F_SETPIPE_SZ, static_cast<int>(std::min<std::size_t>(size, kMaxPipe)));
  }
  ~Pipe() {
    if (!*this) return;
    close(Inlet());
    close(Outlet());
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  explicit operator bool() const { return Outlet() >= 0; }
  int Outlet() const { return ends_[0]; }
  int Inlet() const { return ends_[1]; }

 private:
  static constexpr std::size_t kMaxPipe = std::size_t{1} << 20;  // the most that an unprivileged user gets
  std::array<int, 2> ends_{};
};

ssize_t Spliced(int from, off_t* fromOffset, int to, off_t* toOffset, std::size_t size) {
  ssize_t count = 0;
  do {
    count = splice(from, fromOffset, to, toOffset, size, 0);
  } while (count < 0 && errno == EINTR);
  return count;
}

class PosixFile final : public File {
 public:
  PosixFile(std::string path, int fd) : path_(std::move(path)), fd_(fd) {}
  ~PosixFile() override { close(fd_); }
  PosixFile(const PosixFile&) = delete;
  PosixFile& operator=(const PosixFile&) = delete;

  void WriteAt(std::uint64_t offset, std::string_view bytes) override {
    off_t at = Position(path_, offset, bytes.size());
    while (!bytes.empty()) {
      const ssize_t count = pwrite(fd_, bytes.data(), bytes.size(), at);
      if (count < 0) {
        if (errno == EINTR) continue;
        throw FileFailure(path_, errno);
      }
      if (count == 0) throw FileFailure(path_, EIO);
      at += count;
      bytes.remove_prefix(static_cast<std::size_t>(count));
    }
  }

  std::size_t ReadAt(std::uint64_t offset, std::span<char> buffer) override {
    const off_t start = Position(path_, offset, buffer.size());
    std::size_t total = 0;
    while (total < buffer.size()) {
      const ssize_t count = pread(fd_, buffer.data() + total, buffer.size() - total, start + static_cast<off_t>(total));
      if (count < 0) {
        if (errno == EINTR) continue;
        throw FileFailure(path_, errno);
      }
      if (count == 0) break;
      total += static_cast<std::size_t>(count);
    }
    return total;
  }

  std::size_t CopyFrom(File& source, std::uint64_t from, std::uint64_t offset, std::size_t size) override {
    const auto* const other = dynamic_cast<const PosixFile*>(&source);
    if (other == nullptr || IsSameAs(*other)) return 0;
    off_t in = Position(other->path_, from, size);
    off_t out = Position(path_, offset, size);
    const Pipe pipe(size);
    std::size_t total = 0;
    while (pipe && total < size) {
      // If writing fails, the content of the pipe is lost and counts as not copied.
      ssize_t held = Spliced(other->fd_, &in, pipe.Inlet(), nullptr, size - total);
      if (held <= 0) break;
      for (ssize_t moved = 0; held > 0; held -= moved, total += static_cast<std::size_t>(moved)) {
        moved = Spliced(pipe.Outlet(), nullptr, fd_, &out, static_cast<std::size_t>(held));
        if (moved <= 0) return total;
      }
    }
    return total;
  }

  std::uint64_t Length() override { return static_cast<std::uint64_t>(Status().st_size); }

  void Reserve(std::uint64_t size) override {
    if (size == 0) return;
    const off_t end = Position(path_, size, 0);
    int result = 0;
    do {
      // Keeps the visible length: a reader must not take reserved space for content.
      result = fallocate(fd_, FALLOC_FL_KEEP_SIZE, 0, end);
    } while (result != 0 && errno == EINTR);
    if (result == 0) return;
    // Some file systems return EINVAL if they cannot reserve beyond the end.
    const int error = errno;
    if (error == EOPNOTSUPP || error == ENOSYS || error == EINVAL) return CheckFreeSpace(size);
    FreeReservedBlocks();
    throw FileFailure(path_, error);
  }

 private:
  struct stat Status() const {
    struct stat status {};
    if (fstat(fd_, &status) != 0) throw FileFailure(path_, errno);
    return status;
  }

  // Ranges within one file may overlap; splice must not copy a file into itself.
  bool IsSameAs(const PosixFile& other) const { return IsOneFile(Status(), other.Status()); }

  // When the disk is full, fallocate may leave the blocks it got so far allocated beyond the end. Truncating the file
  // to its own length frees them.
  void FreeReservedBlocks() const {
    struct stat status {};
    if (fstat(fd_, &status) != 0 || ftruncate(fd_, status.st_size) != 0) return;  // they stay allocated to this file
  }

  // For file systems that cannot reserve: compares with the free space of this moment. File systems that report no free
  // space or no size are trusted.
  void CheckFreeSpace(std::uint64_t size) const {
    const auto have = static_cast<std::uint64_t>(Status().st_blocks) * 512;
    struct statvfs space {};
    if (fstatvfs(fd_, &space) != 0 || space.f_blocks == 0) return;
    if (size > have && size - have > std::uint64_t{space.f_bavail} * space.f_frsize) throw FileFailure(path_, ENOSPC);
  }

  std::string path_;
  int fd_;
};

constexpr mode_t kPrivateMode = 0600;
constexpr mode_t kDefaultMode = 0666;

// O_NONBLOCK: opening must not hang if a pipe has just replaced the file.
int OpenPath(const std::string& path, int flags, mode_t mode) {
  int fd = -1;
  do {
    fd = open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, mode);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

// Creates the file if it is missing. Fails with ELOOP for a link.
int OpenNoFollow(const std::string& path, mode_t mode) { return OpenPath(path, O_RDWR | O_CREAT | O_NOFOLLOW, mode); }

struct stat RegularStatus(const std::string& path, int fd) {
  struct stat status {};
  if (fstat(fd, &status) != 0) throw FileFailure(path, errno);
  RefuseIrregular(path, status.st_mode);
  return status;
}

// File systems without access rights refuse the change; there the mount decides who may read.
void CloseToOthers(int fd, mode_t mode) {
  if ((mode & 07777) != kPrivateMode) (void)fchmod(fd, kPrivateMode);
}

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

std::unique_ptr<File> PosixFiles::OpenPart(const std::string& path) const {
  if (LookAtPart(path) == PartName::Foreign) RefusePart(path);  // opening has side effects on some devices
  const int fd = OpenNoFollow(path, kPrivateMode);
  if (fd < 0) {
    const int error = errno;
    if (LookAtPart(path) == PartName::Foreign) RefusePart(path);
    throw FileFailure(path, error);
  }
  auto file = std::make_unique<PosixFile>(path, fd);
  struct stat opened {};
  struct stat named {};
  if (fstat(fd, &opened) != 0) throw FileFailure(path, errno);
  // The link count alone does not show a second name that is removed just now.
  const bool same = lstat(path.c_str(), &named) == 0 && IsOneFile(opened, named);
  if (!same || !MayBePart(path, opened)) RefusePart(path);
  CloseToOthers(fd, opened.st_mode);
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
  if (kind == FileKind::Part) return OpenPart(path);
  const bool output = kind == FileKind::Output;
  const int fd = OpenByOwnLinks(path, output ? kDefaultMode : kPrivateMode);
  auto file = std::make_unique<PosixFile>(path, fd);
  const struct stat status = RegularStatus(path, fd);
  if (!output) CloseToOthers(fd, status.st_mode);
  return file;
}

std::unique_ptr<File> PosixFiles::OpenForReading(const std::string& path) {
  RefuseIrregular(path, StatusOf(path).st_mode);
  const int fd = OpenPath(path, O_RDONLY, 0);
  if (fd < 0) throw FileFailure(path, errno);
  auto file = std::make_unique<PosixFile>(path, fd);
  (void)RegularStatus(path, fd);
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
