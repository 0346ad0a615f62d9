#include <gtest/gtest.h>

#include "ListSamples.h"
#include "MemoryPlatform.h"
#include "core/ListFile.h"
#include "core/Program.h"

namespace pellora {
namespace {

constexpr const char* kPath = "/program/Pellora.dat";
constexpr const char* kAside = "/program/Pellora.dat.damaged";

class ListFileTest : public testing::Test {
 protected:
  std::string& Content() { return memory.files.contents[kPath]; }
  void Load() { LoadList(program); }
  // A second program that reads what this one left.
  std::vector<DownloadRecord> Restarted() {
    Program next(memory.platform);
    LoadList(next);
    std::vector<DownloadRecord> records;
    for (int i = 0; i <= next.DownloadCount; ++i) records.push_back(next.Download(i));
    return records;
  }
  void Add(const DownloadRecord& record) {
    program.ResizeDownloads(static_cast<std::int16_t>(program.DownloadCount + 1));
    program.Download(program.DownloadCount) = record;
  }
  bool WasWritten() const {
    for (const std::string& call : memory.files.calls) {
      if (call.rfind("write ", 0) == 0) return true;
    }
    return false;
  }

  test::MemoryPlatform memory;
  Program program{memory.platform};
};

TEST_F(ListFileTest, CreatesAMissingFileAsAnEmptyList) {
  Load();
  EXPECT_EQ(program.DownloadCount, 0);
  EXPECT_TRUE(program.listLoaded);
  EXPECT_EQ(memory.files.contents.at(kPath), "");
}

TEST_F(ListFileTest, ReadsAFileThatWasDeniedOnce) {
  Content() = test::EncodedList({DownloadRecord{}, test::FullRecord()});
  memory.files.denied.insert(kPath);
  EXPECT_EQ(Restarted().size(), 2U);
}

TEST_F(ListFileTest, CopiesAFileUnreachableAtStartBeforeTheFirstSave) {
  const std::string before = test::EncodedList({DownloadRecord{}, test::FullRecord()});
  Content() = before;
  memory.files.denied.insert(kPath);
  memory.files.failing = {"open "};
  Load();
  EXPECT_THROW(SaveList(program), Failure);
  EXPECT_EQ(Content(), before);
  memory.files.denied.clear();
  memory.files.failing.clear();
  SaveList(program);
  EXPECT_EQ(Content().substr(0, 98), test::EncodedList({DownloadRecord{}}));
  EXPECT_EQ(memory.files.contents.at(kAside), before);
}

TEST_F(ListFileTest, WritesAListWithoutACopyOnceTheFolderIsWritable) {
  memory.files.failing = {"open "};
  Load();
  memory.files.failing.clear();
  SaveList(program);
  EXPECT_EQ(Content().size(), 98U);
  EXPECT_EQ(memory.files.contents.size(), 1U);
}

TEST_F(ListFileTest, ReadsAnEmptyOrShortFileAsAnEmptyList) {
  for (const std::string& content : {std::string(), std::string("\x6F"), std::string("\x6F\x86\x01", 3)}) {
    Content() = content;
    EXPECT_EQ(Restarted().size(), 1U);
    EXPECT_EQ(Content(), content);
  }
}

TEST_F(ListFileTest, SavesNothingBeforeTheListWasLoaded) {
  Content() = test::EncodedList({DownloadRecord{}, test::FullRecord()});
  const std::string before = Content();
  SaveList(program);
  EXPECT_EQ(Content(), before);
  EXPECT_TRUE(memory.files.calls.empty());
}

TEST_F(ListFileTest, SavesAnEmptyListAs98Bytes) {
  Load();
  SaveList(program);
  EXPECT_EQ(Content().size(), 98U);
  EXPECT_EQ(Content(), test::EncodedList({DownloadRecord{}}));
}

TEST_F(ListFileTest, LoadsARunningDownloadAsPausedWithItsSegments) {
  Load();
  Add(test::FullRecord());
  SaveList(program);
  DownloadRecord wanted = test::FullRecord();
  wanted.Active = false;
  wanted.Paused = true;
  EXPECT_EQ(Restarted().at(1), wanted);
}

TEST_F(ListFileTest, LoadsAStoppedDownloadUnchanged) {
  DownloadRecord record = test::FullRecord();
  record.Active = false;
  record.Paused = false;
  Load();
  Add(record);
  SaveList(program);
  EXPECT_EQ(Restarted().at(1), record);
}

TEST_F(ListFileTest, ReconcilesAnActiveFreeSlotToo) {
  DownloadRecord record;
  record.Active = true;
  Content() = test::EncodedList({DownloadRecord{}, record});
  Load();
  EXPECT_FALSE(program.Download(1).Active);
  EXPECT_TRUE(program.Download(1).Paused);
}

TEST_F(ListFileTest, DoesNotReconcileTheRecordAtIndexZero) {
  DownloadRecord record;
  record.Active = true;
  record.InUse = true;
  Content() = test::EncodedList({record});
  Load();
  EXPECT_TRUE(program.Download(0).Active);
  EXPECT_FALSE(program.Download(0).Paused);
  EXPECT_EQ(program.ActiveCount(), 0);
}

TEST_F(ListFileTest, IgnoresTheTailOfAShrunkList) {
  Load();
  for (int i = 0; i < 3; ++i) Add(test::FullRecord());
  SaveList(program);
  const std::size_t longer = Content().size();
  program.ResizeDownloads(1);
  SaveList(program);
  EXPECT_EQ(Content().size(), longer);
  EXPECT_EQ(Restarted().size(), 2U);
  EXPECT_FALSE(memory.files.Exists(kAside));
}

TEST_F(ListFileTest, GrowsAllArraysTogether) {
  Content() = test::EncodedList({DownloadRecord{}, test::FullRecord(), test::FullRecord()});
  Load();
  EXPECT_EQ(program.DownloadCount, 2);
  EXPECT_EQ(program.TransferWindowAt(2), nullptr);
  EXPECT_EQ(program.ZipViewerAt(2), nullptr);
  EXPECT_NE(program.Serial(2), 0U);
}

TEST_F(ListFileTest, LoadReplacesTheListsContent) {
  Add(test::FullRecord());
  program.Download(0) = test::FullRecord();
  Content() = test::EncodedList({DownloadRecord{}, DownloadRecord{}});
  Load();
  EXPECT_EQ(program.DownloadCount, 1);
  EXPECT_EQ(program.Download(0), DownloadRecord{});
  EXPECT_EQ(program.Download(1), DownloadRecord{});
}

TEST_F(ListFileTest, SavesByOneReserveAndOneWriteAtZero) {
  Load();
  Add(test::FullRecord());
  memory.files.calls.clear();
  SaveList(program);
  const std::string size = std::to_string(Content().size());
  const std::vector<std::string> wanted = {"open /program/Pellora.dat", "reserve /program/Pellora.dat " + size,
                                           "write /program/Pellora.dat 0 " + size};
  EXPECT_EQ(memory.files.calls, wanted);
}

TEST_F(ListFileTest, WritesNothingIfASaveDoesNotFitOnTheDisk) {
  Load();
  SaveList(program);
  const std::string before = Content();
  Add(test::FullRecord());
  memory.files.failing = {"reserve"};
  memory.files.calls.clear();
  EXPECT_THROW(SaveList(program), Failure);
  EXPECT_EQ(Content(), before);
  EXPECT_FALSE(WasWritten());
  memory.files.failing.clear();
  SaveList(program);
  EXPECT_EQ(Restarted().size(), 2U);
}

TEST_F(ListFileTest, CopiesAForeignFileBeforeSavingOverIt) {
  Content() = "somebody else's file";
  Load();
  EXPECT_EQ(program.DownloadCount, 0);
  EXPECT_EQ(Content(), "somebody else's file");
  SaveList(program);
  EXPECT_EQ(Content().size(), 98U);
  EXPECT_EQ(memory.files.contents.at(kAside), "somebody else's file");
}

TEST_F(ListFileTest, CopiesATruncatedListAndKeepsItsFirstPart) {
  const std::string whole = test::EncodedList({DownloadRecord{}, test::FullRecord(), test::FullRecord()});
  const std::string cut = whole.substr(0, whole.size() - 1);
  Content() = cut;
  Load();
  EXPECT_EQ(program.DownloadCount, 2);
  EXPECT_EQ(program.Download(1).URL, test::FullRecord().URL);
  EXPECT_EQ(memory.files.contents.at(kAside), cut);
}

TEST_F(ListFileTest, NeverLosesAnEarlierCopy) {
  memory.files.contents[kAside] = "first";
  memory.files.contents[std::string(kAside) + ".2"] = "second";
  Content() = "third";
  Load();
  EXPECT_EQ(memory.files.contents.at(kAside), "first");
  EXPECT_EQ(memory.files.contents.at(std::string(kAside) + ".2"), "second");
  EXPECT_EQ(memory.files.contents.at(std::string(kAside) + ".3"), "third");
}

TEST_F(ListFileTest, CopiesALargeForeignFileCompletely) {
  std::string content(3 * 1048576 + 5, 'x');
  content.back() = 'y';
  Content() = content;
  Load();
  EXPECT_EQ(memory.files.contents.at(kAside), content);
}

TEST_F(ListFileTest, DoesNotCopyAnEmptyOrMerelyReservedFile) {
  for (const std::string& content : {std::string(), std::string(98, '\0')}) {
    Content() = content;
    Load();
    EXPECT_FALSE(memory.files.Exists(kAside));
  }
}

TEST_F(ListFileTest, SavesNothingOverADamagedFileUntilItIsCopied) {
  Content() = "evidence";
  memory.files.failing = {std::string("write ") + kAside};
  Load();
  EXPECT_FALSE(memory.files.Exists(kAside));
  EXPECT_THROW(SaveList(program), Failure);
  EXPECT_EQ(Content(), "evidence");
  EXPECT_FALSE(memory.files.Exists(kAside));
  memory.files.failing.clear();
  SaveList(program);
  EXPECT_EQ(Content().size(), 98U);
  EXPECT_EQ(memory.files.contents.at(kAside), "evidence");
  SaveList(program);
  EXPECT_EQ(memory.files.contents.size(), 2U);
}

TEST_F(ListFileTest, SavesNothingOverAnUnreadableFile) {
  Content() = test::EncodedList({DownloadRecord{}, test::FullRecord()});
  const std::string before = Content();
  memory.files.failing = {"read "};
  EXPECT_THROW(Load(), Failure);
  EXPECT_FALSE(program.listLoaded);
  SaveList(program);
  EXPECT_EQ(Content(), before);
}

TEST_F(ListFileTest, AllowsDeletingPartFilesOnlyOnceTheListIsSaved) {
  Load();
  Add(test::FullRecord());
  EXPECT_TRUE(SaveListBeforeTouchingParts(program));
  EXPECT_EQ(Restarted().size(), 2U);
  memory.files.failing = {"write "};
  EXPECT_FALSE(SaveListBeforeTouchingParts(program));
}

TEST_F(ListFileTest, LoadsAnEmptyListInAnUnwritableFolder) {
  memory.files.failing = {"open "};
  Load();
  EXPECT_TRUE(program.listLoaded);
  EXPECT_THROW(SaveList(program), Failure);
}

TEST_F(ListFileTest, LoadsSavesAndReloadsEveryTruncation) {
  const std::string whole = test::EncodedList({DownloadRecord{}, test::FullRecord(), test::FullRecord()});
  for (std::size_t length = 0; length <= whole.size(); ++length) {
    memory.files.contents.clear();
    Content() = whole.substr(0, length);
    const std::vector<DownloadRecord> first = Restarted();
    Load();
    SaveList(program);
    ASSERT_EQ(Restarted(), first) << length;
    ASSERT_EQ(memory.files.Exists(kAside), length > 0 && length < whole.size()) << length;
  }
}

// What a damaged list is read as is a list like any other: written and read again it stays so.
TEST_F(ListFileTest, LoadsSavesAndReloadsEveryFlippedBit) {
  test::RandomRecords random(7);
  const std::string whole =
      test::EncodedList({DownloadRecord{}, test::FullRecord(), random.Next(), test::FullRecord()});
  for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
    memory.files.contents.clear();
    Content() = whole;
    Content()[bit / 8] = static_cast<char>(Content()[bit / 8] ^ (1 << bit % 8));
    const std::vector<DownloadRecord> first = Restarted();
    Load();
    SaveList(program);
    const std::string saved = Content();
    const std::vector<DownloadRecord> second = Restarted();
    ASSERT_EQ(second.size(), first.size()) << bit;
    ASSERT_EQ(test::EncodedList(second), test::EncodedList(first)) << bit;
    Load();
    SaveList(program);
    ASSERT_EQ(Content(), saved) << bit;
  }
}

TEST_F(ListFileTest, LoadsAndSavesAFullArrayOfRecords) {
  Load();
  program.ResizeDownloads(kMaxRecords);
  program.Download(kMaxRecords).URL = "last";
  SaveList(program);
  EXPECT_EQ(Content().size(), 6U + 32768 * 92 + 4);
  const std::vector<DownloadRecord> records = Restarted();
  ASSERT_EQ(records.size(), 32768U);
  EXPECT_EQ(records.back().URL, "last");
}

TEST_F(ListFileTest, IsPrivateFromItsCreation) {
  Load();
  EXPECT_TRUE(memory.files.closed.contains(kPath));
}

TEST_F(ListFileTest, IsMadePrivateWithItsCopiesAtStart) {
  const std::string whole = test::EncodedList({DownloadRecord{}, test::FullRecord()});
  for (const char* const path : {kPath, kAside, "/program/Pellora.dat.damaged.2"}) memory.files.contents[path] = whole;
  Load();
  EXPECT_EQ(memory.files.closed, (std::set<std::string>{kPath, kAside, "/program/Pellora.dat.damaged.2"}));
  EXPECT_EQ(memory.files.contents.size(), 3U);
}

TEST_F(ListFileTest, CopiesADamagedListPrivately) {
  Content() = "no list";
  Load();
  EXPECT_EQ(memory.files.contents.at(kAside), "no list");
  EXPECT_TRUE(memory.files.closed.contains(kAside));
}

TEST_F(ListFileTest, ReadsAListThatCannotBeWritten) {
  Content() = test::EncodedList({DownloadRecord{}, test::FullRecord()});
  memory.files.failing = {"open "};
  Load();
  EXPECT_EQ(program.DownloadCount, 1);
}

}  // namespace
}  // namespace pellora
