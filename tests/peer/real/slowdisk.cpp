// Loaded into the program by a test: a disk that takes SLOW_DISK_US microseconds longer for each block that is
// spliced into a file.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

extern "C" ssize_t splice(int from, off_t* fromOffset, int to, off_t* toOffset, size_t size, unsigned flags) {
  using Call = ssize_t (*)(int, off_t*, int, off_t*, size_t, unsigned);
  static const auto real = reinterpret_cast<Call>(dlsym(RTLD_NEXT, "splice"));
  const char* const micros = std::getenv("SLOW_DISK_US");
  struct stat status {};
  if (micros != nullptr && fstat(to, &status) == 0 && S_ISREG(status.st_mode)) {
    usleep(static_cast<useconds_t>(std::atoi(micros)));
  }
  return real(from, fromOffset, to, toOffset, size, flags);
}
