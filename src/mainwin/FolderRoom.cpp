#include "mainwin/FolderRoom.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <utility>

#include "async/InBackground.h"
#include "core/ExistingFolder.h"
#include "ports/DownloadFiles.h"
#include "ports/Failure.h"
#include "ports/Platform.h"

namespace pellora {

Task<FolderRoom> RoomOf(const Platform* platform, std::string folder) {
  const DownloadFiles* const files = platform->downloadFiles;
  const auto room = std::make_shared<FolderRoom>();
  if (files == nullptr || !folder.starts_with('/') || folder.find('\0') != std::string::npos) co_return *room;
  try {
    Background::Work measure = [files, room, folder] {
      constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max();
      const std::string there = ExistingFolderOf(*files, folder);
      room->disk = files->DiskOf(there);
      room->bytes = static_cast<std::int64_t>(std::min(files->RoomIn(there), kMost));
    };
    co_await InBackground(platform, std::move(measure));
  } catch (const Failure&) {
    *room = FolderRoom();
  }
  co_return *room;
}

}  // namespace pellora
