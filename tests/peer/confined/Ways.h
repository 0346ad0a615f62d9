// Ways: what a decoder that runs someone else's code might try.
#pragma once

#include <sys/types.h>

#include <span>
#include <string>

namespace pellora {

enum class Kind {
  Certain,   // open to every process that is not confined
  Depends,   // on the machine
  Landlock,  // certain, and closed only where the kernel has Landlock
};

struct Way {
  const char* name;
  bool (*attempt)(const std::string& home);  // true if it got out; errno says why not
  Kind kind = Kind::Certain;
};

// To be asked once before the confinement, which refuses to say.
pid_t ParentProcess();

std::span<const Way> Ways();

}  // namespace pellora
