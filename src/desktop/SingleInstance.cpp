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
  // Anyone can create the name first, so accept only a real folder of this user that is closed to others.
  struct stat status {};
  if (lstat(folder.c_str(), &status) != 0) throw FileFailure(folder, errno);
  if (!S_ISDIR(status.st_mode) || status.st_uid != getuid() || (status.st_mode & 0077) != 0) {
    throw FileFailure(folder, EPERM);
  }
  return folder;
}

SingleInstance::SingleInstance(const std::string& runtimeFolder, const std::string& listFolder)
    : sessionLock_(TryLock(runtimeFolder)), listLock_(TryLock(listFolder)) {}

SingleInstance::~SingleInstance() {
  // The files stay: after a removal, two copies could lock two files of the same name.
  if (sessionLock_ >= 0) close(sessionLock_);
  if (listLock_ >= 0) close(listLock_);
}

int SingleInstance::TryLock(const std::string& folder) {
  if (folder.empty()) return -1;
  const int fd = open((folder + "/pellora.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (fd >= 0) (void)fchmod(fd, 0600);  // others must not be able to open the lock and hold it
  if (fd >= 0 && flock(fd, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) anotherRuns_ = true;
  return fd;
}

}  // namespace pellora
