// FileFailure: the Failure of a file operation, with the path and the system's reason.
#pragma once

#include <cstring>
#include <string>

#include "ports/Failure.h"

namespace pellora {

inline Failure FileFailure(const std::string& path, int error) {
  return {FailureNumber::File, path + ": " + std::strerror(error)};
}

}  // namespace pellora
