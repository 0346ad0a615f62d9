// After pauses, kills, changed files and failing disks there is one right file, no part file, and the right entry
// in the list.
#include "WebRig.h"
#include "core/ListFile.h"
#include "fetch/JournalCodec.h"
#include "fetch/WebRecords.h"
#include "ports/Dialogs.h"

namespace pellora {
namespace {

constexpr const char* kUrl = "https://o.example/a.bin";
constexpr const char* kOutput = "/home/u/dl/a.bin";
constexpr const char* kPart = "/home/u/dl/a.bin.part";
constexpr const char* kList = "/prog/Pellora.dat";
constexpr const char* kJournal = "/prog/Pellora.fetch";

// A run of the program with its server.
struct Session {
  explicit Session(SimDiskState disk = {}, HttpFault fault = {.wire = {.bytesPerSecond = 500'000}})
      : rig(With(std::move(disk))), origin(rig.sim.network(), "o.example", 443) {
    origin.Always(std::move(fault));
  }
  static SimOptions With(SimDiskState disk) {
    SimOptions options;
    options.disk = std::move(disk);
    return options;
  }
  SimContent Serve(int version, std::uint64_t length) {
    SimContent content = SimContent::Generated(length, static_cast<std::uint64_t>(version));
    origin.File("/a.bin", content);
    origin.Traits("/a.bin").validators = {{.etag = "\"" + std::to_string(version) + "\""}};
    return content;
  }
  bool JournalHas(const std::string& text) {
    return rig.sim.disk().Has(kJournal) && rig.sim.disk().Get(kJournal).find(text) != std::string::npos;
  }
  WebRig rig;
  SimHttpServer origin;
};

void Delete(WebRig& rig) {
  rig.sim.Do([&] {
    EmptyPlace(rig.program, 1, Evicted::Unloaded);
    Release(rig.program, 1, {.removed = true, .raisesSerial = true});
    SaveList(rig.program);
  });
}

TEST(WebLeftovers, PartFileThatADeletionDidNotReachGoesAtTheNextStart) {
  Session first;
  first.Serve(1, 5'000'000);
  first.rig.Start(kUrl);
  ASSERT_TRUE(first.rig.RunUntilReceived(2'000'000));
  first.rig.sim.disk().FailWhere(
      [](DiskCall call, const std::string& path) { return call == DiskCall::Delete && path == kPart; });
  Delete(first.rig);
  first.rig.sim.RunFor(10'000);
  ASSERT_TRUE(first.rig.sim.disk().Has(kPart));
  first.rig.sim.Do([&] { FinishJournal(first.rig.program, *first.rig.services); });
  ASSERT_TRUE(first.JournalHas("state=gone"));

  Session next(first.rig.sim.disk().TakeState());
  next.rig.Load();
  next.rig.sim.RunFor(10'000);
  EXPECT_FALSE(next.rig.sim.disk().Has(kPart));
  EXPECT_EQ(next.rig.IndexOf(kUrl), 0);

  Session last(next.rig.sim.disk().TakeState());
  last.rig.Load();
  EXPECT_FALSE(last.JournalHas("state=gone"));
}

TEST(WebLeftovers, PartFileOfAnotherDownloadIsNotTakenForADeletedOnes) {
  Session first;
  first.Serve(1, 40'000'000);
  first.rig.Start(kUrl);
  ASSERT_TRUE(first.rig.RunUntilReceived(1'000'000));
  Delete(first.rig);
  first.rig.sim.RunFor(10'000);
  const std::int16_t index = first.rig.Start(kUrl);
  ASSERT_TRUE(first.rig.RunUntilReceived(2'000'000, index));
  first.rig.sim.RunFor(3000);
  ASSERT_TRUE(first.rig.sim.disk().Has(kPart));

  Session next(first.rig.sim.disk().TakeState());
  next.rig.Load();
  next.rig.sim.RunFor(10'000);
  EXPECT_TRUE(next.rig.sim.disk().Has(kPart));
}

class WebLeftoversAfter : public testing::TestWithParam<bool> {};

TEST_P(WebLeftoversAfter, FileThatGetsNameAndNumberOfADeletedPartFileIsLeftAlone) {
  Session first;
  first.Serve(1, 40'000'000);
  first.rig.Start(kUrl);
  ASSERT_TRUE(first.rig.RunUntilReceived(2'000'000));
  const std::uint64_t inode = first.rig.sim.downloadFiles().StateOf(kPart)->identity.inode;
  Delete(first.rig);
  first.rig.sim.RunFor(10'000);
  ASSERT_FALSE(first.rig.sim.disk().Has(kPart));
  const bool wasKilled = GetParam();
  if (!wasKilled) first.rig.sim.Do([&] { FinishJournal(first.rig.program, *first.rig.services); });

  Session next(first.rig.sim.disk().TakeState());
  next.rig.sim.disk().PutNumbered(kPart, std::string("another program's"), inode);
  next.rig.Load();
  next.rig.sim.RunFor(10'000);
  EXPECT_TRUE(next.rig.sim.disk().Has(kPart));
}

INSTANTIATE_TEST_SUITE_P(Each, WebLeftoversAfter, testing::Bool());

TEST(WebLeftovers, FileThatChangesBeforeItsPartFileIsThereHasOneRightPartFile) {
  Session run;
  run.rig.sim.background().SetMaxDelay(5000);
  run.Serve(1, 900'000);
  run.rig.Start(kUrl);
  ASSERT_TRUE(run.rig.sim.RunUntil([&] { return run.rig.program.Web(1) && run.rig.Web().size == 900'000; }, 1000));
  run.rig.Pause();
  const SimContent now = run.Serve(2, 700'000);
  run.rig.Resume();
  ASSERT_TRUE(run.rig.RunUntilFinished());
  EXPECT_TRUE(run.rig.sim.disk().Holds(run.rig.Record().SavePath, now));
  run.rig.sim.RunFor(60'000);
  EXPECT_EQ(run.rig.InFolder().size(), 1U);
}

TEST(WebLeftovers, NothingIsAskedAboutAChangedFileOfWhichNothingIsHeld) {
  Session run({}, {.wire = {.bytesPerSecond = 1000}});
  run.Serve(1, 900'000);
  run.rig.Start(kUrl);
  ASSERT_TRUE(run.rig.sim.RunUntil([&] { return run.rig.sim.disk().Has(kPart); }, 1000));
  run.rig.Pause();
  run.rig.sim.RunFor(1000);
  ASSERT_EQ(run.rig.Web().received, 0);
  run.origin.NoFaults();
  const SimContent now = run.Serve(2, 700'000);
  run.rig.Resume();
  ASSERT_TRUE(run.rig.sim.RunUntil([&] { return run.rig.Record().Finished || run.rig.Asks(); }));
  EXPECT_FALSE(run.rig.Asks());
  EXPECT_TRUE(run.rig.sim.disk().Holds(kOutput, now));
  run.rig.sim.RunFor(1000);
  EXPECT_EQ(run.rig.InFolder(), std::vector<std::string>{"a.bin"});
}

TEST(WebLeftovers, OtherLengthIsSeenAtTheEndOfABodyThatDoesNotStateIt) {
  for (const std::uint64_t length : {std::uint64_t{400'000}, std::uint64_t{200'000}}) {
    Session run({}, {.wire = {.bytesPerSecond = 1000}});
    run.Serve(1, 300'000);
    run.rig.Start(kUrl);
    ASSERT_TRUE(run.rig.sim.RunUntil([&] { return run.rig.sim.disk().Has(kPart); }, 1000));
    run.rig.Pause();
    run.rig.sim.RunFor(1000);
    const SimContent now = run.Serve(2, length);
    run.origin.Always({.ignoreRange = true, .chunked = true});
    run.rig.Resume();
    ASSERT_TRUE(run.rig.RunUntilFinished());
    EXPECT_TRUE(run.rig.sim.disk().Holds(kOutput, now)) << length;
  }
}

TEST(WebLeftovers, BodyThatDoesNotStateItsLengthContinuesWhatIsHeld) {
  Session run;
  const SimContent content = run.Serve(1, 3'000'000);
  run.rig.Start(kUrl);
  ASSERT_TRUE(run.rig.RunUntilReceived(1'000'000));
  run.rig.Pause();
  run.origin.Always({.ignoreRange = true, .chunked = true});
  run.rig.Resume();
  ASSERT_TRUE(run.rig.RunUntilFinished());
  EXPECT_TRUE(run.rig.sim.disk().Holds(kOutput, content));
}

// The new version is the beginning of the old one.
TEST(WebLeftovers, FileThatHasBecomeShorterThanWhatIsHeldIsAskedAbout) {
  Session run({}, {.wire = {.bytesPerSecond = 200'000}, .ignoreRange = true, .chunked = true});
  run.Serve(1, 3'000'000);
  run.rig.Start(kUrl);
  ASSERT_TRUE(run.rig.RunUntilReceived(1'000'000));
  run.rig.Pause();
  const SimContent now = run.Serve(1, 500'000);
  run.rig.Resume();
  ASSERT_TRUE(run.rig.RunUntilAsked());
  run.rig.Answer(true);
  ASSERT_TRUE(run.rig.RunUntilFinished());
  EXPECT_TRUE(run.rig.sim.disk().Holds(kOutput, now));
}

TEST(WebLeftovers, BegunAnewTwiceLeavesNoPartFile) {
  Session run;
  run.Serve(1, 3'000'000);
  run.rig.Start(kUrl);
  SimContent now;
  for (int version = 2; version <= 3; ++version) {
    ASSERT_TRUE(run.rig.RunUntilReceived(1'000'000));
    run.rig.Pause();
    now = run.Serve(version, 3'000'000);
    run.rig.Resume();
    ASSERT_TRUE(run.rig.RunUntilAsked());
    run.rig.Answer(true);
    run.rig.sim.RunFor(500);
  }
  ASSERT_TRUE(run.rig.RunUntilFinished());
  EXPECT_TRUE(run.rig.sim.disk().Holds(kOutput, now));
  run.rig.sim.RunFor(1000);
  EXPECT_EQ(run.rig.InFolder(), std::vector<std::string>{"a.bin"});
}

void FailToDeletePart(Session& run) {
  run.rig.sim.disk().FailWhere(
      [](DiskCall call, const std::string& path) { return call == DiskCall::Delete && path == kPart; });
}

void ExpectPartGoneAtTheNextStart(Session& run) {
  run.rig.sim.RunFor(10'000);
  ASSERT_TRUE(run.rig.sim.disk().Has(kPart));

  Session next(run.rig.sim.disk().TakeState());
  next.rig.Load();
  next.rig.sim.RunFor(10'000);
  EXPECT_FALSE(next.rig.sim.disk().Has(kPart));

  Session last(next.rig.sim.disk().TakeState());
  last.rig.Load();
  EXPECT_FALSE(last.JournalHas("state=gone"));
}

TEST(WebLeftovers, PartFileOfAChangedFileThatIsNotDeletedGoesAtTheNextStart) {
  Session first({}, {});
  first.Serve(1, 8'000'000);
  const SimContent now = SimContent::Generated(8'000'000, 2);
  first.origin.OnRequest(1, {.cutBody = 30'000});
  first.origin.ChangeAfter(1, "/a.bin", now, {{.etag = "\"2\""}});
  FailToDeletePart(first);
  first.rig.Start(kUrl);
  ASSERT_TRUE(first.rig.RunUntilFinished()) << first.rig.Web().reason;
  EXPECT_TRUE(first.rig.sim.disk().Holds(first.rig.Record().SavePath, now));
  ExpectPartGoneAtTheNextStart(first);
}

// The file changes during a pause, and the user lets it begin anew.
void FetchAndBeginAnew(Session& run) {
  run.rig.Start(kUrl);
  ASSERT_TRUE(run.rig.RunUntilReceived(1'000'000));
  run.rig.Pause();
  run.Serve(2, 3'000'000);
  run.rig.Resume();
  ASSERT_TRUE(run.rig.RunUntilAsked());
  run.rig.Answer(true);
}

TEST(WebLeftovers, FormerPartFileThatIsNotDeletedGoesAtTheNextStart) {
  Session first;
  first.Serve(1, 3'000'000);
  FailToDeletePart(first);
  ASSERT_NO_FATAL_FAILURE(FetchAndBeginAnew(first));
  ASSERT_TRUE(first.rig.RunUntilFinished());
  ExpectPartGoneAtTheNextStart(first);
}

// The new file has its name, and the old part file is still there.
void KillBeforeTheOldPartFileIsDeleted(Session& run) {
  run.Serve(1, 3'000'000);
  ASSERT_NO_FATAL_FAILURE(FetchAndBeginAnew(run));
  ASSERT_TRUE(run.rig.sim.RunUntil([&] { return run.rig.sim.disk().Has(kOutput); }));
  run.rig.sim.disk().CutNow();
}

TEST(WebLeftovers, KillBetweenTheNameAndTheOldPartFileLeavesNoPartFile) {
  Session first;
  ASSERT_NO_FATAL_FAILURE(KillBeforeTheOldPartFileIsDeleted(first));

  Session next(first.rig.sim.disk().TakeState());
  next.rig.Load();
  next.rig.sim.RunFor(1000);
  EXPECT_TRUE(next.rig.Record().Finished);
  EXPECT_EQ(next.rig.InFolder(), std::vector<std::string>{"a.bin"});
}

TEST(WebLeftovers, PowerCutAfterTheStartThatDeletesTheOldPartFileLeavesNone) {
  for (std::uint64_t seed = 0; seed < 20; ++seed) {
    Session first;
    ASSERT_NO_FATAL_FAILURE(KillBeforeTheOldPartFileIsDeleted(first));

    Session next(first.rig.sim.disk().TakeState());
    next.rig.Load();
    next.rig.sim.RunFor(1000);
    next.rig.sim.disk().PowerCut(seed);

    Session last(next.rig.sim.disk().TakeState());
    last.rig.Load();
    last.rig.sim.RunFor(1000);
    EXPECT_EQ(last.rig.InFolder(), std::vector<std::string>{"a.bin"}) << seed;
  }
}

// The start after a kill calls the file finished: from then on nothing else names it.
TEST(WebLeftovers, PowerCutAfterTheStartThatFindsTheFileRenamedLosesNothing) {
  bool killed = true;
  for (std::uint64_t calls = 1; killed; ++calls) {
    for (std::uint64_t seed = 0; seed < 5; ++seed) {
      Session first;
      const SimContent content = first.Serve(1, 300'000);
      first.rig.Start(kUrl);
      ASSERT_TRUE(first.rig.sim.RunUntil([&] { return first.JournalHas("state=renaming"); }));
      first.rig.sim.disk().CutAt(first.rig.sim.disk().Calls() + calls);
      first.rig.sim.RunFor(1000);
      killed = first.rig.sim.Killed();
      if (!killed) break;

      Session next(first.rig.sim.disk().TakeState());
      next.rig.Load();
      next.rig.sim.RunFor(1000);
      next.rig.sim.disk().PowerCut(seed);

      Session last(next.rig.sim.disk().TakeState());
      last.Serve(1, 300'000);
      last.rig.Load();
      if (!last.rig.Record().Finished) last.rig.Resume();
      ASSERT_TRUE(last.rig.RunUntilFinished());
      EXPECT_TRUE(last.rig.sim.disk().Holds(kOutput, content)) << calls << " " << seed;
      last.rig.sim.RunFor(1000);
      EXPECT_EQ(last.rig.InFolder(), std::vector<std::string>{"a.bin"}) << calls << " " << seed;
    }
  }
}

TEST(WebLeftovers, DifferenceFoundAfterTheLastByteIsAskedAbout) {
  Session run({}, {.wire = {.bytesPerSecond = 200'000}, .ignoreRange = true});
  run.Serve(1, 200'000);
  run.rig.Start(kUrl);
  ASSERT_TRUE(run.rig.RunUntilReceived(100'000));
  run.rig.Pause();
  run.rig.sim.RunFor(10'000);
  const SimContent now = run.Serve(2, 200'000);
  run.rig.sim.background().SetMaxDelay(5000);
  run.rig.Resume();
  ASSERT_TRUE(run.rig.RunUntilAsked());
  run.rig.Answer(true);
  ASSERT_TRUE(run.rig.RunUntilFinished());
  EXPECT_TRUE(run.rig.sim.disk().Holds(kOutput, now));
}

// The pause comes at any moment between the journal's line and the name, the kill right after the pause's line.
TEST(WebLeftovers, PauseDuringTheRenameAndAKillLeaveOneFileAlsoIfTheListIsOld) {
  int renamed = 0;
  for (std::uint64_t moment = 0; moment < 6000; moment += 100) {
    Session first;
    const SimContent content = first.Serve(1, 300'000);
    first.rig.sim.background().SetMaxDelay(3000);
    first.rig.Start(kUrl);
    ASSERT_TRUE(first.rig.sim.RunUntil([&] { return first.JournalHas("state=renaming"); }));
    first.rig.sim.disk().FailWhere(
        [](DiskCall call, const std::string& path) { return call == DiskCall::Write && path == kList; }, 1, true);
    first.rig.sim.RunFor(moment);
    if (!first.rig.Record().Finished) first.rig.Pause();
    first.rig.sim.RunUntil([&] { return first.JournalHas("state=paused"); }, 10'000);
    renamed += first.rig.sim.disk().Has(kOutput) ? 1 : 0;
    first.rig.sim.disk().CutNow();

    Session next(first.rig.sim.disk().TakeState());
    next.Serve(1, 300'000);
    next.rig.Load();
    if (!next.rig.Record().Finished) next.rig.Resume();
    ASSERT_TRUE(next.rig.RunUntilFinished());
    EXPECT_TRUE(next.rig.sim.disk().Holds(kOutput, content));
    EXPECT_EQ(next.rig.InFolder(), std::vector<std::string>{"a.bin"}) << moment;
  }
  EXPECT_GT(renamed, 0);
}

TEST(WebLeftovers, FinishedDownloadStaysFinishedIfTheJournalCouldNotBeWritten) {
  Session first;
  first.Serve(1, 300'000);
  first.rig.Start(kUrl);
  ASSERT_TRUE(first.rig.sim.RunUntil([&] { return first.JournalHas("state=active"); }));
  first.rig.sim.disk().FailWhere(
      [](DiskCall call, const std::string& path) {
        return (call == DiskCall::Write || call == DiskCall::Replace) && path == kJournal;
      },
      1, true);
  ASSERT_TRUE(first.rig.RunUntilFinished());
  first.rig.sim.RunFor(10'000);
  ASSERT_FALSE(first.JournalHas("state=finished"));

  Session next(first.rig.sim.disk().TakeState());
  next.rig.Load();
  ASSERT_EQ(next.rig.IndexOf(kUrl), 1);
  ASSERT_NE(next.rig.program.Web(1), nullptr);
  EXPECT_TRUE(next.rig.Record().Finished);
  EXPECT_FALSE(next.rig.Record().Paused);
  EXPECT_EQ(next.rig.Web().standing, WebStanding::Finished);
  EXPECT_EQ(next.rig.Record().SavePath, kOutput);
}

TEST(WebLeftovers, DeletedDownloadWhoseLineCouldNotBeWrittenDoesNotComeBack) {
  Session first;
  first.Serve(1, 5'000'000);
  first.rig.Start(kUrl);
  ASSERT_TRUE(first.rig.RunUntilReceived(2'000'000));
  first.rig.sim.RunFor(3000);
  first.rig.Pause();
  first.rig.sim.RunFor(1000);
  first.rig.sim.disk().FailWhere(
      [](DiskCall call, const std::string& path) { return call == DiskCall::Write && path == kJournal; });
  Delete(first.rig);
  first.rig.sim.RunFor(1000);
  const std::int16_t other = first.rig.Start("https://o.example/gone");
  ASSERT_TRUE(first.rig.RunUntilStopped(other));
  first.rig.sim.RunFor(1000);

  Session next(first.rig.sim.disk().TakeState());
  next.rig.Load();
  EXPECT_EQ(next.rig.IndexOf(kUrl), 0);
  EXPECT_NE(next.rig.IndexOf("https://o.example/gone"), 0);
}

TEST(WebLeftovers, DownloadResumedInItsWindowIsNotQueuedAnyMore) {
  Session run;
  run.Serve(1, 3'000'000);
  run.rig.Start(kUrl);
  ASSERT_TRUE(run.rig.RunUntilReceived(1'000'000));
  run.rig.Pause();
  run.rig.Record().Queued = 1;
  run.rig.Resume();
  EXPECT_EQ(run.rig.Record().Queued, 0);
}

TEST(WebLeftovers, KillBeforeTheJournalKnowsThePartLeavesNoRoomTaken) {
  int unknown = 0;
  for (std::uint64_t calls = 1; calls <= 40; ++calls) {
    Session run;
    run.Serve(1, 3'000'000);
    run.rig.sim.disk().CutAt(run.rig.sim.disk().Calls() + calls);
    run.rig.Start(kUrl);
    run.rig.RunUntilFinished(1, 60'000);
    if (!run.rig.sim.Killed() || !run.rig.sim.disk().Has(kPart) || run.JournalHas("a.bin.part")) continue;
    EXPECT_EQ(run.rig.sim.disk().Get(kPart), "") << calls;
    ++unknown;
  }
  EXPECT_GT(unknown, 0);
}

TEST(WebLeftovers, PausedDownloadHoldsNoFile) {
  Session run;
  run.Serve(1, 3'000'000);
  run.rig.Start(kUrl);
  ASSERT_TRUE(run.rig.RunUntilReceived(1'000'000));
  const FileIdentity part = run.rig.sim.downloadFiles().StateOf(kPart)->identity;
  EXPECT_EQ(run.rig.sim.downloadFiles().Adopt(kPart, part), nullptr);
  run.rig.Pause();
  run.rig.sim.RunFor(1000);
  EXPECT_NE(run.rig.sim.downloadFiles().Adopt(kPart, part), nullptr);
  run.rig.Resume();
  EXPECT_TRUE(run.rig.RunUntilFinished());
}

// The user's file at kLetter, and a journal with that line about a download at kUrl.
constexpr const char* kLetter = "/home/u/letter.txt";
void Forge(WebRig& rig, JournalEntry entry) {
  entry.key = JournalKeyOf(kUrl, 45000);
  entry.id = 1;
  rig.sim.disk().Put(kJournal, JournalLine(entry));
}
JournalEntry NamesTheLetter(WebRig& rig, std::string JournalEntry::*path, FileIdentity JournalEntry::*identity) {
  rig.sim.disk().Put(kLetter, std::string("Dear all"));
  JournalEntry entry;
  entry.*path = kLetter;
  entry.*identity = rig.sim.downloadFiles().StateOf(kLetter)->identity;
  return entry;
}

TEST(WebLeftovers, JournalThatCallsAFileOfTheUserAPartDeletesNothing) {
  const auto leavesTheLetter = [](std::string JournalEntry::*path, FileIdentity JournalEntry::*identity) {
    Session run;
    JournalEntry entry = NamesTheLetter(run.rig, path, identity);
    entry.state = JournalState::Gone;
    Forge(run.rig, entry);
    run.rig.Load();
    run.rig.sim.RunFor(10'000);
    return run.rig.sim.disk().Has(kLetter);
  };
  EXPECT_TRUE(leavesTheLetter(&JournalEntry::partPath, &JournalEntry::part));
  EXPECT_TRUE(leavesTheLetter(&JournalEntry::oldPartPath, &JournalEntry::oldPart));
}

TEST(WebLeftovers, JournalThatCallsAFileOfTheUserAPartWritesNothingIntoIt) {
  Session run;
  run.Serve(1, 300'000);
  JournalEntry entry = NamesTheLetter(run.rig, &JournalEntry::partPath, &JournalEntry::part);
  entry.path = kOutput;
  entry.state = JournalState::Paused;
  Forge(run.rig, entry);
  run.rig.Load();
  if (run.rig.IndexOf(kUrl) != 0) {
    run.rig.Resume(run.rig.IndexOf(kUrl));
    run.rig.RunUntilFinished(run.rig.IndexOf(kUrl));
  }
  ASSERT_TRUE(run.rig.sim.disk().Has(kLetter));
  EXPECT_TRUE(run.rig.sim.disk().Get(kLetter) == "Dear all");  // not shown: it may be long
}

TEST(WebLeftovers, JournalThatCallsAnotherFileOfTheProgramASelectionDeletesNothing) {
  for (const char* const name : {"Pellora.dat", "Pellora.ini", "Pellora.fetch", "Pellora.fetch.1.old"}) {
    Session run;
    const std::string path = std::string("/prog/") + name;
    run.rig.sim.disk().Put(path, std::string());
    JournalEntry entry;
    entry.selection = name;
    entry.undecided = true;  // such a download is dropped at the start
    Forge(run.rig, entry);
    run.rig.Load();
    run.rig.sim.RunFor(10'000);
    EXPECT_TRUE(run.rig.sim.disk().Has(path)) << name;
  }
}

}  // namespace
}  // namespace pellora
