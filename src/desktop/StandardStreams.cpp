#include "desktop/StandardStreams.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <climits>
#include <cstddef>

namespace pellora {

void OpenMissingStreams() {
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    // An open takes the lowest free number.
    if (fcntl(stream, F_GETFD) < 0 && open("/dev/null", O_RDWR) != stream) return;
  }
}

void SayOnStandardError(std::string line) {
  // A pipe can be written if it has room for so much.
  constexpr std::size_t kMost = PIPE_BUF;
  if (line.size() >= kMost) line.resize(kMost - 1);
  line += '\n';
  pollfd stream{STDERR_FILENO, POLLOUT, 0};
  if (poll(&stream, 1, 0) != 1 || (stream.revents & POLLOUT) == 0) return;
  if (write(STDERR_FILENO, line.data(), line.size()) < 0) {
    // Nobody reads it.
  }
}

}  // namespace pellora
