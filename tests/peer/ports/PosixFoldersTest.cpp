#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "Support.h"
#include "desktop/PosixFolders.h"
#include "ports/Failure.h"

namespace pellora {
namespace {

namespace fs = std::filesystem;

TEST(PosixFolders, OfferRootAndHome) {
  const std::vector<std::string> drives = PosixFolders().Drives();
  ASSERT_FALSE(drives.empty());
  EXPECT_EQ(drives[0], "/");
  for (const std::string& drive : drives) EXPECT_EQ(drive[0], '/');
}

TEST(PosixFolders, ListVisibleFoldersSorted) {
  const Folder folder;
  for (const char* name : {"/b", "/a", "/.hidden"}) fs::create_directory(folder.Path() + name);
  std::ofstream(folder.Path() + "/file") << "x";
  fs::create_directory_symlink(folder.Path() + "/a", folder.Path() + "/link");
  fs::create_symlink(folder.Path() + "/nowhere", folder.Path() + "/dangling");
  EXPECT_EQ(PosixFolders().FoldersIn(folder.Path()), (std::vector<std::string>{"a", "b", "link"}));
}

TEST(PosixFolders, FailForAnUnreadableFolder) {
  const Folder folder;
  EXPECT_THROW((void)PosixFolders().FoldersIn(folder.Path() + "/missing"), Failure);
}

}  // namespace
}  // namespace pellora
