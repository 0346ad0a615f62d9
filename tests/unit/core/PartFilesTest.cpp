#include <gtest/gtest.h>

#include <string>

#include "MemoryPlatform.h"
#include "core/PartFiles.h"
#include "core/Record.h"

namespace pellora {
namespace {

TEST(PartFiles, AreNamedWithThreeDigitsAndTmpAtTheEnd) {
  for (const char* const name : {"/t/a.zip001.tmp", "/t/a.zip2008.tmp", "001.tmp", "/t/a.zip3-1001.tmp"}) {
    EXPECT_TRUE(IsPartFileName(name)) << name;
  }
  for (const char* const name : {"", ".tmp", "01.tmp", "/t/a01.tmp", "/t/own.tmp", "/t/a001.TMP", "/t/a001.tmp.gz",
                                 "/t/a001", "/t/a00x.tmp", "/t/12/.tmp", "/home/u/.ssh/id_rsa"}) {
    EXPECT_FALSE(IsPartFileName(name)) << name;
  }
}

class PartFilesOnDisk : public testing::Test {
 protected:
  PartFilesOnDisk() {
    record.Segments.resize(3);
    record.SegmentCount = 2;
    record.Segments[1].TempFile = "/t/a001.tmp";
    record.Segments[2].TempFile = "/t/a002.tmp";
    files.contents["/t/a001.tmp"] = "bytes";
  }
  test::MemoryFiles files;
  DownloadRecord record;
};

TEST_F(PartFilesOnDisk, MayBeMissingButNotForeignInAPlan) {
  EXPECT_TRUE(PlanIsUsable(files, record));
  files.foreign = {"/t/a002.tmp"};
  EXPECT_FALSE(PlanIsUsable(files, record));
}

TEST_F(PartFilesOnDisk, HavePartFileNamesInAPlan) {
  record.Segments[2].TempFile = "/home/u/letter.txt";
  EXPECT_FALSE(PlanIsUsable(files, record));
  record.SegmentCount = 1;  // what lies beyond the plan does not count
  EXPECT_TRUE(PlanIsUsable(files, record));
}

TEST_F(PartFilesOnDisk, AreDeletedOnlyIfTheyCountAsParts) {
  files.contents["/t/letter.tmp"] = "kept";
  files.contents["/t/b001.tmp"] = "kept";
  files.foreign = {"/t/b001.tmp"};
  for (const char* const name : {"/t/a001.tmp", "/t/letter.tmp", "/t/b001.tmp", "/t/none001.tmp"}) {
    DeletePart(files, name);
  }
  EXPECT_EQ(files.contents.size(), 2U);
  EXPECT_EQ(files.calls, std::vector<std::string>{"delete /t/a001.tmp"});
}

}  // namespace
}  // namespace pellora
