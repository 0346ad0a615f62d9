#include "desktop/SocketBudget.h"

#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <limits>

namespace pellora {

namespace {

// Descriptors that sockets and their files leave to the rest of the program. Without a free one, the window system
// waits forever for a reply that carries a descriptor.
constexpr rlim_t kReservedDescriptors = 40;

// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): counts for the whole process, like the limit
std::atomic<std::size_t> openSockets = 0;

}  // namespace

std::size_t SocketLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return std::numeric_limits<std::size_t>::max();
  // Each socket may need a file for its data.
  return limit.rlim_cur > kReservedDescriptors ? (limit.rlim_cur - kReservedDescriptors) / 2 : 0;
}

int OpenCounted(int family, int type, int protocol) {
  if (openSockets++ < SocketLimit()) {
    const int fd = socket(family, type | SOCK_CLOEXEC, protocol);
    if (fd >= 0) return fd;
  } else {
    errno = EMFILE;
  }
  const int error = errno;
  --openSockets;
  errno = error;
  return -1;
}

void CloseCounted(int fd) {
  close(fd);
  --openSockets;
}

}  // namespace pellora
