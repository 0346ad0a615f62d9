// Downloads of chosen entries of an archive where entries, passwords, files or the program fail.
#include <string>
#include <vector>

#include "SelectionRun.h"
#include "fetch/WebServices.h"

namespace pellora {
namespace {

// A byte of one entry is wrong.
SampleArchive WithWrong(SampleArchive archive, std::size_t number, std::size_t at = 1000) {
  archive.bytes[static_cast<std::size_t>(archive.all[number].range.begin) + at] ^= '\x55';
  return archive;
}

std::string WithOthers(SelectionRun& run, const std::string& reason) {
  return reason + " " + run.Text(WebText::OthersUnpacked);
}

TEST(WebSelection, DamagedEntryIsFetchedOnceMore) {
  SelectionRun run(TenFiles());
  run.rig.program.settings.MaxSegments = 1;
  run.Serve(WithWrong(TenFiles(), 4).bytes);
  run.origin.ChangeAfter(3, "/big.zip", run.archive.bytes, {{.etag = kEtag}});
  run.Start({1, 4, 8});
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  for (const std::size_t number : {1U, 4U, 8U}) EXPECT_TRUE(run.IsUnpacked(number)) << number;
  EXPECT_EQ(run.Asked(run.archive.all[4].range), 2 * run.archive.all[4].range.Length());
  EXPECT_EQ(run.Asked(run.archive.all[1].range), run.archive.all[1].range.Length());
}

TEST(WebSelection, EntryThatStaysDamagedIsNamedAndTheOthersAreUnpacked) {
  SelectionRun run(TenFiles());
  run.Serve(WithWrong(TenFiles(), 4).bytes);
  run.Start({1, 4, 8});
  ASSERT_TRUE(run.rig.RunUntilStopped());
  EXPECT_EQ(run.rig.Web().reason, WithOthers(run, run.Text(WebText::EntryDamaged, {"f4.bin"})));
  EXPECT_EQ(run.Asked(run.archive.all[4].range), 2 * run.archive.all[4].range.Length());
  EXPECT_TRUE(run.IsUnpacked(1));
  EXPECT_TRUE(run.IsUnpacked(8));
  EXPECT_FALSE(run.rig.sim.disk().Has(run.PathOf(4)));
  run.rig.sim.RunFor(5000);

  run.Serve(run.archive.bytes);
  run.rig.Resume();
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  EXPECT_TRUE(run.IsUnpacked(4));
  EXPECT_EQ(run.Asked(run.archive.all[1].range), run.archive.all[1].range.Length());
}

TEST(WebSelection, IsNotFinishedWhileAFileLacks) {
  SelectionRun run(TenFiles());
  const std::shared_ptr<Selection> chosen = run.Choose({1, 4});
  std::swap(chosen->entries[0], chosen->entries[1]);  // as no selection is
  run.Add(chosen);
  ASSERT_TRUE(run.rig.RunUntilStopped());
  EXPECT_EQ(run.rig.Web().reason, run.Text(WebText::SelectionLost));
  EXPECT_FALSE(run.rig.Record().Finished);
}

TEST(WebSelection, SeveralDamagedEntriesAreCounted) {
  SelectionRun run(TenFiles());
  run.Serve(WithWrong(WithWrong(TenFiles(), 4), 8).bytes);
  run.Start({1, 4, 8});
  ASSERT_TRUE(run.rig.RunUntilStopped());
  EXPECT_EQ(run.rig.Web().reason, WithOthers(run, run.Text(WebText::EntriesDamaged, {"f4.bin", "2"})));
}

TEST(WebSelection, SaysNothingOfOtherFilesWhereThereAreNone) {
  SelectionRun run(TenFiles());
  run.Serve(WithWrong(TenFiles(), 4).bytes);
  run.Start({4});
  ASSERT_TRUE(run.rig.RunUntilStopped());
  EXPECT_EQ(run.rig.Web().reason, run.Text(WebText::EntryDamaged, {"f4.bin"}));
}

// Of one archive, whose entries are "a", "a/b" and "last", with a folder.
SampleArchive FileAgainstFolder() {
  SampleArchive archive;
  archive.Add({"empty/", ""});
  archive.Add({"a", Plain(1, 100'000)});
  archive.Add({"a/b", Plain(2, 100'000)});
  archive.Add({"last", Plain(3, 100'000)});
  archive.End();
  return archive;
}

TEST(WebSelection, EntryBelowAFileIsNamedAndTheOthersAreUnpacked) {
  SelectionRun run(FileAgainstFolder());
  run.rig.program.settings.MaxSegments = 1;
  run.SlowDown();
  run.Start({0, 1, 2, 3});
  ASSERT_TRUE(run.rig.RunUntilStopped());
  const std::string reason = run.Text(WebText::EntryNameless, {"b", "/home/u/out/a: not a folder"});
  EXPECT_EQ(run.rig.Web().reason, WithOthers(run, reason));
  EXPECT_TRUE(run.IsUnpacked(1, 100'000));
  EXPECT_TRUE(run.IsUnpacked(3, 100'000));
  EXPECT_EQ(run.rig.sim.outputs().TraitsOf(run.PathOf(0)).mode, 0755);
  run.rig.sim.RunFor(5000);

  const std::size_t requests = run.origin.Requests().size();
  run.rig.Resume();
  ASSERT_TRUE(run.rig.RunUntilStopped());
  EXPECT_EQ(run.rig.Web().reason, WithOthers(run, reason));
  run.rig.sim.RunFor(5000);
  run.rig.sim.disk().Lose(run.PathOf(1));
  run.rig.Resume();
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  EXPECT_TRUE(run.IsUnpacked(2, 100'000));
  EXPECT_EQ(run.rig.sim.outputs().TraitsOf(run.PathOf(0)).modified, 1'700'000'000);
  EXPECT_EQ(run.origin.Requests().size(), requests);
}

// They arrive together: the folder is made before the file gets its name.
TEST(WebSelection, FileInThePlaceOfAFolderOfItsArchiveIsNumbered) {
  SelectionRun run(FileAgainstFolder());
  run.Start({0, 1, 2, 3});
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  EXPECT_TRUE(run.rig.sim.disk().Holds("/home/u/out/a (2)", Plain(1, 100'000)));
  EXPECT_TRUE(run.IsUnpacked(2, 100'000));
}

TEST(WebSelection, NamesThatTheDiskRefusesAreCountedAndTheOthersAreUnpacked) {
  SampleArchive archive;
  archive.Add({"short", Plain(0, 100'000)});
  archive.Add({std::string(30, 'x'), Plain(1, 100'000)});
  archive.Add({std::string(30, 'y') + "/c", Plain(2, 100'000)});
  archive.Add({"last", Plain(3, 100'000)});
  archive.End();
  for (const Existing existing : {Existing::Number, Existing::Replace, Existing::Keep}) {
    SelectionRun run(archive);
    run.rig.sim.outputs().longestName = 20;
    const std::shared_ptr<Selection> chosen = run.Choose({0, 1, 2, 3});
    chosen->existing = existing;
    run.Add(chosen);
    ASSERT_TRUE(run.rig.RunUntilStopped());
    const std::string name(30, 'x');
    EXPECT_EQ(run.rig.Web().reason,
              WithOthers(run, run.Text(WebText::EntriesNameless,
                                       {name, "2", "/home/u/out/" + name + ": File name too long"})));
    EXPECT_TRUE(run.IsUnpacked(0, 100'000));
    EXPECT_TRUE(run.IsUnpacked(3, 100'000));
    EXPECT_EQ(run.rig.sim.outputs().Unnamed(), 0);
  }
}

TEST(WebSelection, FolderWithAFileInItsPlaceIsNamed) {
  SelectionRun run(FileAgainstFolder());
  run.rig.sim.disk().Put(run.PathOf(0), "mine");
  run.Start({0, 3});
  ASSERT_TRUE(run.rig.RunUntilStopped());
  EXPECT_EQ(run.rig.Web().reason,
            WithOthers(run, run.Text(WebText::EntryNameless, {"empty", "/home/u/out/empty: not a folder"})));
  EXPECT_TRUE(run.IsUnpacked(3, 100'000));
}

TEST(WebSelection, ArchiveOfAnotherVersionStopsIt) {
  SelectionRun run(TenFiles());
  run.Serve(run.archive.bytes, "\"2\"");
  run.Start({1, 4});
  ASSERT_TRUE(run.rig.RunUntilStopped());
  EXPECT_EQ(run.rig.Web().reason, run.Text(WebText::ArchiveChanged));
  EXPECT_LE(run.rig.Web().received, 0);
}

TEST(WebSelection, ArchiveOfAnotherLengthStopsIt) {
  SelectionRun run(TenFiles());
  run.Serve(run.archive.bytes + "more");
  run.Start({1, 4});
  ASSERT_TRUE(run.rig.RunUntilStopped());
  EXPECT_EQ(run.rig.Web().reason, run.Text(WebText::ArchiveChanged));
}

TEST(WebSelection, ArchiveWithOtherEntriesInTheirPlacesStopsIt) {
  SelectionRun run(TenFiles());
  run.Serve(WithWrong(TenFiles(), 4, 32).bytes);  // in the name
  run.Start({1, 4});
  ASSERT_TRUE(run.rig.RunUntilStopped());
  EXPECT_EQ(run.rig.Web().reason, run.Text(WebText::ArchiveChanged));
  EXPECT_TRUE(run.IsUnpacked(1));
}

TEST(WebSelection, ArchiveWithoutValidatorIsTaken) {
  SelectionRun run(TenFiles());
  run.origin.Traits("/big.zip").validators.clear();
  run.Add(run.archive.Choose({1, 4}, kFolder));
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  EXPECT_TRUE(run.IsUnpacked(4));
}

TEST(WebSelection, ServerWithoutRangesIsNotReadWhole) {
  SelectionRun run(TenFiles());
  ASSERT_TRUE(run.origin.Misbehave("ignores ranges"));
  run.Start({1, 4});
  ASSERT_TRUE(run.rig.RunUntilStopped());
  EXPECT_EQ(run.rig.Web().reason, run.Text(WebText::NoParts));
}

SampleArchive Encrypted() {
  SampleArchive archive;
  archive.Add({"open.bin", Plain(0, 100'000)});
  archive.Add({"secret.bin", Plain(1, 100'000), true, "open sesame"});
  archive.Add({"last.bin", Plain(2, 100'000)});
  archive.End();
  return archive;
}

TEST(WebSelection, PasswordOfTheAddUnpacksWhatIsEncrypted) {
  SelectionRun run(Encrypted());
  run.Add(run.Choose({0, 1, 2}), "open sesame");
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  EXPECT_TRUE(run.IsUnpacked(1, 100'000));
  for (const std::string& path : run.rig.sim.disk().Paths()) {
    EXPECT_EQ(run.rig.sim.disk().Get(path).find("sesame"), std::string::npos) << path;
  }
}

TEST(WebSelection, MissingPasswordIsAskedForOnceAllOthersAreUnpacked) {
  SelectionRun run(Encrypted());
  std::vector<LoginQuestion> asked;
  run.rig.services->logins.ask = [&](LoginQuestion question) { asked.push_back(std::move(question)); };
  run.Start({0, 1, 2});
  ASSERT_TRUE(run.rig.RunUntilAsked());
  EXPECT_EQ(run.rig.Web().reason, run.Text(WebText::ArchivePassword));
  EXPECT_TRUE(run.IsUnpacked(0, 100'000));
  EXPECT_TRUE(run.IsUnpacked(2, 100'000));
  EXPECT_EQ(run.rig.WindowOf()->Command1.Caption(), run.Text(WebText::EnterPassword));
  run.rig.Answer(true);
  ASSERT_EQ(asked.size(), 1U);
  EXPECT_EQ(asked[0].place.host, "big.zip");
  run.rig.sim.Do([&] { run.rig.services->logins.Give({asked[0].place, {}}, {{}, "wrong"}, false); });
  ASSERT_TRUE(run.rig.RunUntilAsked());
  EXPECT_FALSE(run.rig.sim.disk().Has(run.PathOf(1)));
  run.rig.Answer(true);
  ASSERT_EQ(asked.size(), 2U);
  const std::size_t requests = run.origin.Requests().size();
  run.rig.sim.Do([&] { run.rig.services->logins.Give({asked[1].place, {}}, {{}, "open sesame"}, false); });
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  EXPECT_TRUE(run.IsUnpacked(1, 100'000));
  EXPECT_EQ(run.origin.Requests().size(), requests);
}

TEST(WebSelection, DamagedEncryptedEntryIsFetchedOnceMore) {
  SelectionRun run(Encrypted());
  run.rig.program.settings.MaxSegments = 1;
  run.Serve(WithWrong(Encrypted(), 1).bytes);
  run.origin.ChangeAfter(1, "/big.zip", run.archive.bytes, {{.etag = kEtag}});
  run.Add(run.Choose({0, 1}), "open sesame");
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  EXPECT_TRUE(run.IsUnpacked(1, 100'000));
  EXPECT_EQ(run.Asked(run.archive.all[1].range), 2 * run.archive.all[1].range.Length());
}

// Answers the question for the password.
void GivePassword(SelectionRun& run, const std::string& password) {
  LoginPlace place;
  run.rig.services->logins.ask = [&](const LoginQuestion& question) { place = question.place; };
  run.rig.Answer(true);
  run.rig.sim.Do([&] { run.rig.services->logins.Give({place, {}}, {{}, password}, false); });
}

constexpr std::size_t kAtPassword = 45;  // of an entry: what shows that the password fits

TEST(WebSelection, EncryptedEntryIsFetchedOnceMoreIfTheSamePasswordComesAgain) {
  SelectionRun run(Encrypted());
  run.Serve(WithWrong(Encrypted(), 1, kAtPassword).bytes);
  run.Add(run.Choose({0, 1, 2}), "open sesame");
  ASSERT_TRUE(run.rig.RunUntilAsked());
  run.Serve(run.archive.bytes);
  GivePassword(run, "open sesame");
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  EXPECT_TRUE(run.IsUnpacked(1, 100'000));
  EXPECT_EQ(run.Asked(run.archive.all[1].range), 2 * run.archive.all[1].range.Length());
  EXPECT_EQ(run.Asked(run.archive.all[0].range), run.archive.all[0].range.Length());
}

TEST(WebSelection, EncryptedEntryThatNoPasswordFitsIsNamedAndTheOthersAreUnpacked) {
  SelectionRun run(Encrypted());
  run.Serve(WithWrong(Encrypted(), 1, kAtPassword).bytes);
  run.Start({0, 1, 2});
  ASSERT_TRUE(run.rig.RunUntilAsked());
  GivePassword(run, "wrong");
  ASSERT_TRUE(run.rig.RunUntilAsked());
  EXPECT_EQ(run.Asked(run.archive.all[1].range), run.archive.all[1].range.Length());
  GivePassword(run, "open sesame");
  ASSERT_TRUE(run.rig.RunUntilStopped());
  const std::string reason = WithOthers(run, run.Text(WebText::EntryUndecrypted, {"secret.bin"}));
  EXPECT_EQ(run.rig.Web().reason, reason);
  EXPECT_EQ(run.Asked(run.archive.all[1].range), 2 * run.archive.all[1].range.Length());
  EXPECT_TRUE(run.IsUnpacked(0, 100'000));
  EXPECT_TRUE(run.IsUnpacked(2, 100'000));
  run.rig.sim.RunFor(5000);

  // Resumed, it asks anew.
  run.Serve(run.archive.bytes);
  run.rig.Resume();
  for (int answers = 0; answers < 2; ++answers) {
    ASSERT_TRUE(run.rig.RunUntilAsked());
    GivePassword(run, "open sesame");
  }
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  EXPECT_TRUE(run.IsUnpacked(1, 100'000));
}

// The first of them is in the journal, and the second has just got its name.
SimDiskState KilledAfterANameWasGiven(const SampleArchive& archive, const std::string& password = {}) {
  SelectionRun run(archive);
  run.rig.program.settings.MaxSegments = 1;
  run.SlowDown();
  run.Add(run.Choose({0, 2}), password);
  EXPECT_TRUE(run.rig.RunUntilReceived(400'000));
  run.SaveTheList();
  EXPECT_TRUE(run.rig.sim.RunUntil([&] { return run.rig.sim.disk().Has(run.PathOf(2)); }));
  run.rig.sim.disk().CutNow();
  return run.rig.sim.disk().TakeState();
}

TEST(WebSelection, EntryWithoutSumThatHadItsNameBeforeAKillIsFoundByItsTime) {
  SampleArchive archive;
  for (std::size_t i = 0; i < 3; ++i) {
    archive.Add({"docs/f" + std::to_string(i) + ".bin", Plain(i, 300'000), true, "open sesame", 0, SIZE_MAX, true});
  }
  archive.End();
  for (const bool isOther : {false, true}) {
    SimDiskState state = KilledAfterANameWasGiven(archive, "open sesame");
    if (isOther) state.files.at("/home/u/out/docs/f2.bin")->modified += 5'000'000'000;
    SelectionRun run(archive, std::move(state));
    run.rig.Load();
    run.rig.Resume();
    ASSERT_TRUE(run.rig.sim.RunUntil([&] { return run.rig.Asks() || run.rig.Record().Finished; }));
    if (run.rig.Asks()) GivePassword(run, "open sesame");
    ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
    run.rig.sim.RunFor(5000);
    std::vector<std::string> files = {"docs/f0.bin", "docs/f2.bin"};
    if (isOther) files.insert(files.begin() + 1, "docs/f2 (2).bin");
    EXPECT_EQ(run.InFolder(), files);
  }
}

TEST(WebSelection, CopiesAreNotLookedForBeyondLinks) {
  SimDiskState state = KilledAfterANameWasGiven(TenFiles());
  for (const std::string name : {"/f0.bin", "/f2.bin"}) {
    state.files["/home/u/elsewhere" + name] = state.files.at("/home/u/out/docs" + name);
    state.files.erase("/home/u/out/docs" + name);
  }
  state.folders.insert("/home/u/elsewhere");
  state.folders.erase("/home/u/out/docs");
  state.links["/home/u/out/docs"] = {.target = "/home/u/elsewhere"};
  SelectionRun run(TenFiles(), std::move(state));
  run.rig.Load();
  run.rig.Resume();
  ASSERT_TRUE(run.rig.RunUntilStopped());
  EXPECT_EQ(run.rig.Web().reason,
            WithOthers(run, run.Text(WebText::EntryNameless, {"f2.bin", "/home/u/out/docs: a link"})));
}

TEST(WebSelection, SelectionThatIsLostStopsIt) {
  SelectionRun first(TenFiles());
  first.PauseAt(100'000, {1, 4});
  first.rig.sim.disk().Put(kSelection, "rubbish");
  SelectionRun second(TenFiles(), first.rig.sim.disk().TakeState());
  second.rig.Load();
  second.rig.Resume();
  ASSERT_TRUE(second.rig.RunUntilStopped());
  EXPECT_EQ(second.rig.Web().reason, second.Text(WebText::SelectionLost));
  EXPECT_TRUE(second.origin.Requests().empty());
}

TEST(WebSelection, SelectionOfNoDownloadIsDeletedAtTheStart) {
  SelectionRun first(TenFiles());
  first.PauseAt(100'000, {1, 4});
  first.rig.sim.disk().Put("/prog/Pellora.fetch.77", "left by a kill");
  first.rig.sim.disk().Put("/prog/Pellora.fetch.copy", "of the user");
  SelectionRun second(TenFiles(), first.rig.sim.disk().TakeState());
  second.rig.Load();
  second.rig.sim.RunFor(1000);
  EXPECT_FALSE(second.rig.sim.disk().Has("/prog/Pellora.fetch.77"));
  EXPECT_TRUE(second.rig.sim.disk().Has("/prog/Pellora.fetch.copy"));
  EXPECT_TRUE(second.rig.sim.disk().Has(kSelection));
}

TEST(WebSelection, UnpackerThatCannotBeStartedStopsIt) {
  SelectionRun run(TenFiles());
  run.rig.sim.unpacker().refuses = "no processes left";
  run.Start({0, 4});
  ASSERT_TRUE(run.rig.RunUntilStopped());
  EXPECT_EQ(run.rig.Web().reason, run.Text(WebText::NoUnpacker, {"no processes left"}));
  run.rig.sim.unpacker().refuses.clear();
  run.rig.sim.RunFor(3000);
  run.rig.Resume();
  EXPECT_TRUE(run.rig.RunUntilFinished());
}

TEST(WebSelection, LostConnectionsAreTriedAgain) {
  SelectionRun run(TenFiles());
  run.SlowDown(500'000);
  run.origin.OnConnection(1, {.dropInBody = 100'000});
  run.origin.OnConnection(2, {.dropInBody = 50'000});
  run.Start({0, 1, 5, 9});
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  for (const std::size_t number : {0U, 1U, 5U, 9U}) EXPECT_TRUE(run.IsUnpacked(number)) << number;
}

TEST(WebSelection, WritesThatFailStopItAndAreMadeUpForLater) {
  SelectionRun run(TenFiles());
  run.rig.sim.disk().FailWhere([](DiskCall, const std::string& path) { return path.starts_with("/home/u/out/docs"); },
                               1, true);
  run.Start({1, 4});
  ASSERT_TRUE(run.rig.RunUntilStopped());
  EXPECT_NE(run.rig.Web().reason.find("/home/u/out/docs"), std::string::npos) << run.rig.Web().reason;
  run.rig.sim.disk().NoFaults();
  run.rig.sim.RunFor(3000);
  run.rig.Resume();
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  EXPECT_TRUE(run.IsUnpacked(4));
  EXPECT_EQ(run.rig.sim.outputs().Unnamed(), 0);
}

// Killed at each call of the disk, torn in the middle of a write, or the power fails; while files come one by one, or
// many together.
class WebSelectionKills : public testing::TestWithParam<int> {};

TEST_P(WebSelectionKills, LoseNothing) {
  const bool torn = GetParam() % 3 == 1;
  const bool power = GetParam() % 3 == 2;
  const bool together = GetParam() >= 3;
  const std::vector<std::size_t> chosen =
      together ? std::vector<std::size_t>{0, 1, 2, 3, 5, 6, 7} : std::vector<std::size_t>{0, 2, 3, 7};
  const SampleArchive archive = TenFiles(30'000);
  int resumed = 0;
  std::uint64_t calls = 1;
  for (;; ++calls) {
    SelectionRun run(archive);
    if (!together) run.SlowDown(20'000);
    run.rig.sim.disk().CutAt(run.rig.sim.disk().Calls() + calls, torn);
    run.Start(chosen);
    run.rig.sim.RunFor(together ? 10 : 2000);
    run.SaveTheList();
    (void)run.rig.RunUntilFinished();
    run.rig.sim.RunFor(5000);
    if (!run.rig.sim.Killed()) break;
    if (power) run.rig.sim.disk().PowerCut(calls);

    SelectionRun next(archive, run.rig.sim.disk().TakeState());
    next.rig.Load();
    const std::int16_t index = next.rig.IndexOf(kUrl);
    const bool known =
        index != 0 && next.rig.services->journal.Find(JournalKeyOf(kUrl, next.rig.Record(index).DateAdded)) != nullptr;
    if (!known) continue;  // killed before the journal's first line
    ++resumed;
    if (!next.rig.Record(index).Finished) {
      next.rig.Resume(index);
      const bool over = next.rig.sim.RunUntil([&] { return next.rig.Record(index).Finished || next.rig.Asks(index); });
      ASSERT_TRUE(over) << calls << " " << next.rig.Web(index).reason;
      if (next.rig.Asks(index)) next.rig.Answer(true, index);  // after a power cut: the part file is gone
      ASSERT_TRUE(next.rig.RunUntilFinished(index)) << calls << " " << next.rig.Web(index).reason;
    }
    next.rig.sim.RunFor(5000);
    for (const std::size_t number : chosen) EXPECT_TRUE(next.IsUnpacked(number, 30'000)) << calls;
    // A part file that the journal does not know yet stays, as any download's, and is empty. When the power fails, its
    // deletion may not last.
    std::vector<std::string> left = next.InFolder();
    std::erase_if(left, [&](const std::string& name) {
      return name == "big.zip.part" && (power || next.rig.sim.disk().Size(kPart) == 0);
    });
    EXPECT_EQ(left.size(), chosen.size()) << calls << testing::PrintToString(left);
    EXPECT_FALSE(next.rig.sim.disk().Has(kSelection)) << calls;
    // Files that the run before the kill has named are on the disk as well.
    next.rig.sim.disk().PowerCut(calls);
    for (const std::size_t number : chosen) EXPECT_TRUE(next.IsUnpacked(number, 30'000)) << calls;
  }
  EXPECT_GT(resumed, 40);
}

INSTANTIATE_TEST_SUITE_P(All, WebSelectionKills, testing::Range(0, 6));

}  // namespace
}  // namespace pellora
