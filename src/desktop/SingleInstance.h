// SingleInstance: allows one copy of the program for each user session and one for each list, by locks that end with
// their process. A user's local and remote sessions may have separate runtime folders but share the list.
#pragma once

#include <string>

namespace pellora {

class SingleInstance {
 public:
  // $XDG_RUNTIME_DIR, else /tmp/pellora-<uid>, private to the user. Failure(File) if it belongs to someone else.
  static std::string RuntimeFolder();

  // Tries to lock a file in both folders; the files stay. An empty folder is skipped.
  SingleInstance(const std::string& runtimeFolder, const std::string& listFolder);
  ~SingleInstance();
  SingleInstance(const SingleInstance&) = delete;
  SingleInstance& operator=(const SingleInstance&) = delete;

  // Whether another copy holds one of the locks. If locking fails for another reason, the program runs.
  bool AnotherRuns() const { return anotherRuns_; }

 private:
  int TryLock(const std::string& folder);

  bool anotherRuns_ = false;
  int sessionLock_;
  int listLock_;
};

}  // namespace pellora
