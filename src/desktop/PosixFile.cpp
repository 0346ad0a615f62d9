#include "desktop/PosixFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <limits>

#include "desktop/FileFailure.h"

namespace pellora {

namespace {

constexpr std::size_t kWriteBack = std::size_t{8} << 20;

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

}  // namespace

void CheckPath(const std::string& path) {
  if (path.empty() || path.find('\0') != std::string::npos) throw FileFailure(path, EINVAL);
}

bool IsOneFile(const struct stat& a, const struct stat& b) { return a.st_dev == b.st_dev && a.st_ino == b.st_ino; }

FileState StateIn(const struct stat& status) {
  constexpr std::int64_t kNanosPerSecond = 1000000000;
  return {{status.st_dev, status.st_ino},
          static_cast<std::uint64_t>(status.st_size),
          std::int64_t{status.st_mtim.tv_sec} * kNanosPerSecond + status.st_mtim.tv_nsec};
}

int OpenPath(const std::string& path, int flags, mode_t mode) {
  int fd = -1;
  do {
    fd = open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, mode);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

mode_t ProcessUmask() {
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

PosixFile::PosixFile(std::string path, int fd) : path_(std::move(path)), fd_(fd) {}

PosixFile::~PosixFile() { close(fd_); }

void PosixFile::WriteAt(std::uint64_t offset, std::string_view bytes) {
  off_t at = Position(path_, offset, bytes.size());
  const std::size_t all = bytes.size();
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
  if (writesBackEarly_) StartWriteBack(all);
}

// Failures show at the next flush.
void PosixFile::StartWriteBack(std::size_t written) {
  unstarted_ += written;
  if (unstarted_ < kWriteBack) return;
  unstarted_ = 0;
  (void)sync_file_range(fd_, 0, 0, SYNC_FILE_RANGE_WRITE);
}

std::size_t PosixFile::ReadAt(std::uint64_t offset, std::span<char> buffer) {
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

std::size_t PosixFile::CopyFrom(File& source, std::uint64_t from, std::uint64_t offset, std::size_t size) {
  const auto* const other = dynamic_cast<const PosixFile*>(&source);
  // Ranges within one file may overlap; splice must not copy a file into itself.
  if (other == nullptr || IsOneFile(Status(), other->Status())) return 0;
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

std::uint64_t PosixFile::Length() { return static_cast<std::uint64_t>(Status().st_size); }

void PosixFile::Reserve(std::uint64_t size) {
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

void PosixFile::Flush() {
  int result = 0;
  do {
    result = fdatasync(fd_);
  } while (result != 0 && errno == EINTR);
  if (result != 0) throw FileFailure(path_, errno);
}

void PosixFile::SetLength(std::uint64_t length) {
  int result = 0;
  do {
    result = ftruncate(fd_, Position(path_, length, 0));
  } while (result != 0 && errno == EINTR);
  if (result != 0) throw FileFailure(path_, errno);
}

FileState PosixFile::State() { return StateIn(Status()); }

bool PosixFile::Lock() const {
  // Some file systems have no locks.
  return flock(fd_, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}

bool PosixFile::IsPrivate() {
  const struct stat status = Status();
  return status.st_uid == geteuid() && (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

void PosixFile::CloseToOthers() const {
  if ((Status().st_mode & 07777) != kPrivateMode) SetRights(kPrivateMode);
}

void PosixFile::SetRights(mode_t mode) const { (void)fchmod(fd_, mode); }

struct stat PosixFile::Status() const {
  struct stat status {};
  if (fstat(fd_, &status) != 0) throw FileFailure(path_, errno);
  return status;
}

// When the disk is full, fallocate may leave the blocks it got so far allocated beyond the end. Truncating the file to
// its own length frees them.
void PosixFile::FreeReservedBlocks() const {
  struct stat status {};
  if (fstat(fd_, &status) != 0 || ftruncate(fd_, status.st_size) != 0) return;  // they stay allocated to this file
}

// For file systems that cannot reserve: compares with the free space of this moment. File systems that report no free
// space or no size are trusted.
void PosixFile::CheckFreeSpace(std::uint64_t size) const {
  const auto have = static_cast<std::uint64_t>(Status().st_blocks) * 512;
  struct statvfs space {};
  if (fstatvfs(fd_, &space) != 0 || space.f_blocks == 0) return;
  if (size > have && size - have > std::uint64_t{space.f_bavail} * space.f_frsize) throw FileFailure(path_, ENOSPC);
}

}  // namespace pellora
