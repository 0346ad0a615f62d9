// RefusedName: the Failure of an operation on a file or folder that cannot have its name at its place. Others can have
// theirs.
#pragma once

#include <string>

#include "ports/Failure.h"

namespace pellora {

class RefusedName : public Failure {
 public:
  explicit RefusedName(const std::string& text) : Failure(FailureNumber::File, text) {}
};

}  // namespace pellora
