// Loaded into the program by a test: while the file LATE_FLUSH is there, a flush takes until the program is ending,
// which then takes half a second longer.
#include <dlfcn.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>

namespace {

std::atomic<bool> ending = false;
std::atomic<int> held = 0;

[[gnu::destructor]] void End() {
  ending = true;
  if (held > 0) usleep(500'000);
}

}  // namespace

extern "C" int fdatasync(int fd) {
  using Call = int (*)(int);
  static const auto real = reinterpret_cast<Call>(dlsym(RTLD_NEXT, "fdatasync"));
  const char* const marker = std::getenv("LATE_FLUSH");
  while (marker != nullptr && access(marker, F_OK) == 0 && !ending) {
    held = 1;
    usleep(1000);
  }
  return real(fd);
}
