#include <gtest/gtest.h>

#include <set>
#include <string>

#include "SimDownloadFiles.h"
#include "SimPlatform.h"
#include "ports/Failure.h"

namespace pellora {
namespace {

constexpr std::size_t kBlock = std::size_t{16} << 10;

class SimDownloadFilesTest : public testing::Test {
 protected:
  void Write(const std::string& path, const std::string& bytes) {
    sim.platform().files.Open(path, FileKind::Output)->WriteAt(0, bytes);
  }
  std::unique_ptr<DownloadFile> Made(const std::string& path, const std::string& bytes) {
    auto file = files.Create(path);
    file->WriteAt(0, bytes);
    return file;
  }

  SimPlatform sim;
  DownloadFiles& files = sim.downloadFiles();
  SimDisk& disk = sim.disk();
};

TEST_F(SimDownloadFilesTest, CreatesOnlyAtNamesThatNothingHas) {
  Write("/tmp/file", "x");
  disk.PutLink("/tmp/link", "/tmp/nothing");
  disk.MakeFolder("/tmp/folder");
  for (const char* const path : {"/tmp/file", "/tmp/link", "/tmp/folder"}) EXPECT_EQ(files.Create(path), nullptr);
  EXPECT_THROW(files.Create("/nowhere/a"), Failure);
  Made("/tmp/a.part", "bytes");
  EXPECT_EQ(disk.Get("/tmp/a.part"), "bytes");
  EXPECT_FALSE(disk.IsOpenToOthers("/tmp/a.part"));
  EXPECT_EQ(files.Create("/tmp/a.part"), nullptr);
}

TEST_F(SimDownloadFilesTest, AdoptsTheSameFileUnlessItIsLocked) {
  auto part = Made("/tmp/a.part", "bytes");
  const FileIdentity identity = part->State().identity;
  EXPECT_EQ(files.Adopt("/tmp/a.part", identity), nullptr);
  part.reset();
  EXPECT_EQ(sim.downloadFiles().Locked(), 0U);
  part = files.Adopt("/tmp/a.part", identity);
  ASSERT_NE(part, nullptr);
  EXPECT_EQ(sim.downloadFiles().Locked(), 1U);
  part.reset();
  EXPECT_EQ(files.Adopt("/tmp/none.part", identity), nullptr);
  disk.PutSecondName("/tmp/second", "/tmp/a.part");
  EXPECT_EQ(files.Adopt("/tmp/a.part", identity), nullptr);
  disk.Lose("/tmp/second");
  disk.LockByAnother("/tmp/a.part");
  EXPECT_EQ(files.Adopt("/tmp/a.part", identity), nullptr);
  disk.Lose("/tmp/a.part");
  Made("/tmp/a.part", "bytes");
  EXPECT_EQ(files.Adopt("/tmp/a.part", identity), nullptr);
}

TEST_F(SimDownloadFilesTest, LocksEndWithTheProgram) {
  const auto part = Made("/tmp/a.part", "bytes");
  const FileIdentity identity = part->State().identity;
  SimPlatform next({.disk = disk.TakeState()});
  EXPECT_NE(next.downloadFiles().Adopt("/tmp/a.part", identity), nullptr);
}

TEST_F(SimDownloadFilesTest, StateTellsIdentityLengthAndTime) {
  const auto part = Made("/tmp/a.part", "bytes");
  const FileState first = part->State();
  EXPECT_EQ(first.length, 5U);
  EXPECT_EQ(files.StateOf("/tmp/a.part"), first);
  sim.RunFor(1500);
  part->SetLength(9);
  EXPECT_EQ(part->State().identity, first.identity);
  EXPECT_EQ(part->State().length, 9U);
  EXPECT_EQ(part->State().modified - first.modified, 1'500'000'000);
  EXPECT_EQ(disk.Get("/tmp/a.part"), std::string("bytes\0\0\0\0", 9));
  disk.PutLink("/tmp/link", "/tmp/a.part");
  for (const char* const path : {"/tmp/link", "/tmp", "/tmp/none"}) EXPECT_EQ(files.StateOf(path), std::nullopt);
  disk.Renumber();
  EXPECT_NE(part->State().identity, first.identity);
}

TEST_F(SimDownloadFilesTest, AShortenedFileGrowsByZeros) {
  const auto part = Made("/tmp/a", std::string(3 * kBlock, 'x'));
  part->SetLength(10);
  part->SetLength(2 * kBlock);
  EXPECT_EQ(disk.Get("/tmp/a"), std::string(10, 'x') + std::string(2 * kBlock - 10, '\0'));
}

TEST_F(SimDownloadFilesTest, HoldsSparseFiles) {
  constexpr std::uint64_t kPiece = std::uint64_t{16} << 20;
  const SimContent sparse = SimContent::Sparse(2 * kPiece + 5);
  const auto part = files.Create("/tmp/a");
  part->WriteAt(0, sparse.All());
  EXPECT_TRUE(disk.Holds("/tmp/a", sparse));
  EXPECT_FALSE(disk.Holds("/tmp/b", sparse));
  EXPECT_FALSE(disk.Holds("/tmp/a", SimContent::Sparse(2 * kPiece + 6)));
  part->WriteAt(kPiece + 9000, "x");
  EXPECT_FALSE(disk.Holds("/tmp/a", sparse));
  part->WriteAt(kPiece + 9000, std::string(1, '\0'));
  EXPECT_TRUE(disk.Holds("/tmp/a", sparse));
}

TEST_F(SimDownloadFilesTest, WritesBeyondFourGibibytes) {
  constexpr std::uint64_t kFar = (std::uint64_t{4} << 30) + 77;
  const auto part = files.Create("/tmp/a");
  part->WriteAt(kFar, "far");
  EXPECT_EQ(part->Length(), kFar + 3);
  std::string read(5, '?');
  EXPECT_EQ(part->ReadAt(kFar - 1, read), 4U);
  EXPECT_EQ(read, std::string("\0far?", 5));
}

TEST_F(SimDownloadFilesTest, PublishesNeverOverWhatIsThere) {
  const auto part = Made("/tmp/a.part", "bytes");
  Write("/tmp/taken", "theirs");
  disk.PutLink("/tmp/link", "/tmp/nothing");
  for (const char* const path : {"/tmp/taken", "/tmp/link", "/tmp"}) EXPECT_FALSE(files.Publish("/tmp/a.part", path));
  EXPECT_EQ(disk.Get("/tmp/taken"), "theirs");
  EXPECT_TRUE(files.Publish("/tmp/a.part", "/tmp/a"));
  EXPECT_EQ(disk.Get("/tmp/a"), "bytes");
  EXPECT_FALSE(disk.Has("/tmp/a.part"));
  EXPECT_TRUE(disk.IsOpenToOthers("/tmp/a"));
  EXPECT_THROW(files.Publish("/tmp/a.part", "/tmp/b"), Failure);
  EXPECT_THROW(files.Publish("/tmp/a", "/home/u/a"), Failure);
}

TEST_F(SimDownloadFilesTest, PublishesOverTheFileThatWasConfirmed) {
  const auto part = Made("/tmp/a.part", "new");
  Write("/tmp/a", "old");
  const FileState confirmed = files.StateOf("/tmp/a").value();
  sim.RunFor(10);
  Write("/tmp/a", "OLD");
  EXPECT_FALSE(files.PublishOver("/tmp/a.part", "/tmp/a", confirmed));
  EXPECT_EQ(disk.Get("/tmp/a"), "OLD");
  EXPECT_TRUE(files.PublishOver("/tmp/a.part", "/tmp/a", files.StateOf("/tmp/a").value()));
  EXPECT_EQ(disk.Get("/tmp/a"), "new");
  EXPECT_FALSE(files.PublishOver("/tmp/a", "/tmp/none", confirmed));
}

TEST_F(SimDownloadFilesTest, OpensAJournalAndReplacesIt) {
  files.OpenJournal("/tmp/j")->WriteAt(0, "one");
  files.OpenJournal("/tmp/j")->WriteAt(3, "two");
  EXPECT_EQ(disk.Get("/tmp/j"), "onetwo");
  EXPECT_FALSE(disk.IsOpenToOthers("/tmp/j"));
  files.Replace("/tmp/j", "3");
  EXPECT_EQ(disk.Get("/tmp/j"), "3");
  EXPECT_FALSE(disk.IsOpenToOthers("/tmp/j"));
  disk.SetCapacity(disk.Used() + 2);
  EXPECT_THROW(files.Replace("/tmp/j", "4444"), Failure);
  EXPECT_EQ(disk.Get("/tmp/j"), "3");
  disk.PutLink("/tmp/link", "/tmp/j");
  for (const auto& call : {std::function<void()>([&] { files.OpenJournal("/tmp/link"); }),
                           std::function<void()>([&] { files.Replace("/tmp/link", "x"); })}) {
    try {
      call();
      ADD_FAILURE() << "a link was followed";
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.Number(), FailureNumber::ForeignFile);
    }
  }
}

TEST_F(SimDownloadFilesTest, ReportsRoomLimitsAndGaps) {
  disk.SetCapacity(disk.Used() + 100);
  EXPECT_EQ(files.RoomIn("/tmp"), 100U);
  sim.downloadFiles().SetRoom(7);
  EXPECT_EQ(files.RoomIn("/tmp"), 7U);
  EXPECT_THROW(static_cast<void>(files.RoomIn("/nowhere")), Failure);
  EXPECT_THROW(static_cast<void>(files.LongestFileIn("/nowhere")), Failure);
  EXPECT_THROW(static_cast<void>(files.FillsGaps("/nowhere")), Failure);
  disk.SetLongestFile(50);
  EXPECT_EQ(files.LongestFileIn("/tmp"), 50U);
  const auto part = Made("/tmp/a", "x");
  EXPECT_THROW(part->WriteAt(50, "x"), Failure);
  EXPECT_THROW(part->SetLength(51), Failure);
  EXPECT_EQ(files.DiskOf("/tmp"), files.DiskOf("/"));
  sim.downloadFiles().PutOnAnotherDisk("/tmp");
  EXPECT_NE(files.DiskOf("/tmp"), files.DiskOf("/"));
  EXPECT_FALSE(files.FillsGaps("/tmp"));
  sim.downloadFiles().SetFillsGaps(true);
  EXPECT_TRUE(files.FillsGaps("/tmp"));
  part->WriteAt(1, "x");
  EXPECT_EQ(sim.downloadFiles().GapBytes(), 0U);
  part->WriteAt(40, "x");
  EXPECT_EQ(sim.downloadFiles().GapBytes(), 38U);
}

TEST_F(SimDownloadFilesTest, EachCallCanFail) {
  const auto part = Made("/tmp/a.part", "bytes");
  const FileIdentity identity = part->State().identity;
  const std::pair<DiskCall, std::function<void()>> calls[] = {
      {DiskCall::Create, [&] { files.Create("/tmp/c"); }},
      {DiskCall::Adopt, [&] { files.Adopt("/tmp/a.part", identity); }},
      {DiskCall::OpenJournal, [&] { files.OpenJournal("/tmp/j"); }},
      {DiskCall::Replace, [&] { files.Replace("/tmp/j", "x"); }},
      {DiskCall::StateOf, [&] { files.StateOf("/tmp/a.part"); }},
      {DiskCall::Rename, [&] { files.Publish("/tmp/a.part", "/tmp/b"); }},
      {DiskCall::RoomIn, [&] { files.RoomIn("/tmp"); }},
      {DiskCall::LongestFileIn, [&] { files.LongestFileIn("/tmp"); }},
      {DiskCall::DiskOf, [&] { (void)files.DiskOf("/tmp"); }},
      {DiskCall::FillsGaps, [&] { files.FillsGaps("/tmp"); }},
      {DiskCall::Flush, [&] { part->Flush(); }},
      {DiskCall::SetLength, [&] { part->SetLength(3); }},
      {DiskCall::State, [&] { part->State(); }},
      {DiskCall::Write, [&] { part->WriteAt(0, "x"); }},
      {DiskCall::Reserve, [&] { part->Reserve(100); }},
      {DiskCall::FlushFolder, [&] { files.FlushFolder("/tmp"); }},
  };
  for (const auto& [call, run] : calls) {
    disk.FailWhere([kind = call](DiskCall made, const std::string&) { return made == kind; });
    EXPECT_THROW(run(), Failure) << static_cast<int>(call);
    EXPECT_TRUE(disk.Has("/tmp/a.part"));
    disk.NoFaults();
  }
}

TEST_F(SimDownloadFilesTest, FlushesTogetherWhatDoesNotFail) {
  const auto a = Made("/tmp/a", "bytes");
  const auto b = Made("/tmp/b", "bytes");
  disk.FailWhere([](DiskCall call, const std::string& path) { return call == DiskCall::Flush && path == "/tmp/a"; });
  const auto failures = files.FlushTogether({a.get(), b.get()}, {"/tmp"});
  ASSERT_EQ(failures.size(), 3U);
  EXPECT_TRUE(failures[0]);
  EXPECT_FALSE(failures[1]);
  EXPECT_FALSE(failures[2]);
}

TEST_F(SimDownloadFilesTest, AKillKeepsWhatWasNeverFlushed) {
  const auto part = Made("/tmp/a.part", "bytes");
  EXPECT_TRUE(files.Publish("/tmp/a.part", "/tmp/a"));
  disk.CutAt(disk.Calls() + 1);
  EXPECT_THROW(part->Flush(), SimKilled);
  SimPlatform next({.disk = disk.TakeState()});
  EXPECT_EQ(next.disk().Get("/tmp/a"), "bytes");
}

// The file after a cut with that seed, of what `live` did.
template <class Live>
std::optional<std::string> AfterCut(std::uint64_t seed, const std::string& path, Live live) {
  SimPlatform sim;
  live(sim);
  sim.disk().PowerCut(seed);
  SimPlatform next({.disk = sim.disk().TakeState()});
  if (!next.disk().Has(path)) return std::nullopt;
  return next.disk().Get(path);
}

TEST(SimPowerCut, KeepsWhatWasFlushed) {
  const std::string flushed(3 * kBlock + 100, 'f');
  for (std::uint64_t seed = 0; seed < 50; ++seed) {
    const auto left = AfterCut(seed, "/tmp/a", [&](SimPlatform& sim) {
      const auto file = sim.downloadFiles().Create("/tmp/a");
      file->WriteAt(0, flushed);
      file->Flush();
      file->WriteAt(flushed.size(), std::string(3 * kBlock, 'n'));
    });
    ASSERT_TRUE(left);
    EXPECT_EQ(left->substr(0, flushed.size()), flushed);
  }
}

TEST(SimPowerCut, BlocksThatWereNotFlushedAreOldZeroOrGone) {
  std::set<std::string> seen;  // one letter for each block
  for (std::uint64_t seed = 0; seed < 300; ++seed) {
    const auto left = AfterCut(seed, "/tmp/a", [](SimPlatform& sim) {
      const auto file = sim.downloadFiles().Create("/tmp/a");
      file->WriteAt(0, std::string(kBlock, 'o'));
      file->Flush();
      file->WriteAt(0, std::string(2 * kBlock, 'n'));
    });
    ASSERT_TRUE(left);
    std::string blocks;
    for (std::size_t at = 0; at < left->size(); at += kBlock) blocks += (*left)[at] == '\0' ? 'z' : (*left)[at];
    seen.insert(blocks);
  }
  EXPECT_EQ(seen, (std::set<std::string>{"o", "n", "on", "nn", "oz", "nz"}));
}

TEST(SimPowerCut, AFailedFlushLosesWhatItWasFor) {
  std::set<char> seen;
  for (std::uint64_t seed = 0; seed < 50; ++seed) {
    const auto left = AfterCut(seed, "/tmp/a", [](SimPlatform& sim) {
      const auto file = sim.downloadFiles().Create("/tmp/a");
      file->WriteAt(0, std::string(2 * kBlock, 'o'));
      file->Flush();
      file->WriteAt(0, std::string(2 * kBlock, 'n'));
      sim.disk().FailWhere([](DiskCall call, const std::string&) { return call == DiskCall::Flush; });
      EXPECT_THROW(file->Flush(), Failure);
      EXPECT_EQ(sim.disk().Get("/tmp/a"), std::string(2 * kBlock, 'n'));
      file->WriteAt(kBlock, std::string(kBlock, 'r'));  // written again as a whole
      file->Flush();
    });
    ASSERT_TRUE(left);
    seen.insert(left->front());
    EXPECT_EQ(left->back(), 'r');
  }
  EXPECT_EQ(seen, (std::set<char>{'o', 'n'}));
}

TEST(SimPowerCut, NamesAreSureOnceTheirFolderIsFlushed) {
  std::set<std::string> created, renamed, failed;
  for (std::uint64_t seed = 0; seed < 50; ++seed) {
    const auto make = [](SimPlatform& sim) {
      const auto part = sim.downloadFiles().Create("/tmp/a.part");
      part->WriteAt(0, "bytes");
      part->Flush();
    };
    const auto unflushed = [&](SimPlatform& sim) {
      make(sim);
      EXPECT_TRUE(sim.downloadFiles().Publish("/tmp/a.part", "/tmp/a"));
    };
    const auto publish = [&](SimPlatform& sim) {
      unflushed(sim);
      sim.downloadFiles().FlushFolder("/tmp");
    };
    const auto publishByLink = [&](SimPlatform& sim) {
      unflushed(sim);
      sim.disk().PutLink("/link", "/tmp");
      sim.downloadFiles().FlushFolder("/link");
    };
    EXPECT_EQ(AfterCut(seed, "/tmp/a", publish), "bytes");
    EXPECT_EQ(AfterCut(seed, "/tmp/a", publishByLink), "bytes");
    EXPECT_EQ(AfterCut(seed, "/tmp/a.part", make), "bytes");
    EXPECT_EQ(AfterCut(seed, "/tmp/a.part", publish), std::nullopt);
    const auto left = AfterCut(seed, "/tmp/a", unflushed);
    const auto leftPart = AfterCut(seed, "/tmp/a.part", unflushed);
    EXPECT_NE(left.has_value(), leftPart.has_value());
    failed.insert(left ? "renamed" : "undone");
    const auto fresh =
        AfterCut(seed, "/tmp/a.part", [](SimPlatform& sim) { sim.downloadFiles().Create("/tmp/a.part"); });
    created.insert(fresh ? "there" : "gone");
  }
  EXPECT_EQ(failed.size(), 2U);
  EXPECT_EQ(created.size(), 2U);
}

TEST(SimPowerCut, AReplacedJournalIsWhole) {
  for (std::uint64_t seed = 0; seed < 30; ++seed) {
    EXPECT_EQ(AfterCut(seed, "/tmp/j",
                       [](SimPlatform& sim) {
                         sim.downloadFiles().OpenJournal("/tmp/j")->WriteAt(0, "old");
                         sim.downloadFiles().Replace("/tmp/j", "new journal");
                       }),
              "new journal");
  }
}

TEST(SimPowerCut, AnAppendedLineMayEndAnywhere) {
  std::set<std::size_t> lengths;
  for (std::uint64_t seed = 0; seed < 200; ++seed) {
    const auto left = AfterCut(seed, "/tmp/j", [](SimPlatform& sim) {
      const auto journal = sim.downloadFiles().OpenJournal("/tmp/j");
      journal->WriteAt(0, "first\n");
      journal->Flush();
      journal->WriteAt(6, "second\n");
    });
    ASSERT_TRUE(left);
    EXPECT_EQ(left->substr(0, 6), "first\n");
    lengths.insert(left->size());
  }
  EXPECT_EQ(lengths.size(), 8U);
}

TEST(SimPowerCut, EqualSeedsLeaveEqualDisks) {
  for (std::uint64_t seed = 0; seed < 20; ++seed) {
    const auto live = [](SimPlatform& sim) {
      const auto file = sim.downloadFiles().Create("/tmp/a");
      for (char letter = 'a'; letter < 'k'; ++letter) {
        file->WriteAt(static_cast<std::size_t>(letter - 'a') * kBlock, std::string(kBlock, letter));
        if (letter == 'd') file->Flush();
      }
    };
    EXPECT_EQ(AfterCut(seed, "/tmp/a", live), AfterCut(seed, "/tmp/a", live));
  }
}

TEST_F(SimDownloadFilesTest, APowerCutCostsNothingThatWasFlushed) {
  Made("/tmp/flushed", std::string(kBlock, 'x'))->Flush();
  disk.PowerCut(1);
  EXPECT_FALSE(disk.WasCutByPower("/tmp/flushed"));
}

}  // namespace
}  // namespace pellora
