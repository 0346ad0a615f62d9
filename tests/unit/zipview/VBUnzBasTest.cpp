#include <gtest/gtest.h>

#include "SimArchive.h"
#include "zipview/VBUnzBas.h"

namespace pellora {
namespace {

TEST(VBUnzBas, UnpacksItsArchiveIntoItsFolderAndReturnsTheNumber) {
  SimUnzip library;
  library.result = kUnzipNoArchive;
  VBUnzBas unzip(library);
  unzip.ArchivePath = "/p/a.zip";
  unzip.TargetFolder = "/p/temp";
  EXPECT_EQ(unzip.VBUnZip32(), 9);
  ASSERT_EQ(library.unpacked.size(), 1U);
  EXPECT_EQ(library.unpacked[0].first, "/p/a.zip");
  EXPECT_EQ(library.unpacked[0].second, "/p/temp");
}

TEST(VBUnzBas, CollectsMessagesUpToTheirFirstZeroByte) {
  SimUnzip library;
  library.messages = {"one", std::string("two\0three", 9), "\nfour", "\n", ""};
  VBUnzBas unzip(library);
  unzip.UnzipMessages = "of the last run";
  EXPECT_EQ(unzip.VBUnZip32(), 0);
  EXPECT_EQ(unzip.UnzipMessages, "onetwo\r\n\r\n");
}

}  // namespace
}  // namespace pellora
