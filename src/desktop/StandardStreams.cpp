#include "desktop/StandardStreams.h"

#include <fcntl.h>
#include <unistd.h>

namespace pellora {

void OpenMissingStreams() {
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    // An open takes the lowest free number.
    if (fcntl(stream, F_GETFD) < 0 && open("/dev/null", O_RDWR) != stream) return;
  }
}

}  // namespace pellora
