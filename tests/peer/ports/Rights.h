// Rights: modes of files in tests of what other users may do.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <string>

namespace pellora {

inline constexpr uid_t kAnotherUser = 54321;

class Umask {
 public:
  explicit Umask(mode_t mask) : former_(umask(mask)) {}
  ~Umask() { umask(former_); }
  Umask(const Umask&) = delete;
  Umask& operator=(const Umask&) = delete;

 private:
  mode_t former_;
};

inline mode_t RightsOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

}  // namespace pellora
