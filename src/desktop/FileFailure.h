// FileFailure: the Failure of a file operation, with the path and the system's reason.
#pragma once

#include <cerrno>
#include <cstring>
#include <string>

#include "ports/Failure.h"
#include "ports/RefusedName.h"

namespace pellora {

inline Failure FileFailure(const std::string& path, int error) {
  return {FailureNumber::File, path + ": " + std::strerror(error)};
}

// Of an operation on that very name: the name may be all that is wrong.
[[noreturn]] inline void ThrowNameFailure(const std::string& path, int error) {
  const bool refused = error == ENOTDIR || error == EISDIR || error == ELOOP || error == ENAMETOOLONG ||
                       error == EINVAL || error == EILSEQ;
  if (refused) throw RefusedName(path + ": " + std::strerror(error));
  throw FileFailure(path, error);
}

}  // namespace pellora
