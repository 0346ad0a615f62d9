// SingleInstance: one copy of the program for each user and session, by a lock that ends with its holder.
#pragma once

#include <string>

namespace pellora {

class SingleInstance {
 public:
  // $XDG_RUNTIME_DIR, else /tmp/pellora-<uid>, made private to the user. Failure(File) if someone else's.
  static std::string RuntimeFolder();

  // Tries for the lock in `folder`.
  explicit SingleInstance(const std::string& folder);
  ~SingleInstance();
  SingleInstance(const SingleInstance&) = delete;
  SingleInstance& operator=(const SingleInstance&) = delete;

  // Another copy holds the lock. A lock that cannot be had for any other reason keeps nobody from running.
  bool AnotherRuns() const { return anotherRuns_; }

 private:
  int fd_ = -1;
  bool anotherRuns_ = false;
};

}  // namespace pellora
