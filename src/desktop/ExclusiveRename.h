// ExclusiveRename: gives a file another name in its folder only if nothing has that name.
#pragma once

#include <cstdint>
#include <string>

namespace pellora {

// How, the best way first.
enum class ExclusiveRename : std::uint8_t {
  InOneStep,    // renameat2
  ByLink,       // a second name, then the first is removed
  PlaceHolder,  // an empty file, then a rename over it: for disks without hard links
};

// Whether `error` says that the file system lacks an operation, rather than that it has failed.
bool MeansCannot(int error);

// Both names are relative to the open `folder`, or AT_FDCWD. `best`: pretends for tests that the disk can do no better.
// False, and nothing has changed, if something has the new name. Failures name `path`.
bool RenameExclusively(ExclusiveRename best, int folder, const std::string& from, const std::string& to,
                       const std::string& path);

}  // namespace pellora
