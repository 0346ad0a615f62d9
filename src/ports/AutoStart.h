// AutoStart: the desktop's list of programs that start with the user's session.
#pragma once

namespace pellora {

class AutoStart {
 public:
  virtual ~AutoStart() = default;
  // Adds or removes the program's one entry; removing a missing entry is no failure. Failure(File) when the list
  // cannot be written.
  virtual void SetEntry(bool present) = 0;
};

}  // namespace pellora
