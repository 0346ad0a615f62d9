// Ways: what a decoder that runs an attacker's code might try.
#pragma once

#include <sys/types.h>

#include <span>
#include <string>

namespace pellora {

enum class Kind {
  Certain,   // always works without confinement
  Depends,   // depends on the machine
  Landlock,  // always works without confinement, and is blocked only with Landlock
};

struct Way {
  const char* name;
  bool (*attempt)(const std::string& home);  // true if it succeeded; otherwise errno is set
  Kind kind = Kind::Certain;
};

// Call once before the confinement, which forbids the query.
pid_t ParentProcess();

std::span<const Way> Ways();

}  // namespace pellora
