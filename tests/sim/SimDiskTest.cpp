#include <gtest/gtest.h>

#include <string>

#include "SimDisk.h"
#include "SimPlatform.h"
#include "ports/Failure.h"

namespace pellora {
namespace {

class SimDiskTest : public testing::Test {
 protected:
  std::string ReadAll(const std::string& path) { return ReadWholeFile(files, path, 1 << 30); }

  SimPlatform sim;
  Files& files = sim.platform().files;
  SimDisk& disk = sim.disk();
};

TEST_F(SimDiskTest, WritesAndReadsByPosition) {
  const auto file = files.Open("/tmp/a", FileKind::Output);
  file->WriteAt(100'000, "end");
  file->WriteAt(0, "begin");
  EXPECT_EQ(file->Length(), 100'003U);
  std::string bytes(10, '?');
  EXPECT_EQ(file->ReadAt(0, bytes), 10U);
  EXPECT_EQ(bytes, std::string("begin\0\0\0\0\0", 10));
  EXPECT_EQ(file->ReadAt(99'999, bytes), 4U);
  EXPECT_EQ(bytes.substr(0, 4), std::string("\0end", 4));
  EXPECT_EQ(file->ReadAt(100'003, bytes), 0U);
}

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

TEST_F(SimDiskTest, ResolvesDotsInPaths) {
  files.Open("/tmp/x/../../tmp/./a", FileKind::Output);
  EXPECT_TRUE(disk.Has("/tmp/a"));
}

TEST_F(SimDiskTest, ListsTheFilesOfAFolderInByteOrder) {
  files.CreateFolder("/tmp/sub");
  files.CreateFolder("/tmp/sub");
  for (const char* name : {"/tmp/b", "/tmp/B", "/tmp/a", "/tmp/sub/c"}) files.Open(name, FileKind::Output);
  EXPECT_EQ(files.FilesIn("/tmp"), (std::vector<std::string>{"B", "a", "b"}));
  EXPECT_TRUE(files.Exists("/tmp/sub"));
}

TEST_F(SimDiskTest, OpenFileOutlivesItsName) {
  const auto file = files.Open("/tmp/a", FileKind::Output);
  file->WriteAt(0, "abc");
  files.Delete("/tmp/a");
  file->WriteAt(3, "d");
  EXPECT_EQ(file->Length(), 4U);
  EXPECT_FALSE(files.Exists("/tmp/a"));
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

TEST_F(SimDiskTest, ReserveUsesSpaceAndChangesNothing) {
  disk.SetCapacity(100);
  const auto file = files.Open("/tmp/a", FileKind::Output);
  file->Reserve(90);
  EXPECT_EQ(file->Length(), 0U);
  EXPECT_THROW(files.Open("/tmp/b", FileKind::Output)->WriteAt(0, std::string(11, 'x')), Failure);
  EXPECT_THROW(file->Reserve(101), Failure);
  file->WriteAt(0, std::string(89, 'x'));
  EXPECT_EQ(file->Length(), 89U);
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

TEST_F(SimDiskTest, CutInsideAnEventEndsTheRun) {
  disk.CutAt(1);
  bool after = false;
  sim.loop().Post([&] { files.Open("/tmp/a", FileKind::Output); });
  sim.loop().Post([&] { after = true; });
  sim.RunFor(1000);
  EXPECT_TRUE(sim.Killed());
  EXPECT_FALSE(after);
}

}  // namespace
}  // namespace pellora
