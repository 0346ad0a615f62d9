// Downloads of chosen entries of an archive that changes on its server.
#include <set>
#include <string>
#include <vector>

#include "SelectionRun.h"
#include "fetch/WebRecords.h"
#include "fetch/WebServices.h"

namespace pellora {
namespace {

constexpr std::size_t kLength = 300'000;
constexpr const char* kSecondSelection = "/prog/Pellora.fetch.1.2";

std::size_t Other(std::size_t number) { return number + 100; }  // gives other contents

std::string NameOfEntry(std::size_t number) { return "docs/f" + std::to_string(number) + ".bin"; }

// The files of TenFiles after a new one, so that each is at another place.
SampleArchive NextVersion(const std::set<std::size_t>& missing = {}, const std::set<std::size_t>& other = {},
                          std::size_t length = kLength) {
  SampleArchive archive;
  archive.Add({"docs/a new one.bin", Plain(50, 12'345)});
  for (std::size_t i = 10; i-- > 0;) {
    if (missing.contains(i)) continue;
    archive.Add({NameOfEntry(i), Plain(other.contains(i) ? Other(i) : i, length), i % 2 == 0});
  }
  archive.EndWithDirectory();
  return archive;
}

void ServeNext(SelectionRun& run, const SampleArchive& archive) { run.Serve(archive.bytes, "\"2\""); }

std::set<std::string> Folder(SelectionRun& run) {
  const std::vector<std::string> files = run.InFolder();
  return {files.begin(), files.end()};
}

std::string Changed(SelectionRun& run) { return run.Text(WebText::ArchiveChanged); }

std::string Missing(SelectionRun& run, int count) { return run.Text(WebText::ChosenMissing, {std::to_string(count)}); }

// Entry 4 is unpacked, and a part of 8 is here. Requests begin with the one in the middle.
void UnpackOne(SelectionRun& run) {
  run.rig.program.settings.MaxSegments = 1;
  run.SlowDown(100'000);
  run.Start({1, 4, 8});
  ASSERT_TRUE(run.rig.sim.RunUntil([&] { return run.rig.sim.disk().Has(run.PathOf(4)); }));
  ASSERT_TRUE(run.rig.RunUntilReceived(450'000));
  run.rig.Pause();
  run.rig.sim.RunFor(5000);
  ASSERT_TRUE(run.IsUnpacked(4));
  ASSERT_FALSE(run.IsUnpacked(1) || run.IsUnpacked(8));
}

TEST(WebArchiveChange, EntriesAreFetchedFromTheirNewPlaces) {
  SelectionRun run(TenFiles());
  ServeNext(run, NextVersion());
  run.Start({1, 4, 8});
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  run.rig.sim.RunFor(5000);
  for (const std::size_t number : {1U, 4U, 8U}) EXPECT_TRUE(run.IsUnpacked(number)) << number;
  EXPECT_EQ(Folder(run), (std::set<std::string>{"docs/f1.bin", "docs/f4.bin", "docs/f8.bin"}));
  EXPECT_FALSE(run.rig.sim.disk().Has(kSelection));
  EXPECT_FALSE(run.rig.sim.disk().Has(kSecondSelection));
  EXPECT_EQ(run.rig.Record().FileName, "3 files of big.zip");
}

TEST(WebArchiveChange, WhatIsUnpackedStaysAndIsNotFetchedAgain) {
  SelectionRun run(TenFiles());
  UnpackOne(run);
  const SampleArchive next = NextVersion();
  ServeNext(run, next);
  run.origin.NoFaults();
  run.rig.Resume();
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  run.rig.sim.RunFor(5000);
  for (const std::size_t number : {1U, 4U, 8U}) EXPECT_TRUE(run.IsUnpacked(number)) << number;
  EXPECT_EQ(Folder(run), (std::set<std::string>{"docs/f1.bin", "docs/f4.bin", "docs/f8.bin"}));
  std::size_t from = 0;  // the requests after the directory's
  for (std::size_t i = 0; i < run.origin.Requests().size(); ++i) {
    if (run.origin.Requests()[i].Header("Range") == "bytes=-131072") from = i;
  }
  // The entries are there in the opposite order: 8 has become the second of them, 4 the sixth.
  EXPECT_EQ(run.Asked(next.all[2].range, from), next.all[2].range.Length());
  EXPECT_EQ(run.Asked(next.all[6].range, from), 0);
  EXPECT_EQ(run.rig.Record().FileName, "3 files of big.zip");
}

TEST(WebArchiveChange, WhatIsUnpackedNeedNotBeInTheNewVersion) {
  SelectionRun run(TenFiles());
  UnpackOne(run);
  ServeNext(run, NextVersion({4}));
  run.rig.Resume();
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  for (const std::size_t number : {1U, 4U, 8U}) EXPECT_TRUE(run.IsUnpacked(number)) << number;
  EXPECT_EQ(run.rig.Record().FileName, "3 files of big.zip");
  EXPECT_EQ(run.rig.Web().received, run.rig.Web().size);
}

TEST(WebArchiveChange, PackedBytesOfTheFormerVersionAreDropped) {
  SelectionRun run(TenFiles());
  UnpackOne(run);
  ServeNext(run, NextVersion());
  run.rig.Resume();
  ASSERT_TRUE(run.rig.sim.RunUntil([&] { return run.rig.sim.disk().Has(kSecondSelection); }));
  ASSERT_TRUE(run.rig.sim.RunUntil([&] { return !run.rig.sim.disk().Has(kSelection); }));
  const JournalEntry* const entry = run.rig.services->journal.Find(JournalKeyOf(kUrl, run.rig.Record().DateAdded));
  ASSERT_NE(entry, nullptr);
  EXPECT_LT(entry->held.Bytes(), 100'000);
  EXPECT_EQ(entry->unpacked.Bytes(), 1);
  EXPECT_EQ(entry->facts.validator.etag, "\"2\"");
}

TEST(WebArchiveChange, MissingAndOtherEntriesAreAskedAboutAndLeftOut) {
  SelectionRun run(TenFiles());
  ServeNext(run, NextVersion({4}, {8}));
  run.Start({1, 4, 8, 9});
  ASSERT_TRUE(run.rig.RunUntilAsked());
  EXPECT_EQ(run.rig.Web().reason, Missing(run, 2));
  EXPECT_EQ(run.rig.WindowOf()->Command1.Caption(), run.Text(WebText::LeaveOut));
  EXPECT_EQ(run.rig.WindowOf()->Command3.Caption(), run.Text(WebText::StopUnpacking));
  EXPECT_TRUE(Folder(run).empty() || Folder(run) == std::set<std::string>{"big.zip.part"});
  run.rig.Answer(true);
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  run.rig.sim.RunFor(5000);
  EXPECT_TRUE(run.IsUnpacked(1));
  EXPECT_TRUE(run.IsUnpacked(9));
  EXPECT_EQ(Folder(run), (std::set<std::string>{"docs/f1.bin", "docs/f9.bin"}));
  EXPECT_EQ(run.rig.Record().FileName, "2 files of big.zip");
  EXPECT_EQ(run.rig.Web().received, run.rig.Web().size);
}

TEST(WebArchiveChange, StopLeavesTheDownloadAsItWasAndAsksAgain) {
  SelectionRun run(TenFiles());
  ServeNext(run, NextVersion({4}));
  run.Start({1, 4, 8});
  ASSERT_TRUE(run.rig.RunUntilAsked());
  run.rig.Answer(false);
  run.rig.sim.RunFor(5000);
  EXPECT_FALSE(run.rig.Asks());
  EXPECT_EQ(run.rig.Web().standing, WebStanding::Stopped);
  EXPECT_EQ(run.rig.Web().reason, Changed(run));
  EXPECT_FALSE(run.rig.sim.disk().Has(kSecondSelection));
  run.rig.Resume();
  ASSERT_TRUE(run.rig.RunUntilAsked());
  run.Serve(run.archive.bytes);  // it is what it was
  run.rig.Answer(false);
  run.rig.Resume();
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  EXPECT_TRUE(run.IsUnpacked(4));
}

TEST(WebArchiveChange, NothingLeftOfWhatWasChosenStopsIt) {
  SelectionRun run(TenFiles());
  UnpackOne(run);
  ServeNext(run, NextVersion({1, 8}));
  run.rig.Resume();
  ASSERT_TRUE(run.rig.RunUntilStopped());
  EXPECT_EQ(run.rig.Web().reason, Changed(run));
  EXPECT_FALSE(run.rig.Asks());
  EXPECT_TRUE(run.IsUnpacked(4));
}

TEST(WebArchiveChange, RestartFromTheJournalFindsTheNewPlaces) {
  SelectionRun first(TenFiles());
  UnpackOne(first);
  first.SaveTheList();
  SelectionRun second(TenFiles(), first.rig.sim.disk().TakeState());
  ServeNext(second, NextVersion({4}));
  second.SlowDown(100'000);
  second.rig.Load();
  second.rig.Resume();
  ASSERT_TRUE(second.rig.sim.RunUntil([&] { return second.InFolder().size() == 3; }));  // with the part file

  SelectionRun third(TenFiles(), second.rig.sim.disk().TakeState());
  ServeNext(third, NextVersion({4}));
  third.rig.Load();
  if (!third.rig.Record().Finished) third.rig.Resume();
  ASSERT_TRUE(third.rig.RunUntilFinished()) << third.rig.Web().reason;
  third.rig.sim.RunFor(5000);
  for (const std::size_t number : {1U, 4U, 8U}) EXPECT_TRUE(third.IsUnpacked(number)) << number;
  EXPECT_EQ(Folder(third), (std::set<std::string>{"docs/f1.bin", "docs/f4.bin", "docs/f8.bin"}));
}

TEST(WebArchiveChange, QuestionIsAskedAgainAfterARestart) {
  SelectionRun first(TenFiles());
  ServeNext(first, NextVersion({4}));
  first.Start({1, 4, 8});
  ASSERT_TRUE(first.rig.RunUntilAsked());
  first.rig.sim.RunFor(5000);
  first.SaveTheList();
  SelectionRun second(TenFiles(), first.rig.sim.disk().TakeState());
  ServeNext(second, NextVersion({4}));
  second.rig.Load();
  EXPECT_EQ(second.rig.Web().reason, Missing(second, 1));
  second.rig.Resume();
  ASSERT_TRUE(second.rig.RunUntilAsked());
  second.rig.Answer(true);
  ASSERT_TRUE(second.rig.RunUntilFinished()) << second.rig.Web().reason;
  EXPECT_TRUE(second.IsUnpacked(1));
  EXPECT_TRUE(second.IsUnpacked(8));
}

TEST(WebArchiveChange, EveryChangeIsFollowed) {
  SelectionRun run(TenFiles());
  UnpackOne(run);
  ServeNext(run, NextVersion());
  run.rig.Resume();
  ASSERT_TRUE(run.rig.sim.RunUntil([&] { return run.InFolder().size() == 3; }));  // with the part file
  run.rig.Pause();
  run.rig.sim.RunFor(5000);
  SampleArchive last = NextVersion({4, run.IsUnpacked(8) ? 8U : 1U});
  run.Serve(last.bytes, "\"3\"");
  run.rig.Resume();
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  for (const std::size_t number : {1U, 4U, 8U}) EXPECT_TRUE(run.IsUnpacked(number)) << number;
}

TEST(WebArchiveChange, VersionsThatAlternateStopIt) {
  SelectionRun run(TenFiles());
  for (int request = 1; request < 100; ++request) {
    run.origin.ChangeAfter(request, "/big.zip", NextVersion().bytes, {{.etag = '"' + std::to_string(request) + '"'}});
  }
  run.Start({1, 4});
  ASSERT_TRUE(run.rig.RunUntilStopped());
  EXPECT_EQ(run.rig.Web().reason, Changed(run));
  EXPECT_LT(run.origin.Requests().size(), 20U);
}

// No validator shows the change, but the entries' own headers do.
TEST(WebArchiveChange, OtherHeadersInTheirPlacesShowIt) {
  SelectionRun run(TenFiles());
  SampleArchive next = NextVersion();
  next.bytes.insert(0, run.archive.bytes.size() > next.bytes.size() ? run.archive.bytes.size() - next.bytes.size() : 0,
                    'x');
  SampleArchive longer = TenFiles();
  longer.bytes.resize(std::max(longer.bytes.size(), next.bytes.size()), 'd');
  ASSERT_EQ(longer.bytes.size(), next.bytes.size());
  SelectionRun silent(longer);
  silent.Serve(next.bytes);
  silent.origin.Traits("/big.zip").validators.clear();
  silent.Add(silent.archive.Choose({1, 4}, kFolder));
  ASSERT_TRUE(silent.rig.RunUntilFinished()) << silent.rig.Web().reason;
  EXPECT_TRUE(silent.IsUnpacked(1));
  EXPECT_TRUE(silent.IsUnpacked(4));
}

TEST(WebArchiveChange, PauseWhileItsDirectoryIsReadHoldsIt) {
  SelectionRun run(TenFiles());
  ServeNext(run, NextVersion());
  run.SlowDown(1000);
  run.Start({1, 4});
  ASSERT_TRUE(run.rig.sim.RunUntil([&] {
    return !run.origin.Requests().empty() && run.origin.Requests().back().Header("Range") == "bytes=-131072";
  }));
  run.rig.Pause();
  run.rig.sim.RunFor(300'000);
  EXPECT_EQ(run.rig.Web().standing, WebStanding::Paused);
  run.origin.NoFaults();
  run.rig.Resume();
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  EXPECT_TRUE(run.IsUnpacked(4));
}

TEST(WebArchiveChange, DiskThatTakesNoSelectionStopsIt) {
  SelectionRun run(TenFiles());
  ServeNext(run, NextVersion());
  run.rig.sim.disk().FailWhere([](DiskCall, const std::string& path) { return path.starts_with(kSecondSelection); }, 1,
                               true);
  run.Start({1, 4});
  ASSERT_TRUE(run.rig.RunUntilStopped());
  EXPECT_TRUE(run.rig.sim.disk().Has(kSelection));
  run.rig.sim.disk().NoFaults();
  run.rig.sim.RunFor(3000);
  run.rig.Resume();
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  EXPECT_TRUE(run.IsUnpacked(4));
}

TEST(WebArchiveChange, LoginAndPasswordAreUsedAgain) {
  const auto made = [](bool next) {
    SampleArchive archive;
    if (next) archive.Add({"new.bin", Plain(9, 5000)});
    archive.Add({"open.bin", Plain(0, 100'000)});
    archive.Add({"secret.bin", Plain(1, 100'000), true, "open sesame"});
    archive.EndWithDirectory();
    return archive;
  };
  SelectionRun run(made(false));
  ServeNext(run, made(true));
  run.origin.Traits("/big.zip").login = "bob:right";
  WebAdd add;
  add.user = "bob";
  add.password = "right";
  add.selection = run.Choose({0, 1});
  add.archivePassword = "open sesame";
  run.rig.Start(kUrl, add);
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  EXPECT_TRUE(run.IsUnpacked(0, 100'000));
  EXPECT_TRUE(run.IsUnpacked(1, 100'000));
}

// Killed at each call of the disk, torn in the middle of a write, or the power fails, while the archive changes. One
// entry is unpacked, and another one is not in the new version.
class WebArchiveChangeKills : public testing::TestWithParam<int> {};

TEST_P(WebArchiveChangeKills, LoseNothing) {
  const bool torn = GetParam() == 1;
  const bool power = GetParam() == 2;
  constexpr std::size_t kShort = 30'000;
  const SampleArchive archive = TenFiles(kShort);
  std::set<std::size_t> numbers = {2, 3, 5, 7};
  std::size_t unpacked = 0;
  std::size_t gone = 0;
  const auto answered = [](SelectionRun& run, std::int16_t index) {
    while (run.rig.sim.RunUntil([&] { return run.rig.Record(index).Finished || run.rig.Asks(index); })) {
      if (run.rig.Record(index).Finished || run.rig.sim.Killed()) return;
      run.rig.Answer(true, index);
    }
  };
  const auto paused = [&] {
    SelectionRun run(archive);
    run.rig.program.settings.MaxSegments = 1;
    run.SlowDown(10'000);
    run.Start({2, 3, 5, 7});
    EXPECT_TRUE(run.rig.sim.RunUntil([&] { return run.InFolder().size() == 2; }));  // with the part file
    run.rig.sim.RunFor(1500);
    run.rig.Pause();
    run.rig.sim.RunFor(5000);
    run.SaveTheList();
    for (const std::size_t number : {2U, 3U, 5U, 7U}) (run.IsUnpacked(number, kShort) ? unpacked : gone) = number;
    return run.rig.sim.disk().TakeState();
  };
  (void)paused();
  ASSERT_NE(unpacked * gone, 0U);
  numbers.erase(gone);
  const SampleArchive next = NextVersion({unpacked, gone}, {}, kShort);
  int switched = 0;
  std::uint64_t calls = 1;
  for (;; ++calls) {
    SelectionRun run(archive, paused());
    ServeNext(run, next);
    run.SlowDown(50'000);
    run.rig.Load();
    run.rig.sim.disk().CutAt(run.rig.sim.disk().Calls() + calls, torn);
    run.rig.Resume();
    answered(run, 1);
    run.rig.sim.RunFor(5000);
    if (!run.rig.sim.Killed()) break;
    if (power) run.rig.sim.disk().PowerCut(calls);

    SelectionRun later(archive, run.rig.sim.disk().TakeState());
    ServeNext(later, next);
    later.rig.Load();
    const std::int16_t index = later.rig.IndexOf(kUrl);
    ASSERT_NE(index, 0) << calls;
    const JournalEntry* const entry =
        later.rig.services->journal.Find(JournalKeyOf(kUrl, later.rig.Record(index).DateAdded));
    ASSERT_NE(entry, nullptr) << calls;
    switched += entry->selection.ends_with(".2") ? 1 : 0;
    if (!later.rig.Record(index).Finished) {
      later.rig.Resume(index);
      answered(later, index);
      ASSERT_TRUE(later.rig.Record(index).Finished) << calls << " " << later.rig.Web(index).reason;
    }
    later.rig.sim.RunFor(5000);
    for (const std::size_t number : numbers) EXPECT_TRUE(later.IsUnpacked(number, kShort)) << calls;
    std::vector<std::string> left = later.InFolder();
    std::erase_if(left, [&](const std::string& name) {
      return name == "big.zip.part" && (power || later.rig.sim.disk().Size(kPart) == 0);
    });
    EXPECT_EQ(left.size(), 3U) << calls << testing::PrintToString(left);
    EXPECT_FALSE(later.rig.sim.disk().Has(kSelection)) << calls;
    EXPECT_FALSE(later.rig.sim.disk().Has(kSecondSelection)) << calls;
  }
  EXPECT_GT(switched, 10);
  EXPECT_GT(calls, 40U);
}

INSTANTIATE_TEST_SUITE_P(All, WebArchiveChangeKills, testing::Range(0, 3));

// A kill before the journal knows what is chosen leaves no record, rather than one of the whole archive.
class WebSelectionAdds : public testing::TestWithParam<int> {};

TEST_P(WebSelectionAdds, KilledAreWholeOrNotListed) {
  const bool torn = GetParam() == 1;
  const bool power = GetParam() == 2;
  const SampleArchive archive = TenFiles(30'000);
  int listed = 0;
  std::uint64_t calls = 1;
  for (;; ++calls) {
    SelectionRun run(archive);
    run.SlowDown(20'000);
    run.SaveTheList();
    run.rig.sim.disk().CutAt(run.rig.sim.disk().Calls() + calls, torn);
    run.Start({0, 7});
    for (int saves = 0; saves < 20 && !run.rig.sim.Killed(); ++saves) {
      run.SaveTheList();
      run.rig.sim.RunFor(3);
    }
    if (!run.rig.sim.Killed()) break;
    if (power) run.rig.sim.disk().PowerCut(calls);

    SelectionRun next(archive, run.rig.sim.disk().TakeState());
    next.rig.Load();
    const std::int16_t index = next.rig.IndexOf(kUrl);
    // A power cut may tear the list itself.
    if (index == 0 || next.rig.Record(index).DateAdded == 0) continue;
    ++listed;
    const JournalEntry* const entry =
        next.rig.services->journal.Find(JournalKeyOf(kUrl, next.rig.Record(index).DateAdded));
    ASSERT_NE(entry, nullptr) << calls;
    EXPECT_FALSE(entry->selection.empty()) << calls;
    EXPECT_EQ(next.rig.Record(index).FileName, "2 files of big.zip") << calls;
  }
  EXPECT_GT(listed, 5);
  EXPECT_GT(calls, static_cast<std::uint64_t>(listed) + 2);
}

INSTANTIATE_TEST_SUITE_P(All, WebSelectionAdds, testing::Range(0, 3));

TEST(WebSelection, QuitRightAfterTheAddKeepsIt) {
  SelectionRun first(TenFiles());
  first.Start({1, 4});
  first.SaveTheList();
  first.rig.sim.Do([&] { FinishJournal(first.rig.program, *first.rig.services); });
  SelectionRun second(TenFiles(), first.rig.sim.disk().TakeState());
  second.rig.Load();
  const std::int16_t index = second.rig.IndexOf(kUrl);
  ASSERT_NE(index, 0);
  second.rig.Resume(index);
  ASSERT_TRUE(second.rig.RunUntilFinished(index)) << second.rig.Web(index).reason;
  EXPECT_TRUE(second.IsUnpacked(4));
}

}  // namespace
}  // namespace pellora
