// What the journal's file holds after disk faults.
#include <gtest/gtest.h>

#include <map>

#include "SimPlatform.h"
#include "fetch/Journal.h"
#include "ports/Failure.h"

namespace pellora {
namespace {

constexpr const char* kJournal = "/prog/Pellora.fetch";
constexpr const char* kPart = "/home/u/dl/a.bin.part";
constexpr std::uint64_t kOtherDisk = 9;
constexpr std::uint64_t kInode = 42;

JournalEntry EntryOf(const std::string& name, std::uint64_t id) {
  JournalEntry entry;
  entry.key.url = "https://o.example/" + name;
  entry.id = id;
  entry.state = JournalState::Paused;
  return entry;
}

class JournalFaults : public testing::Test {
 protected:
  JournalFaults() { sim.disk().Put(kJournal, JournalLine(EntryOf("a.bin", 1))); }

  void FailOnce(DiskCall failing) {
    sim.disk().FailWhere(
        [failing](DiskCall call, const std::string& path) { return call == failing && path == kJournal; });
  }
  std::map<std::string, JournalState> Written() {
    std::map<std::string, JournalState> states;
    for (const JournalEntry& entry : ReadJournal(sim.disk().Get(kJournal)).entries) states[entry.key.url] = entry.state;
    return states;
  }
  JournalEntry OpenAndRemoveOneWithAPart(const std::string& part, std::uint64_t disk = kOtherDisk) {
    JournalEntry entry = EntryOf("a.bin", 1);
    entry.partPath = part;
    entry.part = {disk, kInode};
    if (part == kPart) sim.disk().PutNumbered(kPart, std::string("part"), kInode);
    sim.disk().Put(kJournal, JournalLine(entry));
    sim.Do([&] { journal.Open(); });
    sim.Do([&] { journal.Remove(entry.key); });
    sim.RunFor(1000);
    return entry;
  }
  void OpenNextAndDeleteLeft() {
    Journal next{sim.platform(), turns, kJournal};
    sim.Do([&] {
      next.Open();
      next.DeleteLeft();
    });
    sim.RunFor(1000);
  }
  std::string LeftPart() {
    for (const JournalEntry& entry : ReadJournal(sim.disk().Get(kJournal)).entries) {
      if (entry.state == JournalState::Gone && !entry.partPath.empty()) return entry.partPath;
    }
    return "";
  }

  SimPlatform sim{{.web = true}};
  DiskTurns turns{sim.platform()};
  Journal journal{sim.platform(), turns, kJournal};
};

// Taken for a new one it would be written over.
TEST_F(JournalFaults, OneThatSeemsMissingForAMomentIsRead) {
  FailOnce(DiskCall::Exists);
  sim.Do([&] { journal.Open(); });
  EXPECT_EQ(journal.All().size(), 1U);
}

TEST_F(JournalFaults, OneOfWhichNothingIsKnownIsUnreadable) {
  sim.disk().FailWhere(
      [](DiskCall call, const std::string&) { return call == DiskCall::Exists || call == DiskCall::StateOf; }, 1, true);
  sim.Do([&] { EXPECT_FALSE(Skip([&] { journal.Open(); })); });
  EXPECT_FALSE(journal.Readable());
}

TEST_F(JournalFaults, LengthThatCannotBeReadCostsNoLine) {
  sim.Do([&] { journal.Open(); });
  FailOnce(DiskCall::Length);
  sim.Do([&] {
    journal.Put(EntryOf("b.bin", 2));
    journal.Put(EntryOf("c.bin", 3));
  });
  sim.RunFor(1000);
  EXPECT_EQ(Written().size(), 3U);
}

// Else a part file whose line alone says that it is to be deleted stays for good, if a kill follows.
TEST_F(JournalFaults, LineThatCannotBeWrittenComesWithTheNext) {
  sim.Do([&] { journal.Open(); });
  sim.disk().FailWhere([](DiskCall call, const std::string&) { return call == DiskCall::Write; }, 2);
  sim.Do([&] {
    journal.Put(EntryOf("b.bin", 2));
    journal.Remove(EntryOf("b.bin", 2).key);
    journal.Put(EntryOf("c.bin", 3));
  });
  sim.RunFor(1000);
  EXPECT_EQ(Written().size(), 3U);
  EXPECT_EQ(Written()["https://o.example/b.bin"], JournalState::Gone);  // in their order
}

// Each whole takes as long and as much memory as all downloads together, and those of a sweep come in one event.
TEST_F(JournalFaults, ManyLinesAfterOneThatCouldNotBeWrittenRewriteItOnce) {
  constexpr std::uint64_t kMany = 100;
  sim.Do([&] { journal.Open(); });
  FailOnce(DiskCall::Write);
  sim.Do([&] { journal.Put(EntryOf("b.bin", 2)); });
  sim.RunFor(1000);
  int rewrites = 0;
  sim.disk().FailWhere(
      [&](DiskCall call, const std::string&) {
        rewrites += call == DiskCall::Replace ? 1 : 0;
        return call == DiskCall::Replace || call == DiskCall::Write;
      },
      1, true);
  const auto putMany = [&](std::uint64_t from) {
    sim.Do([&] {
      for (std::uint64_t id = from; id < from + kMany; ++id) journal.Put(EntryOf(std::to_string(id), id));
    });
    sim.RunFor(1000);
  };
  putMany(3);
  EXPECT_EQ(rewrites, 1);
  EXPECT_EQ(Written().size(), 1U);
  sim.disk().NoFaults();
  putMany(3 + kMany);
  EXPECT_EQ(Written().size(), 2 + 2 * kMany);
}

// More lines than are kept for the next one: only a rewritten journal has them.
TEST_F(JournalFaults, LineThatIsNotKeptForTheNextIsNotTakenForOneOnTheDisk) {
  JournalEntry late = EntryOf("late.bin", 2);
  late.reason = std::string(std::size_t{2} << 20, 'x');
  sim.Do([&] { journal.Open(); });
  const auto fail = [&](DiskCall failing) {
    sim.disk().FailWhere(
        [failing](DiskCall call, const std::string&) { return call == failing || call == DiskCall::Replace; }, 1, true);
  };
  fail(DiskCall::Write);
  sim.Do([&] { journal.Put(late); });
  sim.RunFor(1000);
  sim.disk().NoFaults();
  FailOnce(DiskCall::Replace);
  sim.Do([&] { journal.Put(EntryOf("b.bin", 3)); });
  sim.RunFor(1000);
  EXPECT_TRUE(Written().contains("https://o.example/b.bin"));
  EXPECT_FALSE(Written().contains(late.key.url));
  EXPECT_FALSE(journal.IsOnDisk(late.key));
  sim.Do([&] { journal.Put(EntryOf("c.bin", 4)); });
  sim.RunFor(1000);
  EXPECT_TRUE(Written().contains(late.key.url));
  EXPECT_TRUE(journal.IsOnDisk(late.key));
}

TEST_F(JournalFaults, LinesThatCannotBeFlushedComeWithTheNext) {
  sim.Do([&] { journal.Open(); });
  FailOnce(DiskCall::Flush);
  sim.Do([&] { journal.Put(EntryOf("b.bin", 2)); });
  sim.RunFor(1000);
  EXPECT_EQ(Written().size(), 1U);
  FailOnce(DiskCall::Replace);  // of the whole, which is tried first
  sim.Do([&] { journal.Put(EntryOf("c.bin", 3)); });
  sim.RunFor(1000);
  EXPECT_EQ(Written().size(), 3U);
}

TEST_F(JournalFaults, LineThatCannotBeWrittenIsWrittenAtTheEnd) {
  sim.Do([&] { journal.Open(); });
  FailOnce(DiskCall::Write);
  sim.Do([&] { journal.Remove(EntryOf("a.bin", 1).key); });
  sim.RunFor(1000);
  ASSERT_EQ(Written()["https://o.example/a.bin"], JournalState::Paused);
  sim.Do([&] { journal.Finish(); });
  EXPECT_FALSE(Written().contains("https://o.example/a.bin"));
}

TEST_F(JournalFaults, WhatWaitsIsWrittenAtTheEndAlsoWhereTheWholeCannotBe) {
  sim.Do([&] { journal.Open(); });
  FailOnce(DiskCall::Write);
  sim.Do([&] { journal.Put(EntryOf("b.bin", 2)); });
  sim.RunFor(1000);
  FailOnce(DiskCall::Replace);
  sim.Do([&] {
    journal.Put(EntryOf("c.bin", 3));
    journal.Finish();
  });
  EXPECT_TRUE(Written().contains("https://o.example/c.bin"));
}

TEST_F(JournalFaults, TornEndIsCutBeforeTheNextLine) {
  sim.disk().Put(kJournal, JournalLine(EntryOf("a.bin", 1)) + "12345678 url=https");
  FailOnce(DiskCall::Replace);
  sim.Do([&] { journal.Open(); });
  sim.Do([&] { journal.Put(EntryOf("b.bin", 2)); });
  sim.RunFor(1000);
  EXPECT_EQ(ReadJournal(sim.disk().Get(kJournal)).badLines, 0U);
  EXPECT_EQ(Written().size(), 2U);
}

TEST_F(JournalFaults, TornEndIsCutEvenIfTheFileDoesNotOpenAtFirst) {
  sim.disk().Put(kJournal, JournalLine(EntryOf("a.bin", 1)) + "12345678 url=https");
  sim.disk().FailWhere(
      [](DiskCall call, const std::string&) { return call == DiskCall::Replace || call == DiskCall::OpenJournal; }, 1,
      true);
  sim.Do([&] { journal.Open(); });
  sim.disk().NoFaults();
  sim.Do([&] { journal.Put(EntryOf("b.bin", 2)); });
  sim.RunFor(1000);
  EXPECT_EQ(ReadJournal(sim.disk().Get(kJournal)).badLines, 0U);
  EXPECT_EQ(Written().size(), 2U);
}

// What comes after the end of the program is over in any case.
TEST_F(JournalFaults, RewritingAfterTheEndLosesNoLine) {
  sim.Do([&] { journal.Open(); });
  FailOnce(DiskCall::Write);
  sim.Do([&] { journal.Put(EntryOf("b.bin", 2)); });
  sim.RunFor(1000);
  sim.Do([&] {
    journal.Put(EntryOf("b.bin", 2));  // rewrites, for want of a line
    journal.Put(EntryOf("c.bin", 3));
    journal.Remove(EntryOf("a.bin", 1).key);
    journal.Finish();
  });
  const std::map<std::string, JournalState> before = Written();
  ASSERT_TRUE(before.contains("https://o.example/c.bin"));
  sim.RunFor(1000);
  EXPECT_EQ(Written(), before);
}

TEST_F(JournalFaults, RewrittenOneStillNamesThePartFilesToBeDeleted) {
  JournalEntry entry = EntryOf("a.bin", 1);
  entry.partPath = kPart;
  sim.disk().Put(kJournal, JournalLine(entry));
  sim.Do([&] { journal.Open(); });
  FailOnce(DiskCall::Write);
  sim.Do([&] { journal.Remove(entry.key); });
  sim.RunFor(1000);
  sim.Do([&] { journal.Put(EntryOf("b.bin", 2)); });
  sim.RunFor(1000);
  EXPECT_FALSE(Written().contains(entry.key.url));
  EXPECT_EQ(LeftPart(), kPart);
}

struct LateLine {
  DiskCall failing;
  bool whole;  // the journal can be rewritten then
};
class LateJournalLine : public JournalFaults, public testing::WithParamInterface<LateLine> {};

// A list has no record of chosen files without its line: it would never have it.
TEST_P(LateJournalLine, IsKnownToBeOnTheDiskOnceItIs) {
  const JournalKey late = EntryOf("b.bin", 2).key;
  sim.Do([&] { journal.Open(); });
  FailOnce(GetParam().failing);
  sim.Do([&] { journal.Put(EntryOf("b.bin", 2)); });
  sim.RunFor(1000);
  EXPECT_FALSE(journal.IsOnDisk(late));
  if (!GetParam().whole) FailOnce(DiskCall::Replace);
  sim.Do([&] { journal.Put(EntryOf("c.bin", 3)); });
  sim.RunFor(1000);
  ASSERT_TRUE(Written().contains(late.url));
  EXPECT_TRUE(journal.IsOnDisk(late));
}

INSTANTIATE_TEST_SUITE_P(Each, LateJournalLine,
                         testing::Values(LateLine{DiskCall::Write, true}, LateLine{DiskCall::Write, false},
                                         LateLine{DiskCall::Flush, true}, LateLine{DiskCall::Flush, false}));

// The first of them may be older than what a work has written of them.
TEST_F(JournalFaults, LinesThatDoNotFitAtTheEndLeaveItAsItIs) {
  sim.Do([&] { journal.Open(); });
  const std::string before = sim.disk().Get(kJournal);
  std::string after;
  sim.Do([&] {
    journal.Put(EntryOf("b.bin", 2));
    journal.Put(EntryOf("c.bin", 3));
    sim.disk().SetCapacity(sim.disk().Used() + JournalLine(EntryOf("b.bin", 2)).size() + 5);
    journal.Finish();
    after = sim.disk().Get(kJournal);
  });
  EXPECT_EQ(after, before);
}

TEST_F(JournalFaults, WholeTakesWaitingLinesNoRoomAtTheEnd) {
  sim.Do([&] { journal.Open(); });
  FailOnce(DiskCall::Write);
  sim.Do([&] { journal.Put(EntryOf("b.bin", 2)); });
  sim.RunFor(1000);
  FailOnce(DiskCall::Replace);
  sim.Do([&] {
    journal.Put(EntryOf("c.bin", 3));
    sim.disk().SetCapacity(sim.disk().Used() + JournalLine(EntryOf("c.bin", 3)).size() + 5);
    journal.Finish();
  });
  EXPECT_TRUE(Written().contains("https://o.example/c.bin"));
  EXPECT_EQ(ReadJournal(sim.disk().Get(kJournal)).badLines, 0U);
}

// As in a folder that has been closed to new files meanwhile.
TEST_F(JournalFaults, LineThatIsMissingComesAtTheEndAlsoWhereNoNewFileCanBeMade) {
  sim.Do([&] { journal.Open(); });
  FailOnce(DiskCall::Write);
  sim.Do([&] { journal.Put(EntryOf("b.bin", 2)); });
  sim.RunFor(1000);
  FailOnce(DiskCall::Replace);
  sim.Do([&] { journal.Finish(); });
  EXPECT_TRUE(Written().contains("https://o.example/b.bin"));
}

// Nothing else says that it is deleted.
TEST_F(JournalFaults, DeletionWhoseLineIsMissingComesAtTheEndAlsoWhereNoNewFileCanBeMade) {
  sim.Do([&] { journal.Open(); });
  FailOnce(DiskCall::Write);
  sim.Do([&] { journal.Remove(EntryOf("a.bin", 1).key); });
  sim.RunFor(1000);
  FailOnce(DiskCall::Replace);
  sim.Do([&] { journal.Finish(); });
  EXPECT_EQ(Written()["https://o.example/a.bin"], JournalState::Gone);
}

TEST_F(JournalFaults, DeletionWhoseLineIsMissingComesAtTheEndAlsoWhereTheWholeHasNoRoom) {
  JournalEntry gone = EntryOf("a.bin", 1);
  gone.partPath = kPart;
  sim.disk().Put(kJournal, JournalLine(gone) + JournalLine(EntryOf("b.bin", 2)) + JournalLine(EntryOf("c.bin", 3)));
  sim.Do([&] { journal.Open(); });
  FailOnce(DiskCall::Write);
  sim.Do([&] { journal.Remove(gone.key); });
  sim.RunFor(1000);
  ASSERT_EQ(Written()["https://o.example/a.bin"], JournalState::Paused);
  FailOnce(DiskCall::Replace);
  sim.disk().SetCapacity(sim.disk().Used() + JournalLine(gone).size() * 2);
  sim.Do([&] { journal.Finish(); });
  EXPECT_EQ(Written()["https://o.example/a.bin"], JournalState::Gone);
  EXPECT_EQ(LeftPart(), kPart);
}

// Its line names the part file no more.
TEST_F(JournalFaults, OneRewrittenNamesNoPartFileThatIsDeleted) {
  OpenAndRemoveOneWithAPart(kPart);
  FailOnce(DiskCall::Write);
  sim.Do([&] { journal.Put(EntryOf("b.bin", 2)); });
  sim.RunFor(1000);
  sim.Do([&] { journal.Finish(); });
  const JournalReading read = ReadJournal(sim.disk().Get(kJournal));
  for (const JournalEntry& one : read.entries) EXPECT_EQ(one.partPath, "") << one.key.url;
  EXPECT_TRUE(Written().contains("https://o.example/b.bin"));
}

// A power cut may undo its deletion.
TEST_F(JournalFaults, DeletedPartFileIsNamedUntilItsFolderIsFlushed) {
  sim.disk().FailWhere([](DiskCall call, const std::string&) { return call == DiskCall::FlushFolder; });
  OpenAndRemoveOneWithAPart(kPart);
  EXPECT_FALSE(sim.disk().Has(kPart));
  EXPECT_EQ(LeftPart(), kPart);
}

TEST_F(JournalFaults, DeletedPartFileIsNamedNoMoreOnceItsFolderIsFlushed) {
  OpenAndRemoveOneWithAPart(kPart);
  EXPECT_FALSE(sim.disk().Has(kPart));
  EXPECT_EQ(LeftPart(), "");
}

TEST_F(JournalFaults, PartFileOnADiskThatIsNotMountedIsDeletedOnceItIs) {
  constexpr const char* kOnStick = "/media/u/stick/a.bin.part";
  OpenAndRemoveOneWithAPart(kOnStick);
  EXPECT_EQ(LeftPart(), kOnStick);

  sim.disk().PutNumbered(kOnStick, std::string("part"), kInode);
  OpenNextAndDeleteLeft();
  EXPECT_FALSE(sim.disk().Has(kOnStick));
  EXPECT_EQ(LeftPart(), "");
}

// As that of a record that the classic engine has begun, once it is moved in the queue.
TEST_F(JournalFaults, LeftPartFileOfADownloadThatIsPutAgainIsStillDeletedByTheNextStart) {
  sim.disk().FailWhere([](DiskCall call, const std::string&) { return call == DiskCall::Delete; }, 1, true);
  JournalEntry entry = OpenAndRemoveOneWithAPart(kPart);
  ASSERT_TRUE(sim.disk().Has(kPart));
  entry.partPath.clear();
  sim.Do([&] { journal.Put(entry); });
  sim.RunFor(1000);
  sim.disk().NoFaults();
  OpenNextAndDeleteLeft();
  EXPECT_FALSE(sim.disk().Has(kPart));
  EXPECT_EQ(Written()[entry.key.url], JournalState::Paused);
}

// Its number is given again at once.
TEST_F(JournalFaults, NewPartFileWithTheNameOfALeftOneIsNotDeleted) {
  sim.disk().FailWhere([](DiskCall call, const std::string&) { return call == DiskCall::FlushFolder; });
  const JournalEntry entry = OpenAndRemoveOneWithAPart(kPart);
  sim.disk().PutNumbered(kPart, std::string("new part"), kInode);
  sim.Do([&] { journal.Put(entry); });
  sim.RunFor(1000);
  OpenNextAndDeleteLeft();
  EXPECT_TRUE(sim.disk().Has(kPart));
}

// Many file systems are given another with each start of the machine. A folder that waits for its disk is empty.
TEST_F(JournalFaults, PartFileThatIsMissingAmongOthersIsForgottenAlsoIfTheNumberOfItsDiskHasChanged) {
  sim.disk().Put("/home/u/dl/other.bin", std::string("other"));
  OpenAndRemoveOneWithAPart("/home/u/dl/missing.bin.part");
  EXPECT_EQ(LeftPart(), "");
}

TEST_F(JournalFaults, PartFileIsNamedWhileItsFolderWaitsForItsDisk) {
  sim.disk().MakeFolder("/mnt/stick");
  OpenAndRemoveOneWithAPart("/mnt/stick/a.bin.part");
  EXPECT_EQ(LeftPart(), "/mnt/stick/a.bin.part");
}

TEST_F(JournalFaults, PartFileWhoseFolderTheUserHasDeletedIsForgotten) {
  OpenAndRemoveOneWithAPart("/home/u/deleted/a.bin.part", sim.downloadFiles().DiskOf("/home/u"));
  EXPECT_EQ(LeftPart(), "");
}

}  // namespace
}  // namespace pellora
