// AutoStart: the desktop's list of programs that start with the user's session.
#pragma once

namespace pellora {

class AutoStart {
 public:
  virtual ~AutoStart() = default;
  // Adds the program's one entry, or takes it out; an entry that is not there is no failure. Failure(File)
  // when the list cannot be written.
  virtual void SetEntry(bool present) = 0;
};

}  // namespace pellora
