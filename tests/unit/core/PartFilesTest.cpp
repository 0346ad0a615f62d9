#include <gtest/gtest.h>

#include <string>

#include "SimPlatform.h"
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
    disk.Put("/t/a001.tmp", "bytes");
  }
  void PutForeign(const std::string& path) {
    disk.Put(path, "kept");
    disk.GiveToAnother(path);
  }

  SimPlatform sim;
  SimDisk& disk = sim.disk();
  DownloadRecord record;
};

TEST_F(PartFilesOnDisk, MayBeMissingButNotForeignInAPlan) {
  EXPECT_TRUE(PlanIsUsable(disk, record));
  PutForeign("/t/a002.tmp");
  EXPECT_FALSE(PlanIsUsable(disk, record));
}

TEST_F(PartFilesOnDisk, HavePartFileNamesInAPlan) {
  record.Segments[2].TempFile = "/home/u/letter.txt";
  EXPECT_FALSE(PlanIsUsable(disk, record));
  record.SegmentCount = 1;  // segments beyond the plan do not count
  EXPECT_TRUE(PlanIsUsable(disk, record));
}

TEST_F(PartFilesOnDisk, AreDeletedOnlyIfTheyCountAsParts) {
  disk.Put("/t/letter.tmp", "kept");
  PutForeign("/t/b001.tmp");
  std::vector<std::string> deleted;
  disk.FailWhere([&](DiskCall call, const std::string& path) {
    if (call == DiskCall::Delete) deleted.push_back(path);
    return false;
  });
  for (const char* const name : {"/t/a001.tmp", "/t/letter.tmp", "/t/b001.tmp", "/t/none001.tmp"}) {
    DeletePart(disk, name);
  }
  EXPECT_EQ(disk.Paths().size(), 2U);
  EXPECT_EQ(deleted, std::vector<std::string>{"/t/a001.tmp"});
}

}  // namespace
}  // namespace pellora
