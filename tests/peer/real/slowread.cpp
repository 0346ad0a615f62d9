// Loaded into the program by a test: a disk that takes SLOW_READ_US microseconds longer for each large block that is
// read from a part file.
#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>

namespace {

constexpr size_t kLarge = 100'000;

void Wait(size_t size) {
  const char* const micros = std::getenv("SLOW_READ_US");
  if (micros != nullptr && size >= kLarge) usleep(static_cast<useconds_t>(std::atoi(micros)));
}

ssize_t Read(const char* name, int file, void* buffer, size_t size, off_t offset) {
  using Call = ssize_t (*)(int, void*, size_t, off_t);
  Wait(size);
  return reinterpret_cast<Call>(dlsym(RTLD_NEXT, name))(file, buffer, size, offset);
}

}  // namespace

// The checked ones are what a fortified build calls.
extern "C" ssize_t pread(int file, void* buffer, size_t size, off_t offset) {
  return Read("pread", file, buffer, size, offset);
}
extern "C" ssize_t pread64(int file, void* buffer, size_t size, off_t offset) {
  return Read("pread64", file, buffer, size, offset);
}
extern "C" ssize_t __pread_chk(int file, void* buffer, size_t size, off_t offset, size_t) {
  return Read("pread", file, buffer, size, offset);
}
extern "C" ssize_t __pread64_chk(int file, void* buffer, size_t size, off_t offset, size_t) {
  return Read("pread64", file, buffer, size, offset);
}
