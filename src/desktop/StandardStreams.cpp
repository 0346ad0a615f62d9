#include "desktop/StandardStreams.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstddef>
#include <string_view>

namespace pellora {

namespace {

// The pipe or terminal of standard error, opened again: other programs share the open one, and may rely on its waiting.
// -1 for all else, and where it cannot be opened.
int OpenUnwaiting() {
  struct stat status {};
  if (fstat(STDERR_FILENO, &status) != 0 || !(S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode))) return -1;
  return open("/proc/self/fd/2", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
}

void Write(int fd, std::string_view line) {
  if (write(fd, line.data(), line.size()) < 0) {
    // Nobody reads it.
  }
}

// If it seems to have room for it.
void WriteAtOnce(int fd, std::string_view line) {
  pollfd stream{fd, POLLOUT, 0};
  if (poll(&stream, 1, 0) == 1 && (stream.revents & POLLOUT) != 0) Write(fd, line);
}

}  // namespace

void OpenMissingStreams() {
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    // An open takes the lowest free number.
    if (fcntl(stream, F_GETFD) < 0 && open("/dev/null", O_RDWR) != stream) return;
  }
}

void SayOnStandardError(std::string line) {
  constexpr std::size_t kMost = PIPE_BUF;  // so much gets into a pipe as a whole
  if (line.size() >= kMost) line.resize(kMost - 1);
  line += '\n';
  const int fd = OpenUnwaiting();
  if (fd < 0) return WriteAtOnce(STDERR_FILENO, line);
  Write(fd, line);
  close(fd);
}

}  // namespace pellora
