#include <gtest/gtest.h>

#include <string>

#include "SimDisk.h"
#include "SimPlatform.h"
#include "ports/Failure.h"

namespace pellora {
namespace {

class SimDiskTest : public testing::Test {
 protected:
  SimPlatform sim;
  Files& files = sim.platform().files;
  SimDisk& disk = sim.disk();
};

TEST_F(SimDiskTest, FailsLikeARealDisk) {
  files.Open("/tmp/a", FileKind::Output)->WriteAt(0, "x");
  EXPECT_THROW(files.Open("/missing/a", FileKind::Output), Failure);
  EXPECT_THROW(files.Open("/tmp", FileKind::Output), Failure);
  EXPECT_THROW(files.Open("/tmp/", FileKind::Output), Failure);
  EXPECT_THROW(files.Open("", FileKind::Output), Failure);
  EXPECT_THROW(files.Open("/tmp/" + std::string(300, 'n'), FileKind::Output), Failure);
  EXPECT_THROW(files.Open(std::string("/tmp/a\0b", 8), FileKind::Output), Failure);
  EXPECT_THROW(files.OpenForReading("/tmp/b"), Failure);
  EXPECT_THROW(files.OpenForReading("/tmp"), Failure);
  EXPECT_THROW(files.OpenForReading("/tmp/a")->WriteAt(0, "y"), Failure);
  EXPECT_THROW(files.Delete("/tmp/b"), Failure);
  EXPECT_THROW(files.LengthOf("/tmp/b"), Failure);
  EXPECT_THROW(files.CreateFolder("/tmp/a"), Failure);
  EXPECT_FALSE(files.Exists("/tmp/b"));
  EXPECT_TRUE(files.FilesIn("/nowhere").empty());
}

TEST_F(SimDiskTest, FollowsTheUsersLinksAndRefusesOthers) {
  disk.PutLink("/tmp/link", "/tmp/target");
  disk.PutLink("/tmp/others", "/tmp/elsewhere", true);
  disk.PutLink("/tmp/chain", "/tmp/others");
  disk.PutLink("/tmp/loop", "/tmp/loop");
  EXPECT_FALSE(files.Exists("/tmp/link"));
  files.Open("/tmp/link", FileKind::Output)->WriteAt(0, "x");
  EXPECT_EQ(disk.Get("/tmp/target"), "x");
  EXPECT_EQ(files.LengthOf("/tmp/link"), 1U);
  for (const char* const path : {"/tmp/others", "/tmp/chain", "/tmp/loop"}) {
    EXPECT_THROW(files.Open(path, FileKind::Output), Failure) << path;
    EXPECT_THROW(files.Open(path, FileKind::List), Failure) << path;
  }
  EXPECT_FALSE(disk.Has("/tmp/elsewhere"));
  files.Delete("/tmp/link");
  EXPECT_TRUE(disk.Has("/tmp/target"));
}

TEST_F(SimDiskTest, FillsUpAndKeepsWhatFitted) {
  disk.SetCapacity(10);
  const auto file = files.Open("/tmp/a", FileKind::Output);
  file->WriteAt(0, "12345678");
  EXPECT_THROW(file->WriteAt(8, "9ABC"), Failure);
  EXPECT_EQ(disk.Get("/tmp/a"), "123456789A");
  file->WriteAt(0, "over");
  EXPECT_THROW(files.Open("/tmp/b", FileKind::Output)->WriteAt(0, "x"), Failure);
  files.Delete("/tmp/a");
  files.Open("/tmp/b", FileKind::Output)->WriteAt(0, "x");
}

TEST_F(SimDiskTest, FailsTheChosenCallOnceOrFromThenOn) {
  disk.FailCall(2);
  files.Open("/tmp/a", FileKind::Output);
  EXPECT_THROW(files.Open("/tmp/a", FileKind::Output), Failure);
  files.Open("/tmp/a", FileKind::Output);
  EXPECT_EQ(disk.Calls(), 3U);
  disk.FailFrom(5);
  files.Open("/tmp/a", FileKind::Output);
  EXPECT_THROW(files.Open("/tmp/a", FileKind::Output), Failure);
  EXPECT_THROW(files.Open("/tmp/a", FileKind::Output), Failure);
  disk.NoFaults();
  files.Open("/tmp/a", FileKind::Output);
}

TEST_F(SimDiskTest, CutStopsEveryLaterCallWithoutAFailure) {
  disk.CutAt(3);
  const auto file = files.Open("/tmp/a", FileKind::Output);
  file->WriteAt(0, "kept");
  EXPECT_THROW(Skip([&] { file->WriteAt(4, "lost"); }), SimKilled);
  EXPECT_THROW(files.Exists("/tmp/a"), SimKilled);
  EXPECT_TRUE(sim.Killed());
  SimPlatform next({.disk = disk.TakeState()});
  EXPECT_EQ(next.disk().Get("/tmp/a"), "kept");
  next.platform().files.Open("/tmp/a", FileKind::Output)->WriteAt(4, "!");
  EXPECT_EQ(next.disk().Get("/tmp/a"), "kept!");
}

TEST_F(SimDiskTest, TornWriteLeavesItsFirstHalf) {
  disk.CutAt(2, true);
  const auto file = files.Open("/tmp/a", FileKind::Output);
  EXPECT_THROW(file->WriteAt(0, "halfHALF"), SimKilled);
  EXPECT_EQ(disk.Get("/tmp/a"), "half");
}

}  // namespace
}  // namespace pellora
