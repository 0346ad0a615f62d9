#include "desktop/SingleInstance.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "desktop/FileFailure.h"

namespace pellora {

std::string SingleInstance::RuntimeFolder() {
  const char* const given = std::getenv("XDG_RUNTIME_DIR");
  if (given != nullptr && given[0] == '/') return given;
  std::string folder = "/tmp/pellora-" + std::to_string(getuid());
  if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) throw FileFailure(folder, errno);
  // Anyone may have made the name first: only a real folder of this user's own, closed to others, will do.
  struct stat status {};
  if (lstat(folder.c_str(), &status) != 0) throw FileFailure(folder, errno);
  if (!S_ISDIR(status.st_mode) || status.st_uid != getuid() || (status.st_mode & 0077) != 0) {
    throw FileFailure(folder, EPERM);
  }
  return folder;
}

SingleInstance::SingleInstance(const std::string& folder)
    : fd_(open((folder + "/pellora.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600)) {
  if (fd_ < 0) return;
  if (flock(fd_, LOCK_EX | LOCK_NB) == 0) return;
  anotherRuns_ = errno == EWOULDBLOCK;
}

SingleInstance::~SingleInstance() {
  // The file stays: removing it would let two copies lock two files of the same name.
  if (fd_ >= 0) close(fd_);
}

}  // namespace pellora
