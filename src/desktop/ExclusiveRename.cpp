#include "desktop/ExclusiveRename.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "desktop/FileFailure.h"
#include "desktop/PosixFile.h"

namespace pellora {

namespace {

enum class Renamed : std::uint8_t { Yes, NameTaken, Cannot };

struct Names {
  int folder;
  const std::string& from;
  const std::string& to;
  const std::string& path;
};

Renamed ByError(int result, const Names& names) {
  if (result == 0) return Renamed::Yes;
  if (errno == EEXIST) return Renamed::NameTaken;
  if (MeansCannot(errno)) return Renamed::Cannot;
  ThrowNameFailure(names.path, errno);
}

Renamed InOneStep(const Names& names) {
  const int result = renameat2(names.folder, names.from.c_str(), names.folder, names.to.c_str(), RENAME_NOREPLACE);
  return ByError(result, names);
}

[[noreturn]] void UndoAndFail(const Names& names) {
  const int error = errno;
  unlinkat(names.folder, names.to.c_str(), 0);
  throw FileFailure(names.path, error);
}

Renamed ByLink(const Names& names) {
  const Renamed linked = ByError(linkat(names.folder, names.from.c_str(), names.folder, names.to.c_str(), 0), names);
  if (linked == Renamed::Yes && unlinkat(names.folder, names.from.c_str(), 0) != 0) UndoAndFail(names);
  return linked;
}

Renamed WithPlaceHolder(const Names& names) {
  constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  const int fd = openat(names.folder, names.to.c_str(), kFlags, kPrivateMode);
  if (fd < 0 && errno == EEXIST) return Renamed::NameTaken;
  if (fd < 0) ThrowNameFailure(names.path, errno);
  close(fd);
  if (renameat(names.folder, names.from.c_str(), names.folder, names.to.c_str()) != 0) UndoAndFail(names);
  return Renamed::Yes;
}

}  // namespace

bool MeansCannot(int error) {
  return error == EINVAL || error == ENOSYS || error == EOPNOTSUPP || error == EPERM || error == EMLINK;
}

bool RenameExclusively(ExclusiveRename best, int folder, const std::string& from, const std::string& to,
                       const std::string& path) {
  const Names names{folder, from, to, path};
  Renamed result = Renamed::Cannot;
  if (best == ExclusiveRename::InOneStep) result = InOneStep(names);
  if (result == Renamed::Cannot && best != ExclusiveRename::PlaceHolder) result = ByLink(names);
  if (result == Renamed::Cannot) result = WithPlaceHolder(names);
  return result == Renamed::Yes;
}

}  // namespace pellora
