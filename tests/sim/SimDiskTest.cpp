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
  const auto file = files.Open("/tmp/a");
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

TEST_F(SimDiskTest, OpenCreatesAndNeverEmpties) {
  files.Open("/tmp/a")->WriteAt(0, "kept");
  files.Open("/tmp/a");
  EXPECT_EQ(ReadAll("/tmp/a"), "kept");
  EXPECT_EQ(files.LengthOf("/tmp/a"), 4U);
}

TEST_F(SimDiskTest, FailsWhereARealDiskFails) {
  files.Open("/tmp/a")->WriteAt(0, "x");
  EXPECT_THROW(files.Open("/missing/a"), Failure);
  EXPECT_THROW(files.Open("/tmp"), Failure);
  EXPECT_THROW(files.Open("/tmp/"), Failure);
  EXPECT_THROW(files.Open(""), Failure);
  EXPECT_THROW(files.Open("/tmp/" + std::string(300, 'n')), Failure);
  EXPECT_THROW(files.Open(std::string("/tmp/a\0b", 8)), Failure);
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
  files.Open("/tmp/x/../../tmp/./a");
  EXPECT_TRUE(disk.Has("/tmp/a"));
}

TEST_F(SimDiskTest, ListsTheFilesOfOneFolderByBytes) {
  files.CreateFolder("/tmp/sub");
  files.CreateFolder("/tmp/sub");
  for (const char* name : {"/tmp/b", "/tmp/B", "/tmp/a", "/tmp/sub/c"}) files.Open(name);
  EXPECT_EQ(files.FilesIn("/tmp"), (std::vector<std::string>{"B", "a", "b"}));
  EXPECT_TRUE(files.Exists("/tmp/sub"));
}

TEST_F(SimDiskTest, AnOpenFileOutlivesItsName) {
  const auto file = files.Open("/tmp/a");
  file->WriteAt(0, "abc");
  files.Delete("/tmp/a");
  file->WriteAt(3, "d");
  EXPECT_EQ(file->Length(), 4U);
  EXPECT_FALSE(files.Exists("/tmp/a"));
}

TEST_F(SimDiskTest, FillsUpAndKeepsWhatFitted) {
  disk.SetCapacity(10);
  const auto file = files.Open("/tmp/a");
  file->WriteAt(0, "12345678");
  EXPECT_THROW(file->WriteAt(8, "9ABC"), Failure);
  EXPECT_EQ(disk.Get("/tmp/a"), "123456789A");
  file->WriteAt(0, "over");
  EXPECT_THROW(files.Open("/tmp/b")->WriteAt(0, "x"), Failure);
  files.Delete("/tmp/a");
  files.Open("/tmp/b")->WriteAt(0, "x");
}

TEST_F(SimDiskTest, ACopyThatFailsOrDoesNotFitCopiesNothingAndThrowsNothing) {
  disk.Put("/tmp/part", "0123456789");
  const auto part = disk.Open("/tmp/part");
  const auto file = disk.Open("/tmp/a");
  EXPECT_EQ(file->CopyFrom(*part, 4, 2, 100), 6u);
  EXPECT_EQ(disk.Get("/tmp/a"), std::string("\0\0", 2) + "456789");
  disk.FailWhere([](DiskCall call, const std::string& path) { return call == DiskCall::Copy && path == "/tmp/a"; });
  EXPECT_EQ(file->CopyFrom(*part, 0, 0, 4), 0u);
  EXPECT_EQ(file->CopyFrom(*part, 0, 0, 4), 4u);
  disk.SetCapacity(20);
  EXPECT_EQ(file->CopyFrom(*part, 0, 8, 10), 0u);
  EXPECT_EQ(part->CopyFrom(*part, 0, 5, 10), 0u);
}

TEST_F(SimDiskTest, ReserveTakesRoomAndChangesNothing) {
  disk.SetCapacity(100);
  const auto file = files.Open("/tmp/a");
  file->Reserve(90);
  EXPECT_EQ(file->Length(), 0U);
  EXPECT_THROW(files.Open("/tmp/b")->WriteAt(0, std::string(11, 'x')), Failure);
  EXPECT_THROW(file->Reserve(101), Failure);
  file->WriteAt(0, std::string(89, 'x'));
  EXPECT_EQ(file->Length(), 89U);
}

TEST_F(SimDiskTest, FailsTheChosenCallOnceOrFromThenOn) {
  disk.FailCall(2);
  files.Open("/tmp/a");
  EXPECT_THROW(files.Open("/tmp/a"), Failure);
  files.Open("/tmp/a");
  EXPECT_EQ(disk.Calls(), 3U);
  disk.FailFrom(5);
  files.Open("/tmp/a");
  EXPECT_THROW(files.Open("/tmp/a"), Failure);
  EXPECT_THROW(files.Open("/tmp/a"), Failure);
  disk.NoFaults();
  files.Open("/tmp/a");
}

TEST_F(SimDiskTest, FailsTheNthCallThatMatches) {
  disk.FailWhere([](DiskCall call, const std::string& path) { return call == DiskCall::Write && path == "/tmp/a"; }, 2);
  const auto a = files.Open("/tmp/a");
  const auto b = files.Open("/tmp/b");
  a->WriteAt(0, "1");
  b->WriteAt(0, "1");
  EXPECT_THROW(a->WriteAt(1, "2"), Failure);
  a->WriteAt(1, "3");
  EXPECT_EQ(disk.Get("/tmp/a"), "13");
}

TEST_F(SimDiskTest, ACutStopsEveryLaterCallAndIsNoFailure) {
  disk.CutAt(3);
  const auto file = files.Open("/tmp/a");
  file->WriteAt(0, "kept");
  EXPECT_THROW(Skip([&] { file->WriteAt(4, "lost"); }), SimKilled);
  EXPECT_THROW(files.Exists("/tmp/a"), SimKilled);
  EXPECT_TRUE(sim.Killed());
  SimPlatform next({.disk = disk.TakeState()});
  EXPECT_EQ(next.disk().Get("/tmp/a"), "kept");
  next.platform().files.Open("/tmp/a")->WriteAt(4, "!");
  EXPECT_EQ(next.disk().Get("/tmp/a"), "kept!");
}

TEST_F(SimDiskTest, ATornWriteLeavesItsFirstHalf) {
  disk.CutAt(2, true);
  const auto file = files.Open("/tmp/a");
  EXPECT_THROW(file->WriteAt(0, "halfHALF"), SimKilled);
  EXPECT_EQ(disk.Get("/tmp/a"), "half");
}

TEST_F(SimDiskTest, ACutInsideAnEventEndsTheRun) {
  disk.CutAt(1);
  bool after = false;
  sim.loop().Post([&] { files.Open("/tmp/a"); });
  sim.loop().Post([&] { after = true; });
  sim.RunFor(1000);
  EXPECT_TRUE(sim.Killed());
  EXPECT_FALSE(after);
}

TEST_F(SimDiskTest, ALostFileIsGone) {
  disk.Put("/tmp/part1", "bytes");
  EXPECT_TRUE(disk.Holds("/tmp/part1", "bytes"));
  disk.Lose("/tmp/part1");
  EXPECT_FALSE(files.Exists("/tmp/part1"));
}

TEST_F(SimDiskTest, AFarOffsetCostsOnlyItsPage) {
  files.Open("/tmp/a")->WriteAt(std::uint64_t{2} << 30, "x");
  EXPECT_EQ(files.LengthOf("/tmp/a"), (std::uint64_t{2} << 30) + 1);
}

}  // namespace
}  // namespace pellora
