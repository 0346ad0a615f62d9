#include <gtest/gtest.h>

#include "ListSamples.h"
#include "SimPlatform.h"
#include "core/ListFile.h"
#include "core/Program.h"

namespace pellora {
namespace {

constexpr const char* kPath = "/prog/Pellora.dat";
constexpr const char* kAside = "/prog/Pellora.dat.damaged";

class ListFileTest : public testing::Test {
 protected:
  void Put(const std::string& content) { disk.Put(kPath, content); }
  std::string Content() const { return disk.Get(kPath); }
  std::string Copy() const { return disk.Get(kAside); }
  // On any path if none is given.
  void FailEvery(DiskCall call, const std::string& path = "") {
    disk.FailWhere([=](DiskCall made, const std::string& on) { return made == call && (path.empty() || on == path); },
                   1, true);
  }
  void Load() { LoadList(program); }
  // The records that a second program reads.
  std::vector<DownloadRecord> Restarted() {
    Program next(sim.platform());
    LoadList(next);
    std::vector<DownloadRecord> records;
    for (int i = 0; i <= next.DownloadCount; ++i) records.push_back(next.Download(i));
    return records;
  }
  void Add(const DownloadRecord& record) {
    program.ResizeDownloads(static_cast<std::int16_t>(program.DownloadCount + 1));
    program.Download(program.DownloadCount) = record;
  }

  SimPlatform sim{{.web = true}};
  SimDisk& disk = sim.disk();
  Program program{sim.platform()};
};

TEST_F(ListFileTest, CreatesAMissingFileAsAnEmptyList) {
  Load();
  EXPECT_EQ(program.DownloadCount, 0);
  EXPECT_TRUE(program.listLoaded);
  EXPECT_EQ(Content(), "");
}

TEST_F(ListFileTest, ReadsAFileThatWasDeniedOnce) {
  Put(test::EncodedList({DownloadRecord{}, test::FullRecord()}));
  FailEvery(DiskCall::Exists, kPath);
  EXPECT_EQ(Restarted().size(), 2U);
}

TEST_F(ListFileTest, CopiesAFileUnreachableAtStartBeforeTheFirstSave) {
  const std::string before = test::EncodedList({DownloadRecord{}, test::FullRecord()});
  Put(before);
  FailEvery(DiskCall::Exists, kPath);
  FailEvery(DiskCall::Open);
  Load();
  EXPECT_THROW(SaveList(program), Failure);
  EXPECT_EQ(Content(), before);
  disk.NoFaults();
  SaveList(program);
  EXPECT_EQ(Content().substr(0, 98), test::EncodedList({DownloadRecord{}}));
  EXPECT_EQ(Copy(), before);
}

TEST_F(ListFileTest, WritesAListWithoutACopyOnceTheFolderIsWritable) {
  FailEvery(DiskCall::Open);
  Load();
  disk.NoFaults();
  SaveList(program);
  EXPECT_EQ(Content().size(), 98U);
  EXPECT_EQ(disk.Paths().size(), 1U);
}

TEST_F(ListFileTest, ReadsAnEmptyOrShortFileAsAnEmptyList) {
  for (const std::string& content : {std::string(), std::string("\x6F"), std::string("\x6F\x86\x01", 3)}) {
    Put(content);
    EXPECT_EQ(Restarted().size(), 1U);
    EXPECT_EQ(Content(), content);
  }
}

TEST_F(ListFileTest, SavesNothingBeforeTheListWasLoaded) {
  Put(test::EncodedList({DownloadRecord{}, test::FullRecord()}));
  const std::string before = Content();
  SaveList(program);
  EXPECT_EQ(Content(), before);
  EXPECT_EQ(disk.Calls(), 0U);
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
  Put(test::EncodedList({DownloadRecord{}, record}));
  Load();
  EXPECT_FALSE(program.Download(1).Active);
  EXPECT_TRUE(program.Download(1).Paused);
}

TEST_F(ListFileTest, DoesNotReconcileTheRecordAtIndexZero) {
  DownloadRecord record;
  record.Active = true;
  record.InUse = true;
  Put(test::EncodedList({record}));
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
  EXPECT_FALSE(disk.Has(kAside));
}

TEST_F(ListFileTest, GrowsAllArraysTogether) {
  Put(test::EncodedList({DownloadRecord{}, test::FullRecord(), test::FullRecord()}));
  Load();
  EXPECT_EQ(program.DownloadCount, 2);
  EXPECT_EQ(program.TransferWindowAt(2), nullptr);
  EXPECT_EQ(program.ZipViewerAt(2), nullptr);
  EXPECT_NE(program.Serial(2), 0U);
}

TEST_F(ListFileTest, LoadReplacesTheListsContent) {
  Add(test::FullRecord());
  program.Download(0) = test::FullRecord();
  Put(test::EncodedList({DownloadRecord{}, DownloadRecord{}}));
  Load();
  EXPECT_EQ(program.DownloadCount, 1);
  EXPECT_EQ(program.Download(0), DownloadRecord{});
  EXPECT_EQ(program.Download(1), DownloadRecord{});
}

TEST_F(ListFileTest, SavesByOneReserveAndOneWriteAtZero) {
  Load();
  Add(test::FullRecord());
  disk.KeepLog();
  SaveList(program);
  const std::string size = std::to_string(Content().size());
  const std::vector<std::string> wanted = {"disk open /prog/Pellora.dat 0 0",
                                           "disk reserve /prog/Pellora.dat 0 " + size,
                                           "disk write /prog/Pellora.dat 0 " + size};
  EXPECT_EQ(disk.Log(), wanted);
}

TEST_F(ListFileTest, WritesNothingIfASaveDoesNotFitOnTheDisk) {
  Load();
  SaveList(program);
  const std::string before = Content();
  Add(test::FullRecord());
  FailEvery(DiskCall::Reserve);
  const std::uint64_t written = disk.BytesWritten();
  EXPECT_THROW(SaveList(program), Failure);
  EXPECT_EQ(Content(), before);
  EXPECT_EQ(disk.BytesWritten(), written);
  disk.NoFaults();
  SaveList(program);
  EXPECT_EQ(Restarted().size(), 2U);
}

TEST_F(ListFileTest, CopiesAForeignFileBeforeSavingOverIt) {
  Put("somebody else's file");
  Load();
  EXPECT_EQ(program.DownloadCount, 0);
  EXPECT_EQ(Content(), "somebody else's file");
  SaveList(program);
  EXPECT_EQ(Content().size(), 98U);
  EXPECT_EQ(Copy(), "somebody else's file");
}

TEST_F(ListFileTest, CopiesATruncatedListAndKeepsItsFirstPart) {
  const std::string whole = test::EncodedList({DownloadRecord{}, test::FullRecord(), test::FullRecord()});
  const std::string cut = whole.substr(0, whole.size() - 1);
  Put(cut);
  Load();
  EXPECT_EQ(program.DownloadCount, 2);
  EXPECT_EQ(program.Download(1).URL, test::FullRecord().URL);
  EXPECT_EQ(Copy(), cut);
}

TEST_F(ListFileTest, NeverLosesAnEarlierCopy) {
  disk.Put(kAside, "first");
  disk.Put(std::string(kAside) + ".2", "second");
  Put("third");
  Load();
  EXPECT_EQ(Copy(), "first");
  EXPECT_EQ(disk.Get(std::string(kAside) + ".2"), "second");
  EXPECT_EQ(disk.Get(std::string(kAside) + ".3"), "third");
}

TEST_F(ListFileTest, CopiesALargeForeignFileCompletely) {
  std::string content(3 * 1048576 + 5, 'x');
  content.back() = 'y';
  Put(content);
  Load();
  EXPECT_EQ(Copy(), content);
}

TEST_F(ListFileTest, DoesNotCopyAnEmptyOrMerelyReservedFile) {
  for (const std::string& content : {std::string(), std::string(98, '\0')}) {
    Put(content);
    Load();
    EXPECT_FALSE(disk.Has(kAside));
  }
}

TEST_F(ListFileTest, SavesNothingOverADamagedFileUntilItIsCopied) {
  Put("evidence");
  FailEvery(DiskCall::Write, kAside);
  Load();
  EXPECT_FALSE(disk.Has(kAside));
  EXPECT_THROW(SaveList(program), Failure);
  EXPECT_EQ(Content(), "evidence");
  EXPECT_FALSE(disk.Has(kAside));
  disk.NoFaults();
  SaveList(program);
  EXPECT_EQ(Content().size(), 98U);
  EXPECT_EQ(Copy(), "evidence");
  SaveList(program);
  EXPECT_EQ(disk.Paths().size(), 2U);
}

TEST_F(ListFileTest, SavesNothingOverAnUnreadableFile) {
  Put(test::EncodedList({DownloadRecord{}, test::FullRecord()}));
  const std::string before = Content();
  FailEvery(DiskCall::OpenForReading);
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
  FailEvery(DiskCall::Write);
  EXPECT_FALSE(SaveListBeforeTouchingParts(program));
}

TEST_F(ListFileTest, LoadsAnEmptyListInAnUnwritableFolder) {
  FailEvery(DiskCall::Open);
  Load();
  EXPECT_TRUE(program.listLoaded);
  EXPECT_THROW(SaveList(program), Failure);
}

TEST_F(ListFileTest, LoadsSavesAndReloadsEveryTruncation) {
  const std::string whole = test::EncodedList({DownloadRecord{}, test::FullRecord(), test::FullRecord()});
  for (std::size_t length = 0; length <= whole.size(); ++length) {
    for (const std::string& path : disk.Paths()) disk.Lose(path);
    Put(whole.substr(0, length));
    const std::vector<DownloadRecord> first = Restarted();
    Load();
    SaveList(program);
    ASSERT_EQ(Restarted(), first) << length;
    ASSERT_EQ(disk.Has(kAside), length > 0 && length < whole.size()) << length;
  }
}

// The list read from damaged bytes is an ordinary one: saved and loaded again it stays the same.
TEST_F(ListFileTest, LoadsSavesAndReloadsEveryFlippedBit) {
  test::RandomRecords random(7);
  const std::string whole =
      test::EncodedList({DownloadRecord{}, test::FullRecord(), random.Next(), test::FullRecord()});
  for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
    for (const std::string& path : disk.Paths()) disk.Lose(path);
    std::string flipped = whole;
    flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << bit % 8));
    Put(flipped);
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
  EXPECT_FALSE(disk.IsOpenToOthers(kPath));
}

TEST_F(ListFileTest, IsMadePrivateWithItsCopiesAtStart) {
  const std::string whole = test::EncodedList({DownloadRecord{}, test::FullRecord()});
  for (const char* const path : {kPath, kAside, "/prog/Pellora.dat.damaged.2"}) disk.Put(path, whole);
  Load();
  for (const std::string& path : disk.Paths()) EXPECT_FALSE(disk.IsOpenToOthers(path)) << path;
  EXPECT_EQ(disk.Paths().size(), 3U);
}

TEST_F(ListFileTest, CopiesADamagedListPrivately) {
  Put("no list");
  Load();
  EXPECT_EQ(Copy(), "no list");
  EXPECT_FALSE(disk.IsOpenToOthers(kAside));
}

TEST_F(ListFileTest, ReadsAListThatCannotBeWritten) {
  Put(test::EncodedList({DownloadRecord{}, test::FullRecord()}));
  FailEvery(DiskCall::Open);
  Load();
  EXPECT_EQ(program.DownloadCount, 1);
}

class UnsavedList : public ListFileTest {
 protected:
  UnsavedList() {
    program.listNotSaved = [this](const std::string& reason) { reasons.push_back(reason); };
  }

  std::vector<std::string> reasons;
};

TEST_F(UnsavedList, IsReportedOnceUntilASaveSucceeds) {
  Load();
  FailEvery(DiskCall::Write, kPath);
  EXPECT_THROW(SaveList(program), Failure);
  EXPECT_THROW(SaveList(program), Failure);
  ASSERT_EQ(reasons.size(), 1U);
  EXPECT_NE(reasons[0].find(kPath), std::string::npos);
  disk.NoFaults();
  SaveList(program);
  EXPECT_EQ(reasons.size(), 1U);
  FailEvery(DiskCall::Reserve, kPath);
  EXPECT_THROW(SaveList(program), Failure);
  EXPECT_EQ(reasons.size(), 2U);
}

TEST_F(UnsavedList, IsReportedAtTheStartIfTheFileCannotBeWritten) {
  Put(test::EncodedList({DownloadRecord{}, test::FullRecord()}));
  FailEvery(DiskCall::Open, kPath);
  Load();
  EXPECT_EQ(program.DownloadCount, 1);
  EXPECT_EQ(reasons.size(), 1U);
  EXPECT_THROW(SaveList(program), Failure);
  EXPECT_EQ(reasons.size(), 1U);
}

TEST_F(UnsavedList, IsNotReportedTwiceIfItCannotEvenBeRead) {
  Put(test::EncodedList({DownloadRecord{}, test::FullRecord()}));
  const auto opens = [](DiskCall call, const std::string&) {
    return call == DiskCall::Open || call == DiskCall::OpenForReading;
  };
  disk.FailWhere(opens, 1, true);
  EXPECT_THROW(Load(), Failure);
  EXPECT_TRUE(reasons.empty());
}

TEST_F(UnsavedList, IsReportedAtTheStartIfItCannotBeCreated) {
  FailEvery(DiskCall::Open, kPath);
  Load();
  EXPECT_EQ(reasons.size(), 1U);
}

class ListElsewhere : public ListFileTest {
 protected:
  ListElsewhere() {
    disk.MakeFolder("/data");
    sim.machine().dataFolder = "/data";
  }

  static std::string List() { return test::EncodedList({DownloadRecord{}, test::FullRecord()}); }
};

TEST_F(ListElsewhere, IsSavedInTheDataFolder) {
  Load();
  SaveList(program);
  EXPECT_EQ(disk.Get("/data/Pellora.dat").size(), 98U);
  EXPECT_FALSE(disk.Has(kPath));
  EXPECT_EQ(JournalPath(program), "/data/Pellora.fetch");
}

TEST_F(ListElsewhere, BeginsAsACopyOfTheListAndJournalBesideTheProgram) {
  Put(List());
  disk.Put("/prog/Pellora.fetch", "journal");
  AdoptList(program);
  Load();
  EXPECT_EQ(program.DownloadCount, 1);
  EXPECT_EQ(disk.Get("/data/Pellora.dat"), List());
  EXPECT_EQ(disk.Get("/data/Pellora.fetch"), "journal");
  EXPECT_EQ(Content(), List());
  EXPECT_FALSE(disk.IsOpenToOthers("/data/Pellora.dat"));
}

TEST_F(ListElsewhere, BeginsWithTheSelectionsThatTheJournalNames) {
  Put(List());
  for (const char* name : {"", ".3", ".3.2", ".new-abcdef.draft"}) {
    disk.Put(std::string("/prog/Pellora.fetch") + name, std::string("content") + name);
  }
  AdoptList(program);
  EXPECT_EQ(disk.Get("/data/Pellora.fetch.3"), "content.3");
  EXPECT_EQ(disk.Get("/data/Pellora.fetch.3.2"), "content.3.2");
  EXPECT_FALSE(disk.Has("/data/Pellora.fetch.new-abcdef.draft"));
}

TEST_F(ListElsewhere, IsNotReplacedByTheOneBesideTheProgram) {
  Put(List());
  disk.Put("/data/Pellora.dat", test::EncodedList({DownloadRecord{}}));
  disk.Put("/data/Pellora.fetch", "newer");
  AdoptList(program);
  EXPECT_EQ(disk.Get("/data/Pellora.dat").size(), 98U);
  EXPECT_EQ(disk.Get("/data/Pellora.fetch"), "newer");
}

// The list alone was lost there.
TEST_F(ListElsewhere, BeginsWithItsOwnJournalIfThereIsOne) {
  Put(List());
  disk.Put("/prog/Pellora.fetch", "older");
  disk.Put("/prog/Pellora.fetch.3", "of another download with this number");
  disk.Put("/data/Pellora.fetch", "newer");
  AdoptList(program);
  EXPECT_EQ(disk.Get("/data/Pellora.dat"), List());
  EXPECT_EQ(disk.Get("/data/Pellora.fetch"), "newer");
  EXPECT_FALSE(disk.Has("/data/Pellora.fetch.3"));
}

TEST_F(ListElsewhere, HasNoJournalBeforeAllThatItNames) {
  Put(List());
  disk.Put("/prog/Pellora.fetch", "journal");
  disk.Put("/prog/Pellora.fetch.3", "selection");
  disk.Put("/data/Pellora.fetch.3", "of a journal that is lost");
  FailEvery(DiskCall::Replace, "/data/Pellora.fetch.3");
  EXPECT_THROW(AdoptList(program), Failure);
  EXPECT_FALSE(disk.Has("/data/Pellora.fetch"));
  disk.NoFaults();
  AdoptList(program);
  EXPECT_EQ(disk.Get("/data/Pellora.fetch"), "journal");
  EXPECT_EQ(disk.Get("/data/Pellora.fetch.3"), "selection");
}

TEST_F(ListElsewhere, BeginsWithItsOwnJournalIfThatOnlySeemsMissing) {
  Put(List());
  disk.Put("/prog/Pellora.fetch", "older");
  disk.Put("/data/Pellora.fetch", "newer");
  FailEvery(DiskCall::Exists, "/data/Pellora.fetch");
  AdoptList(program);
  EXPECT_EQ(disk.Get("/data/Pellora.fetch"), "newer");
}

TEST_F(ListElsewhere, IsNotReplacedIfItOnlySeemsMissing) {
  Put(List());
  disk.Put("/data/Pellora.dat", test::EncodedList({DownloadRecord{}}));
  FailEvery(DiskCall::Exists, "/data/Pellora.dat");
  AdoptList(program);
  EXPECT_EQ(disk.Get("/data/Pellora.dat").size(), 98U);
}

// A kill has left it, as it has left an empty list.
TEST_F(ListElsewhere, BeginsWithTheJournalBesideTheProgramIfItsOwnIsEmpty) {
  Put(List());
  disk.Put("/prog/Pellora.fetch", "journal");
  disk.Put("/data/Pellora.dat", "");
  disk.Put("/data/Pellora.fetch", "");
  AdoptList(program);
  EXPECT_EQ(disk.Get("/data/Pellora.dat"), List());
  EXPECT_EQ(disk.Get("/data/Pellora.fetch"), "journal");
}

TEST_F(ListElsewhere, IsLeftMissingByAnUnfinishedCopySoThatTheNextStartRepeatsIt) {
  Put(List());
  disk.Put("/prog/Pellora.fetch", "journal");
  for (const auto& [call, path] :
       {std::pair{DiskCall::Replace, "/data/Pellora.fetch"}, std::pair{DiskCall::Write, "/data/Pellora.dat"}}) {
    FailEvery(call, path);
    EXPECT_THROW(AdoptList(program), Failure) << path;
    EXPECT_FALSE(disk.Has("/data/Pellora.dat")) << path;
    disk.NoFaults();
  }
  AdoptList(program);
  EXPECT_EQ(disk.Get("/data/Pellora.dat"), List());
}

}  // namespace
}  // namespace pellora
