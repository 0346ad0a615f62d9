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

SingleInstance::SingleInstance(const std::string& runtimeFolder, const std::string& listFolder)
    : session_(TryFor(runtimeFolder)), list_(TryFor(listFolder)) {}

SingleInstance::~SingleInstance() {
  // The files stay: removing one would let two copies lock two files of the same name.
  if (session_ >= 0) close(session_);
  if (list_ >= 0) close(list_);
}

int SingleInstance::TryFor(const std::string& folder) {
  if (folder.empty()) return -1;
  const int fd = open((folder + "/pellora.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (fd >= 0) (void)fchmod(fd, 0600);  // a lock that others can open, they can hold
  if (fd >= 0 && flock(fd, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) anotherRuns_ = true;
  return fd;
}

}  // namespace pellora
