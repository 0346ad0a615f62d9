// FolderRoom: how much may still be written where a download is to go.
#pragma once

#include <cstdint>
#include <string>

#include "async/Task.h"

namespace pellora {

struct Platform;

struct FolderRoom {
  std::uint64_t disk = 0;   // folders share their room with those of the same number
  std::int64_t bytes = -1;  // -1: not known
  bool operator==(const FolderRoom&) const = default;
};

// Measured in the background. A folder that does not exist yet has the room of the one above it.
Task<FolderRoom> RoomOf(const Platform* platform, std::string folder);

}  // namespace pellora
