// Downloads of chosen entries of an archive.
#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "SampleArchive.h"
#include "WebApp.h"
#include "WebRig.h"
#include "core/ListFile.h"
#include "core/SpeedLimits.h"
#include "core/WebTexts.h"
#include "fetch/ReplyHeads.h"
#include "mainwin/AddDownload.h"

namespace pellora {
namespace {

constexpr const char* kUrl = "https://o.example/big.zip";
constexpr const char* kFolder = "/home/u/out";
constexpr const char* kPart = "/home/u/out/big.zip.part";
constexpr const char* kSelection = "/prog/Pellora.fetch.1";
constexpr const char* kEtag = "\"1\"";

std::string Plain(std::size_t number, std::size_t length) { return SimContent::Generated(length, number + 1).All(); }

// Ten files of 300 KB each, "f0.bin" to "f9.bin" in "docs".
SampleArchive TenFiles(std::size_t length = 300'000) {
  SampleArchive archive;
  for (std::size_t i = 0; i < 10; ++i) {
    archive.Add({"docs/f" + std::to_string(i) + ".bin", Plain(i, length), i % 2 == 0});
  }
  archive.End();
  return archive;
}

// A run of the program with the archive's server.
struct Session {
  explicit Session(SampleArchive theArchive, SimDiskState disk = {})
      : archive(std::move(theArchive)), rig(With(std::move(disk))), origin(rig.sim.network(), "o.example", 443) {
    Serve(archive.bytes);
  }
  static SimOptions With(SimDiskState disk) {
    SimOptions options;
    options.disk = std::move(disk);
    return options;
  }
  void Serve(const SimContent& content, const std::string& etag = kEtag) {
    origin.File("/big.zip", content);
    origin.Traits("/big.zip").validators = {{.etag = etag}};
  }
  void SlowDown(std::uint64_t bytesPerSecond = 200'000) { origin.Always({.wire = {.bytesPerSecond = bytesPerSecond}}); }
  std::shared_ptr<Selection> Choose(const std::vector<std::size_t>& numbers) const {
    std::shared_ptr<Selection> chosen = archive.Choose(numbers, kFolder);
    chosen->facts.validator.etag = kEtag;
    return chosen;
  }
  void Add(std::shared_ptr<const Selection> selection, const std::string& password = {}) {
    WebAdd add;
    add.selection = std::move(selection);
    add.archivePassword = password;
    rig.Start(kUrl, add);
  }
  void Start(const std::vector<std::size_t>& numbers) { Add(Choose(numbers)); }
  std::string Text(WebText text, std::initializer_list<std::string_view> values = {}) {
    return FillText(TextOf(rig.program, text), values);
  }
  std::string PathOf(std::size_t number) const {
    std::string path = kFolder;
    for (const std::string& part : archive.all[number].path) path += "/" + part;
    return path;
  }
  bool IsUnpacked(std::size_t number, std::size_t length = 300'000) {
    return rig.sim.disk().Holds(PathOf(number), Plain(number, length));
  }
  // Everything below the folder.
  std::vector<std::string> InFolder() {
    std::vector<std::string> found;
    for (const std::string& path : rig.sim.disk().Paths()) {
      if (path.starts_with(std::string(kFolder) + "/")) found.push_back(path.substr(std::string(kFolder).size() + 1));
    }
    return found;
  }
  // Bytes that were asked for, and how much of a range was.
  std::int64_t Asked(Range of = {0, INT64_MAX}, std::size_t from = 0) {
    std::int64_t bytes = 0;
    for (std::size_t i = from; i < origin.Requests().size(); ++i) {
      const std::string range = origin.Requests()[i].Header("Range").value_or("bytes=0-9999999999");
      const std::size_t dash = range.find('-');
      const std::int64_t begin = std::stoll(range.substr(6, dash - 6));
      const std::int64_t end = dash + 1 == range.size() ? 9'999'999'999 : std::stoll(range.substr(dash + 1)) + 1;
      bytes += std::max<std::int64_t>(0, std::min(end, of.end) - std::max(begin, of.begin));
    }
    return bytes;
  }
  void Delete() {
    rig.sim.Do([&] {
      EmptyPlace(rig.program, 1);
      Release(rig.program, 1, kDeleted);
      SaveList(rig.program);
    });
    rig.sim.RunFor(5000);
  }
  void SaveTheList() {
    rig.sim.Do([&] { SaveList(rig.program); });
  }

  SampleArchive archive;
  WebRig rig;
  SimHttpServer origin;
};

TEST(WebSelection, FetchesAndUnpacksOnlyWhatIsChosen) {
  Session run(TenFiles());
  run.Start({1, 4, 8});
  EXPECT_EQ(run.rig.Record().FileName, "3 files of big.zip");
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  for (const std::size_t number : {1U, 4U, 8U}) EXPECT_TRUE(run.IsUnpacked(number)) << number;
  EXPECT_EQ(run.rig.Record().FileName, "3 files of big.zip");
  EXPECT_EQ(run.rig.Record().SavePath, kFolder);
  EXPECT_TRUE(run.rig.Web().inFolder);
  EXPECT_GT(run.rig.Web().size, 900'000);
  EXPECT_LT(run.rig.Web().size, 910'000);
  EXPECT_EQ(run.rig.Web().received, run.rig.Web().size);
  EXPECT_EQ(run.Asked(), run.rig.Web().size);
  run.rig.sim.RunFor(5000);
  EXPECT_EQ(run.InFolder(), (std::vector<std::string>{"docs/f1.bin", "docs/f4.bin", "docs/f8.bin"}));
  EXPECT_FALSE(run.rig.sim.disk().Has(kSelection));
  EXPECT_EQ(run.rig.sim.outputs().Unnamed(), 0);
  EXPECT_EQ(run.rig.sim.unpacker().Running(), 0);
}

TEST(WebSelection, OneFileGoesByItsNameAndNeighboursTakeOneRequest) {
  Session one(TenFiles());
  one.Start({3});
  EXPECT_EQ(one.rig.Record().FileName, "f3.bin");
  ASSERT_TRUE(one.rig.RunUntilFinished());

  Session neighbours(TenFiles(10'000));
  neighbours.Start({3, 4, 5});
  ASSERT_TRUE(neighbours.rig.RunUntilFinished());
  EXPECT_EQ(neighbours.origin.Requests().size(), 1U);
  EXPECT_TRUE(neighbours.IsUnpacked(5, 10'000));
}

TEST(WebSelection, FirstRequestHoldsTheServerToTheVersionOfTheDirectory) {
  Session run(TenFiles());
  run.Start({1, 4});
  ASSERT_TRUE(run.rig.RunUntilFinished());
  EXPECT_EQ(run.origin.Requests().at(0).Header("If-Range"), kEtag);
}

TEST(WebSelection, UnpacksEntriesWhileOthersAreComing) {
  Session run(TenFiles());
  run.rig.program.settings.MaxSegments = 1;
  run.SlowDown();
  run.Start({0, 3, 6, 9});
  ASSERT_TRUE(run.rig.sim.RunUntil([&] { return run.rig.sim.disk().Has(run.PathOf(0)); }));
  EXPECT_LT(run.rig.Web().received, 700'000);
  ASSERT_TRUE(run.rig.RunUntilFinished());
}

TEST(WebSelection, PausedAndResumedFetchesAndUnpacksNothingTwice) {
  Session run(TenFiles());
  run.rig.program.settings.MaxSegments = 1;
  run.SlowDown();
  run.Start({0, 2, 4, 6});
  ASSERT_TRUE(run.rig.RunUntilReceived(700'000));
  run.rig.Pause();
  run.rig.sim.RunFor(5000);
  EXPECT_EQ(run.rig.sim.network().Open(), 0);
  EXPECT_TRUE(run.rig.sim.disk().Has(kPart));
  const std::size_t requests = run.origin.Requests().size();
  const std::int64_t held = run.rig.Web().received;
  run.rig.Resume();
  ASSERT_TRUE(run.rig.RunUntilFinished());
  EXPECT_LE(run.Asked({0, INT64_MAX}, requests), run.rig.Web().size - held);
  EXPECT_EQ(run.rig.sim.unpacker().begun, 4);
  run.rig.sim.RunFor(1000);
  EXPECT_EQ(run.InFolder().size(), 4U);
}

TEST(WebSelection, KilledRunGoesOnWithWhatWasFetchedAndUnpacked) {
  Session first(TenFiles());
  first.rig.program.settings.MaxSegments = 1;
  first.SlowDown();
  first.Start({0, 2, 4, 6});
  ASSERT_TRUE(first.rig.RunUntilReceived(650'000));
  first.SaveTheList();
  first.rig.sim.RunFor(1000);
  first.rig.sim.disk().CutNow();

  Session second(TenFiles(), first.rig.sim.disk().TakeState());
  second.rig.Load();
  EXPECT_EQ(second.rig.Record().FileName, "4 files of big.zip");
  EXPECT_EQ(second.rig.Web().size, first.rig.Web().size);
  EXPECT_GE(second.rig.Web().received, 600'000);
  second.rig.Resume();
  ASSERT_TRUE(second.rig.RunUntilFinished()) << second.rig.Web().reason;
  EXPECT_EQ(second.Asked(second.archive.all[0].range), 0);
  EXPECT_EQ(second.Asked(second.archive.all[2].range), 0);
  EXPECT_EQ(second.rig.sim.unpacker().begun, 2);
  second.rig.sim.RunFor(5000);
  EXPECT_EQ(second.InFolder(), (std::vector<std::string>{"docs/f0.bin", "docs/f2.bin", "docs/f4.bin", "docs/f6.bin"}));
}

TEST(WebSelection, UnpackedEntriesAreNotFetchedAgainForALostPart) {
  Session first(TenFiles());
  first.rig.program.settings.MaxSegments = 1;
  first.SlowDown();
  first.Start({0, 2, 4, 6});
  ASSERT_TRUE(first.rig.RunUntilReceived(900'000));
  first.rig.Pause();
  first.rig.sim.RunFor(5000);
  first.SaveTheList();
  first.rig.sim.disk().Lose(kPart);

  Session second(TenFiles(), first.rig.sim.disk().TakeState());
  second.rig.Load();
  second.rig.Resume();
  ASSERT_TRUE(second.rig.RunUntilAsked());
  second.rig.Answer(true);
  ASSERT_TRUE(second.rig.RunUntilFinished()) << second.rig.Web().reason;
  EXPECT_EQ(second.Asked(second.archive.all[0].range), 0);
  EXPECT_GT(second.Asked(second.archive.all[6].range), 0);
  second.rig.sim.RunFor(1000);
  EXPECT_EQ(second.InFolder().size(), 4U);
}

// The bytes of one entry are wrong for so many requests.
SampleArchive WithWrong(SampleArchive archive, std::size_t number, std::size_t at = 1000) {
  archive.bytes[static_cast<std::size_t>(archive.all[number].range.begin) + at] ^= '\x55';
  return archive;
}

TEST(WebSelection, DamagedEntryIsFetchedOnceMore) {
  Session run(TenFiles());
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
  Session run(TenFiles());
  run.Serve(WithWrong(TenFiles(), 4).bytes);
  run.Start({1, 4, 8});
  ASSERT_TRUE(run.rig.RunUntilStopped());
  EXPECT_EQ(run.rig.Web().reason, run.Text(WebText::EntryDamaged, {"f4.bin"}));
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

TEST(WebSelection, SeveralDamagedEntriesAreCounted) {
  Session run(TenFiles());
  run.Serve(WithWrong(WithWrong(TenFiles(), 4), 8).bytes);
  run.Start({1, 4, 8});
  ASSERT_TRUE(run.rig.RunUntilStopped());
  EXPECT_EQ(run.rig.Web().reason, run.Text(WebText::EntriesDamaged, {"f4.bin", "1"}));
}

TEST(WebSelection, ArchiveOfAnotherVersionStopsIt) {
  Session run(TenFiles());
  run.Serve(run.archive.bytes, "\"2\"");
  run.Start({1, 4});
  ASSERT_TRUE(run.rig.RunUntilStopped());
  EXPECT_EQ(run.rig.Web().reason, run.Text(WebText::ArchiveChanged));
  EXPECT_LE(run.rig.Web().received, 0);
}

TEST(WebSelection, ArchiveOfAnotherLengthStopsIt) {
  Session run(TenFiles());
  run.Serve(run.archive.bytes + "more");
  run.Start({1, 4});
  ASSERT_TRUE(run.rig.RunUntilStopped());
  EXPECT_EQ(run.rig.Web().reason, run.Text(WebText::ArchiveChanged));
}

TEST(WebSelection, ArchiveWithOtherEntriesInTheirPlacesStopsIt) {
  Session run(TenFiles());
  run.Serve(WithWrong(TenFiles(), 4, 32).bytes);  // in the name
  run.Start({1, 4});
  ASSERT_TRUE(run.rig.RunUntilStopped());
  EXPECT_EQ(run.rig.Web().reason, run.Text(WebText::ArchiveChanged));
  EXPECT_TRUE(run.IsUnpacked(1));
}

TEST(WebSelection, ArchiveWithoutValidatorIsTaken) {
  Session run(TenFiles());
  run.origin.Traits("/big.zip").validators.clear();
  run.Add(run.archive.Choose({1, 4}, kFolder));
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  EXPECT_TRUE(run.IsUnpacked(4));
}

TEST(WebSelection, ServerWithoutRangesIsNotReadWhole) {
  Session run(TenFiles());
  ASSERT_TRUE(run.origin.Misbehave("ignores ranges"));
  run.Start({1, 4});
  ASSERT_TRUE(run.rig.RunUntilStopped());
  EXPECT_EQ(run.rig.Web().reason, run.Text(WebText::NoParts));
}

TEST(WebSelection, LocalHeaderWithMoreThanExpectedHasTheRestFetched) {
  SampleArchive archive;
  archive.Add({"a.bin", Plain(0, 100'000), false, {}, 9000, 512});
  archive.Add({"b.bin", Plain(1, 100'000), true, {}, 9000, 512});
  archive.Add({"c.bin", Plain(2, 100'000)});
  archive.End();
  Session run(archive);
  run.Start({0, 1});
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  EXPECT_TRUE(run.IsUnpacked(0, 100'000));
  EXPECT_TRUE(run.IsUnpacked(1, 100'000));
  EXPECT_EQ(run.rig.Web().received, run.rig.Web().size);
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
  Session run(Encrypted());
  run.Add(run.Choose({0, 1, 2}), "open sesame");
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  EXPECT_TRUE(run.IsUnpacked(1, 100'000));
  for (const std::string& path : run.rig.sim.disk().Paths()) {
    EXPECT_EQ(run.rig.sim.disk().Get(path).find("sesame"), std::string::npos) << path;
  }
}

TEST(WebSelection, MissingPasswordIsAskedForOnceAllOthersAreUnpacked) {
  Session run(Encrypted());
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
  run.rig.sim.Do([&] { run.rig.services->logins.Give(asked[0].place, {{}, "wrong"}, false); });
  ASSERT_TRUE(run.rig.RunUntilAsked());
  EXPECT_FALSE(run.rig.sim.disk().Has(run.PathOf(1)));
  run.rig.Answer(true);
  ASSERT_EQ(asked.size(), 2U);
  const std::size_t requests = run.origin.Requests().size();
  run.rig.sim.Do([&] { run.rig.services->logins.Give(asked[1].place, {{}, "open sesame"}, false); });
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  EXPECT_TRUE(run.IsUnpacked(1, 100'000));
  EXPECT_EQ(run.origin.Requests().size(), requests);
}

TEST(WebSelection, DeletedDownloadLeavesOnlyWhatIsUnpacked) {
  Session run(TenFiles());
  run.rig.program.settings.MaxSegments = 1;
  run.SlowDown();
  run.Start({0, 3, 6, 9});
  ASSERT_TRUE(run.rig.RunUntilReceived(500'000));
  run.SaveTheList();
  EXPECT_TRUE(run.rig.sim.disk().Has(kPart));
  EXPECT_TRUE(run.rig.sim.disk().Has(kSelection));
  run.Delete();
  EXPECT_EQ(run.InFolder(), std::vector<std::string>{"docs/f0.bin"});
  EXPECT_FALSE(run.rig.sim.disk().Has(kSelection));
  EXPECT_EQ(run.rig.sim.outputs().Unnamed(), 0);
}

TEST(WebSelection, RoomIsWantedForPackedAndUnpackedBytes) {
  Session run(TenFiles(1'000'000));
  run.rig.sim.downloadFiles().SetRoom(3'900'000);
  run.Start({1, 3});
  ASSERT_TRUE(run.rig.RunUntilStopped());
  EXPECT_EQ(run.rig.Web().reason, run.Text(WebText::NoRoom, {"5 MB", "3 MB"}));
  run.rig.sim.downloadFiles().SetRoom(4'100'000);
  run.rig.Resume();
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
}

TEST(WebSelection, FoldersAreMadeLastAndGetTheirTimes) {
  SampleArchive archive;
  archive.Add({"docs/", ""});
  archive.Add({"docs/a.bin", Plain(1, 5000)});
  archive.Add({"empty/", ""});
  archive.Add({"nothing.bin", ""});
  archive.End();
  Session run(archive);
  run.Start({0, 1, 2, 3});
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  EXPECT_TRUE(run.IsUnpacked(1, 5000));
  EXPECT_TRUE(run.rig.sim.disk().Has(run.PathOf(3)));
  EXPECT_EQ(run.rig.sim.outputs().TraitsOf(run.PathOf(0)).modified, 1'700'000'000);
  EXPECT_EQ(run.rig.sim.outputs().TraitsOf(run.PathOf(2)).modified, 1'700'000'002);

  Session folders(archive);
  folders.Start({0, 2});
  ASSERT_TRUE(folders.rig.RunUntilFinished()) << folders.rig.Web().reason;
  EXPECT_TRUE(folders.origin.Requests().empty());
}

TEST(WebSelection, FilesThatAreThereAreNumberedReplacedOrKept) {
  for (const Existing existing : {Existing::Number, Existing::Replace, Existing::Keep}) {
    Session run(TenFiles());
    run.rig.sim.disk().MakeFolder("/home/u/out/docs");
    run.rig.sim.disk().Put(run.PathOf(4), "mine");
    const std::shared_ptr<Selection> chosen = run.Choose({1, 4});
    chosen->existing = existing;
    run.Add(chosen);
    ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
    EXPECT_EQ(run.rig.sim.disk().Get(run.PathOf(4)) == "mine", existing != Existing::Replace);
    EXPECT_EQ(run.rig.sim.disk().Has("/home/u/out/docs/f4 (2).bin"), existing == Existing::Number);
  }
}

TEST(WebSelection, SelectionThatIsLostStopsIt) {
  Session first(TenFiles());
  first.SlowDown();
  first.Start({1, 4});
  ASSERT_TRUE(first.rig.RunUntilReceived(100'000));
  first.rig.Pause();
  first.rig.sim.RunFor(5000);
  first.SaveTheList();
  first.rig.sim.disk().Put(kSelection, "rubbish");
  Session second(TenFiles(), first.rig.sim.disk().TakeState());
  second.rig.Load();
  second.rig.Resume();
  ASSERT_TRUE(second.rig.RunUntilStopped());
  EXPECT_EQ(second.rig.Web().reason, second.Text(WebText::SelectionLost));
  EXPECT_TRUE(second.origin.Requests().empty());
}

TEST(WebSelection, SelectionOfNoDownloadIsDeletedAtTheStart) {
  Session first(TenFiles());
  first.SlowDown();
  first.Start({1, 4});
  ASSERT_TRUE(first.rig.RunUntilReceived(100'000));
  first.rig.Pause();
  first.rig.sim.RunFor(5000);
  first.SaveTheList();
  first.rig.sim.disk().Put("/prog/Pellora.fetch.77", "left by a kill");
  first.rig.sim.disk().Put("/prog/Pellora.fetch.copy", "of the user");
  Session second(TenFiles(), first.rig.sim.disk().TakeState());
  second.rig.Load();
  second.rig.sim.RunFor(1000);
  EXPECT_FALSE(second.rig.sim.disk().Has("/prog/Pellora.fetch.77"));
  EXPECT_TRUE(second.rig.sim.disk().Has("/prog/Pellora.fetch.copy"));
  EXPECT_TRUE(second.rig.sim.disk().Has(kSelection));
}

TEST(WebSelection, UnpackerThatCannotBeStartedStopsIt) {
  Session run(TenFiles());
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
  Session run(TenFiles());
  run.SlowDown(500'000);
  run.origin.OnConnection(1, {.dropInBody = 100'000});
  run.origin.OnConnection(2, {.dropInBody = 50'000});
  run.Start({0, 1, 5, 9});
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  for (const std::size_t number : {0U, 1U, 5U, 9U}) EXPECT_TRUE(run.IsUnpacked(number)) << number;
}

TEST(WebSelection, AsksForLittleMoreThanThePackedBytesOfThreeOfTenThousandEntries) {
  SampleArchive archive;
  std::int64_t packed = 0;
  const std::vector<std::size_t> chosen = {1'200, 5'000, 9'998};
  for (std::size_t i = 0; i < 10'000; ++i) {
    const bool isLarge = std::find(chosen.begin(), chosen.end(), i) != chosen.end();
    archive.Add({"f" + std::to_string(i), Plain(i, isLarge ? 1'048'576 : 2'000)});
    if (isLarge) packed += static_cast<std::int64_t>(archive.all[i].packed.packed);
  }
  archive.End();
  Session run(archive);
  run.Start(chosen);
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  for (const std::size_t number : chosen) EXPECT_TRUE(run.IsUnpacked(number, 1'048'576)) << number;
  EXPECT_LE(run.Asked() * 100, packed * 102 + 256 * 1024 * 100);
}

TEST(WebSelection, LimitOfSpeedHoldsForIt) {
  Session run(TenFiles());
  WebAdd add;
  add.selection = run.Choose({0, 2, 4, 6});
  add.speedLimit = 100'000;
  run.rig.Start(kUrl, add);
  run.rig.sim.Do([&] { run.rig.program.speed->SetLimitOf(1, add.speedLimit); });
  run.rig.sim.RunFor(5000);
  EXPECT_LE(run.rig.Web().received, 800'000);
  EXPECT_GE(run.rig.Web().received, 300'000);
  ASSERT_TRUE(run.rig.RunUntilFinished());
}

TEST(WebSelection, WritesThatFailStopItAndAreMadeUpForLater) {
  Session run(TenFiles());
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

// The window of a whole program.
TEST(WebSelection, FinishedRowAndWindowOpenTheFolder) {
  WebApp app;
  SimHttpServer origin(app.sim.network(), "o.example", 443);
  const SampleArchive archive = TenFiles();
  origin.File("/big.zip", archive.bytes);
  app.sim.disk().MakeFolder("/home/u/out");
  app.Start();
  AddRequest request;
  request.url = kUrl;
  request.web.selection = archive.Choose({1, 4}, kFolder);
  app.sim.Do([&] { (void)AddWithoutAsking(app.program(), request); });
  ASSERT_TRUE(app.RunUntilFinished()) << app.Web().reason;
  app.sim.RunFor(2000);
  const std::vector<ListRow>& rows = app.window().ListView2.Rows();
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows[0].text, "2 files of big.zip");
  EXPECT_NE(rows[0].icon, "notfound");
  const std::size_t opened = app.sim.shell().opened.size();
  app.window().ListView2.SelectByUser({0});
  app.sim.Do([&] { app.window().ListView2.DoubleClick(); });
  app.sim.RunReady();
  ASSERT_EQ(app.sim.shell().opened.size(), opened + 1);
  EXPECT_EQ(app.sim.shell().opened.back().first, kFolder);
}

// Killed at each call of the disk, torn in the middle of a write, or the power fails.
class WebSelectionKills : public testing::TestWithParam<int> {};

TEST_P(WebSelectionKills, LoseNothing) {
  const bool torn = GetParam() == 1;
  const bool power = GetParam() == 2;
  const SampleArchive archive = TenFiles(30'000);
  int resumed = 0;
  std::uint64_t calls = 1;
  for (;; ++calls) {
    Session run(archive);
    run.SlowDown(20'000);
    run.rig.sim.disk().CutAt(run.rig.sim.disk().Calls() + calls, torn);
    run.Start({0, 2, 3, 7});
    run.rig.sim.RunFor(2000);
    run.SaveTheList();
    (void)run.rig.RunUntilFinished();
    run.rig.sim.RunFor(5000);
    if (!run.rig.sim.Killed()) break;
    if (power) run.rig.sim.disk().PowerCut(calls);

    Session next(archive, run.rig.sim.disk().TakeState());
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
    for (const std::size_t number : {0U, 2U, 3U, 7U}) EXPECT_TRUE(next.IsUnpacked(number, 30'000)) << calls;
    // A part file that the journal does not know yet stays, as any download's, and is empty. When the power fails, its
    // deletion may not last.
    std::vector<std::string> left = next.InFolder();
    std::erase_if(left, [&](const std::string& name) {
      return name == "big.zip.part" && (power || next.rig.sim.disk().Size(kPart) == 0);
    });
    EXPECT_EQ(left.size(), 4U) << calls << testing::PrintToString(left);
    EXPECT_FALSE(next.rig.sim.disk().Has(kSelection)) << calls;
  }
  EXPECT_GT(resumed, 40);
}

INSTANTIATE_TEST_SUITE_P(All, WebSelectionKills, testing::Range(0, 3));

}  // namespace
}  // namespace pellora
