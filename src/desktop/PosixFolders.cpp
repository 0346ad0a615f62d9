#include "desktop/PosixFolders.h"

#include <dirent.h>
#include <mntent.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "desktop/FileFailure.h"

namespace pellora {

namespace {

constexpr std::array<std::string_view, 3> kMedia = {"/media/", "/run/media/", "/mnt/"};

bool IsMedia(std::string_view place) {
  return std::any_of(kMedia.begin(), kMedia.end(), [&](std::string_view start) { return place.starts_with(start); });
}

struct CloseMounts {
  void operator()(FILE* mounts) const { endmntent(mounts); }
};

struct CloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};

bool IsFolder(const std::string& parent, const dirent& entry) {
  if (entry.d_type == DT_DIR) return true;
  if (entry.d_type != DT_LNK && entry.d_type != DT_UNKNOWN) return false;
  struct stat status {};
  return stat((parent + "/" + entry.d_name).c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

std::vector<std::string> PosixFolders::Drives() const {
  std::vector<std::string> drives = {"/"};
  const char* const home = std::getenv("HOME");
  if (home != nullptr && home[0] == '/' && home[1] != '\0') drives.emplace_back(home);
  const std::unique_ptr<FILE, CloseMounts> mounts(setmntent("/proc/self/mounts", "re"));
  if (!mounts) return drives;
  while (const mntent* const entry = getmntent(mounts.get())) {
    if (IsMedia(entry->mnt_dir)) drives.emplace_back(entry->mnt_dir);
  }
  return drives;
}

std::vector<std::string> PosixFolders::FoldersIn(const std::string& path) const {
  const std::unique_ptr<DIR, CloseFolder> folder(opendir(path.c_str()));
  if (!folder) throw FileFailure(path, errno);
  std::vector<std::string> names;
  while (const dirent* const entry = readdir(folder.get())) {
    if (entry->d_name[0] != '.' && IsFolder(path, *entry)) names.emplace_back(entry->d_name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace pellora
