// SingleInstance: one copy of the program for each user and session, and one for each list, by locks that end with
// their holder. Sessions of one user, at the screen and from afar, may have runtime folders of their own beside the
// same list.
#pragma once

#include <string>

namespace pellora {

class SingleInstance {
 public:
  // $XDG_RUNTIME_DIR, else /tmp/pellora-<uid>, made private to the user. Failure(File) if someone else's.
  static std::string RuntimeFolder();

  // Tries for the locks in both folders: files that stay there, closed to other users. "" is passed over.
  SingleInstance(const std::string& runtimeFolder, const std::string& listFolder);
  ~SingleInstance();
  SingleInstance(const SingleInstance&) = delete;
  SingleInstance& operator=(const SingleInstance&) = delete;

  // Another copy holds one of the locks. A lock that cannot be had for any other reason keeps nobody from running.
  bool AnotherRuns() const { return anotherRuns_; }

 private:
  int TryFor(const std::string& folder);

  bool anotherRuns_ = false;
  int session_;
  int list_;
};

}  // namespace pellora
