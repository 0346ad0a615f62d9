#include <gtest/gtest.h>

#include <string>

#include "SimPlatform.h"
#include "core/OrphanedParts.h"
#include "core/Program.h"

namespace pellora {
namespace {

constexpr const char* kPart = "/t/file.zip001.tmp";

class OrphanedParts : public testing::Test {
 protected:
  OrphanedParts() {
    program.settings.TempFolder = "/t/";
    disk.Put(kPart, "half");
    disk.Put("/d/file.zip", "12345678");
    program.ResizeDownloads(2);
    Put(1).Finished = true;
  }
  DownloadRecord& Put(int index) {
    DownloadRecord& record = program.Download(index);
    record.InUse = true;
    record.FileSize = 8;
    record.SavePath = "/d/file.zip";
    record.Segments.resize(2);
    record.Segments[1].TempFile = kPart;
    record.SegmentCount = 1;
    return record;
  }
  bool IsKept() {
    RemoveOrphanedParts(program);
    return disk.Has(kPart);
  }

  SimPlatform sim;
  SimDisk& disk = sim.disk();
  Program program{sim.platform()};
};

TEST_F(OrphanedParts, AreDeletedForAFinishedDownload) { EXPECT_FALSE(IsKept()); }

TEST_F(OrphanedParts, AreKeptIfAnotherDownloadNamesThem) {
  Put(2);
  EXPECT_TRUE(IsKept());
}

TEST_F(OrphanedParts, AreKeptForAnUnfinishedDownload) {
  program.Download(1).Finished = false;
  EXPECT_TRUE(IsKept());
}

TEST_F(OrphanedParts, AreKeptIfTheFinishedFileIsMissingOrTooShort) {
  disk.Put("/d/file.zip", "1234567");
  EXPECT_TRUE(IsKept());
  disk.Lose("/d/file.zip");
  EXPECT_TRUE(IsKept());
}

TEST_F(OrphanedParts, AreKeptIfOneIsTheOutputOfADownload) {
  Put(2).Finished = true;
  program.Download(2).SavePath = kPart;
  EXPECT_TRUE(IsKept());
  program.Download(2).Finished = false;
  program.Download(2).Segments[1].TempFile.clear();
  EXPECT_TRUE(IsKept());
}

TEST_F(OrphanedParts, AreKeptForADeletedRecord) {
  program.Download(1).InUse = false;
  EXPECT_TRUE(IsKept());
}

TEST_F(OrphanedParts, AreDeletedOnlyInTheTemporaryFolder) {
  for (const char* const name : {"/d/file.zip", "/elsewhere/file.zip001.tmp", "/t/file.zip"}) {
    disk.Put(name, "12345678");
    program.Download(1).Segments[1].TempFile = name;
    RemoveOrphanedParts(program);
    EXPECT_TRUE(disk.Has(name)) << name;
  }
}

TEST_F(OrphanedParts, AreKeptWhileOneIsShortAndMayStillBeFetched) {
  DownloadRecord& record = program.Download(1);
  record.Segments.resize(3);
  record.Segments[1].RangeSize = 4;
  record.Segments[2].RangeSize = 4;
  record.Segments[2].TempFile = "/t/file.zip002.tmp";
  disk.Put("/t/file.zip002.tmp", "hal");
  EXPECT_TRUE(IsKept());
  disk.Put("/t/file.zip002.tmp", "half");
  EXPECT_FALSE(IsKept());
  EXPECT_FALSE(disk.Has("/t/file.zip002.tmp"));
}

TEST_F(OrphanedParts, AreKeptIfAListedFileHasTheirName) {
  DownloadRecord& other = Put(2);
  other.Finished = true;
  other.Segments.resize(1);
  other.SavePath = "/link/to/t/file.zip001.tmp";
  EXPECT_TRUE(IsKept());
}

TEST_F(OrphanedParts, AreKeptWhileADamagedListMayNameThem) {
  program.keepDamagedList = true;
  EXPECT_TRUE(IsKept());
  program.keepDamagedList = false;
  disk.Put("/prog/Pellora.dat.damaged", "list");
  EXPECT_TRUE(IsKept());
}

TEST_F(OrphanedParts, AreKeptIfTheyAreForeign) {
  disk.GiveToAnother(kPart);
  EXPECT_TRUE(IsKept());
}

TEST_F(OrphanedParts, AreKeptWithoutAPartFilesName) {
  const std::string name = "/t/letter.tmp";
  disk.Put(name, "12345678");
  program.Download(1).Segments[1].TempFile = name;
  RemoveOrphanedParts(program);
  EXPECT_TRUE(disk.Has(name));
}

TEST_F(OrphanedParts, CauseNoFailureIfTheyCannotBeDeleted) {
  disk.FailWhere([](DiskCall call, const std::string&) { return call == DiskCall::Delete; }, 1, true);
  EXPECT_TRUE(IsKept());
}

}  // namespace
}  // namespace pellora
