#include "desktop/AtomicFile.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

#include "desktop/Descriptor.h"
#include "desktop/FileFailure.h"
#include "desktop/PosixFiles.h"
#include "ports/Failure.h"

namespace pellora {

namespace {

constexpr std::uint64_t kMaxSize = std::uint64_t{16} << 20;

std::string FolderOf(const std::string& path) {
  const std::string::size_type slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::string ResolveLinks(const std::string& path) {
  const std::unique_ptr<char, void (*)(void*)> real(realpath(path.c_str(), nullptr), std::free);
  return real ? std::string(real.get()) : path;
}

constexpr std::string_view kDraftMark = ".new-";
constexpr std::string_view kRandomPart = "XXXXXX";
constexpr std::string_view kDraftEnding = ".draft";  // ".new-" alone could match a user's own copy, e.g. ".new-backup"

// Removes drafts left beside the target by a killed process, whose lock is gone.
void RemoveOrphanedDrafts(const std::string& target) {
  const std::string folder = FolderOf(target);
  const std::string start = target.substr(target.rfind('/') + 1) + std::string(kDraftMark);
  DIR* const opened = opendir(folder.c_str());
  if (opened == nullptr) return;
  while (const dirent* entry = readdir(opened)) {
    const std::string name = entry->d_name;
    if (!name.starts_with(start) || !name.ends_with(kDraftEnding)) continue;
    if (name.size() != start.size() + kRandomPart.size() + kDraftEnding.size()) continue;
    const int fd = openat(dirfd(opened), entry->d_name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) continue;
    struct stat status {};
    const bool left = fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && flock(fd, LOCK_EX | LOCK_NB) == 0;
    if (left) unlinkat(dirfd(opened), entry->d_name, 0);
    close(fd);
  }
  closedir(opened);
}

// A temporary file beside its target, deleted unless it is published under the target's name.
class Draft {
 public:
  explicit Draft(const std::string& target) {
    do {
      if (fd_ >= 0) close(fd_);
      name_.assign(target).append(kDraftMark).append(kRandomPart).append(kDraftEnding);
      fd_ = mkostemps(name_.data(), static_cast<int>(kDraftEnding.size()), O_CLOEXEC);
      if (fd_ < 0) throw FileFailure(target, errno);
    } while (!Lock());
  }
  ~Draft() {
    if (fd_ >= 0) close(fd_);
    if (!name_.empty()) unlink(name_.c_str());
  }
  Draft(const Draft&) = delete;
  Draft& operator=(const Draft&) = delete;

  void Write(std::string_view content) {
    while (!content.empty()) {
      const ssize_t count = write(fd_, content.data(), content.size());
      if (count < 0 && errno == EINTR) continue;
      if (count <= 0) throw FileFailure(name_, errno);
      content.remove_prefix(static_cast<std::size_t>(count));
    }
  }
  void Publish(const std::string& target, mode_t mode) {
    if (fchmod(fd_, mode) != 0 || fsync(fd_) != 0) throw FileFailure(name_, errno);
    if (rename(name_.c_str(), target.c_str()) != 0) throw FileFailure(target, errno);
    name_.clear();
  }

 private:
  // False if another program removed the draft as orphaned before it was locked.
  bool Lock() const {
    if (flock(fd_, LOCK_EX | LOCK_NB) != 0) return errno != EWOULDBLOCK;  // some file systems have no locks
    struct stat status {};
    return fstat(fd_, &status) != 0 || status.st_nlink > 0;
  }

  std::string name_;
  int fd_ = -1;
};

}  // namespace

void CreatePrivateFolders(const std::string& folder) {
  for (std::string::size_type end = folder.find('/', 1);; end = folder.find('/', end + 1)) {
    const std::string part = folder.substr(0, end);
    if (mkdir(part.c_str(), 0700) != 0 && errno != EEXIST) throw FileFailure(part, errno);
    if (end == std::string::npos) return;
  }
}

void RemoveFile(const std::string& path) {
  if (::unlink(path.c_str()) != 0 && errno != ENOENT && errno != ENOTDIR) throw FileFailure(path, errno);
}

void FlushNamesIn(const std::string& folder) {
  const Descriptor opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (opened) FlushNamesIn(opened.Number(), folder);  // not every folder may be read
}

// Disks that cannot do it keep names safe in their own way.
void FlushNamesIn(int openFolder, const std::string& path) {
  if (fsync(openFolder) == 0) return;
  if (errno == EIO || errno == ENOSPC || errno == EDQUOT) throw FileFailure(path, errno);
}

std::optional<std::string> ReadSmallFile(const std::string& path) {
  PosixFiles files;
  if (!files.Exists(path)) return std::nullopt;
  return ReadWholeFile(files, path, kMaxSize);
}

void ReplaceFile(const std::string& path, std::string_view content, unsigned mode, FormerRights former) {
  CreatePrivateFolders(FolderOf(path));
  const std::string target = ResolveLinks(path);
  struct stat status {};
  const bool keeps = former == FormerRights::Kept && stat(target.c_str(), &status) == 0;
  const mode_t rights = keeps ? status.st_mode & 07777 : static_cast<mode_t>(mode);
  RemoveOrphanedDrafts(target);
  Draft draft(target);
  draft.Write(content);
  draft.Publish(target, rights);
  Skip([&] { FlushNamesIn(FolderOf(target)); });  // it has the content in any case
}

void UpdateFile(const std::string& path, std::string_view content, unsigned mode) {
  if (ReadSmallFile(path) == content) return;
  ReplaceFile(path, content, mode);
}

}  // namespace pellora
