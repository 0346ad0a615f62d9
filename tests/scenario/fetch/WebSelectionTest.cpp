// Downloads of chosen entries of an archive: what is fetched, unpacked and kept.
#include <algorithm>
#include <string>
#include <vector>

#include "SelectionRun.h"
#include "SimFileServer.h"
#include "WebApp.h"
#include "core/EngineChoice.h"
#include "core/SpeedLimits.h"
#include "fetch/WebRecords.h"
#include "mainwin/AddDownload.h"

namespace pellora {
namespace {

TEST(WebSelection, FetchesAndUnpacksOnlyWhatIsChosen) {
  SelectionRun run(TenFiles());
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
  SelectionRun one(TenFiles());
  one.Start({3});
  EXPECT_EQ(one.rig.Record().FileName, "f3.bin");
  ASSERT_TRUE(one.rig.RunUntilFinished());

  SelectionRun neighbours(TenFiles(10'000));
  neighbours.Start({3, 4, 5});
  ASSERT_TRUE(neighbours.rig.RunUntilFinished());
  EXPECT_EQ(neighbours.origin.Requests().size(), 1U);
  EXPECT_TRUE(neighbours.IsUnpacked(5, 10'000));
}

TEST(WebSelection, FirstRequestHoldsTheServerToTheVersionOfTheDirectory) {
  SelectionRun run(TenFiles());
  run.Start({1, 4});
  ASSERT_TRUE(run.rig.RunUntilFinished());
  EXPECT_EQ(run.origin.Requests().at(0).Header("If-Range"), kEtag);
}

TEST(WebSelection, UnpacksEntriesWhileOthersAreComing) {
  SelectionRun run(TenFiles());
  run.rig.program.settings.MaxSegments = 1;
  run.SlowDown();
  run.Start({0, 3, 6, 9});
  ASSERT_TRUE(run.rig.sim.RunUntil([&] { return run.rig.sim.disk().Has(run.PathOf(0)); }));
  EXPECT_LT(run.rig.Web().received, 700'000);
  ASSERT_TRUE(run.rig.RunUntilFinished());
}

// One flush of the names for many files, and all are there in the end.
TEST(WebSelection, SmallFilesGetTheirNamesTogether) {
  SampleArchive archive;
  std::vector<std::size_t> all(200);
  for (std::size_t i = 0; i < all.size(); ++i) {
    archive.Add({"f" + std::to_string(i), Plain(i, 500), i % 2 == 0});
    all[i] = i;
  }
  archive.End();
  SelectionRun run(archive);
  int flushes = 0;
  run.rig.sim.disk().FailWhere(
      [&](DiskCall call, const std::string& path) {
        flushes += call == DiskCall::FlushFolder && path == kFolder ? 1 : 0;
        return false;
      },
      1, true);
  run.Start(all);
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  for (std::size_t i = 0; i < all.size(); ++i) {
    EXPECT_TRUE(run.rig.sim.disk().Holds(std::string(kFolder) + "/f" + std::to_string(i), Plain(i, 500))) << i;
  }
  EXPECT_GT(flushes, 5);
  EXPECT_LT(flushes, 20);
}

// The disk refuses a file while others wait for their names: these get theirs, and it is tried again.
TEST(WebSelection, FileThatCannotBeMadeWhileOthersWaitIsTriedAgainAlone) {
  SelectionRun run(TenFiles(500));
  run.rig.sim.disk().FailWhere(
      [&](DiskCall call, const std::string& path) {
        return call == DiskCall::Create && path == kFolder && run.rig.sim.outputs().Unnamed() == 3;
      },
      1, true);
  run.Start({0, 1, 2, 3, 4, 5, 6, 7, 8, 9});
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  for (std::size_t i = 0; i < 10; ++i) EXPECT_TRUE(run.IsUnpacked(i, 500)) << i;
}

// A script that waits for the end looks into the folder at once.
TEST(WebSelection, FinishesWhenItsPartFileIsGone) {
  SelectionRun run(TenFiles());
  run.Start({1, 4});
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  EXPECT_EQ(run.InFolder(), (std::vector<std::string>{"docs/f1.bin", "docs/f4.bin"}));
}

TEST(WebSelection, PausedWhileItsPartFileIsDeletedFinishesAfterwards) {
  SelectionRun run(TenFiles());
  run.Start({1, 4});
  ASSERT_TRUE(run.rig.sim.RunUntil([&] { return run.rig.sim.disk().Has(kPart); }));
  ASSERT_TRUE(run.rig.sim.RunUntil([&] { return !run.rig.sim.disk().Has(kPart); }));
  ASSERT_FALSE(run.rig.Record().Finished);
  run.rig.Pause();
  run.rig.sim.RunFor(5000);
  if (!run.rig.Record().Finished) run.rig.Resume();
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  EXPECT_EQ(run.InFolder(), (std::vector<std::string>{"docs/f1.bin", "docs/f4.bin"}));
}

TEST(WebSelection, PausedAndResumedFetchesAndUnpacksNothingTwice) {
  SelectionRun run(TenFiles());
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
  SelectionRun first(TenFiles());
  first.rig.program.settings.MaxSegments = 1;
  first.SlowDown();
  first.Start({0, 2, 4, 6});
  ASSERT_TRUE(first.rig.RunUntilReceived(650'000));
  first.SaveTheList();
  first.rig.sim.RunFor(1000);
  first.rig.sim.disk().CutNow();

  SelectionRun second(TenFiles(), first.rig.sim.disk().TakeState());
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
  SelectionRun first(TenFiles());
  first.rig.program.settings.MaxSegments = 1;
  first.PauseAt(900'000, {0, 2, 4, 6});
  first.rig.sim.disk().Lose(kPart);

  SelectionRun second(TenFiles(), first.rig.sim.disk().TakeState());
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

TEST(WebSelection, LocalHeaderWithMoreThanExpectedHasTheRestFetched) {
  SampleArchive archive;
  archive.Add({"a.bin", Plain(0, 100'000), false, {}, 9000, 512});
  archive.Add({"b.bin", Plain(1, 100'000), true, {}, 9000, 512});
  archive.Add({"c.bin", Plain(2, 100'000)});
  archive.End();
  SelectionRun run(archive);
  run.Start({0, 1});
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  EXPECT_TRUE(run.IsUnpacked(0, 100'000));
  EXPECT_TRUE(run.IsUnpacked(1, 100'000));
  EXPECT_EQ(run.rig.Web().received, run.rig.Web().size);
}

TEST(WebSelection, DeletedDownloadLeavesOnlyWhatIsUnpacked) {
  SelectionRun run(TenFiles());
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
  SelectionRun run(TenFiles(1'000'000));
  run.rig.sim.downloadFiles().SetRoom(3'900'000);
  run.Start({1, 3});
  ASSERT_TRUE(run.rig.RunUntilStopped());
  EXPECT_EQ(run.rig.Web().reason, run.Text(WebText::NoRoom, {"4001 kB", "3900 kB"}));
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
  SelectionRun run(archive);
  run.Start({0, 1, 2, 3});
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  EXPECT_TRUE(run.IsUnpacked(1, 5000));
  EXPECT_TRUE(run.rig.sim.disk().Has(run.PathOf(3)));
  EXPECT_EQ(run.rig.sim.outputs().TraitsOf(run.PathOf(0)).modified, 1'700'000'000);
  EXPECT_EQ(run.rig.sim.outputs().TraitsOf(run.PathOf(2)).modified, 1'700'000'002);

  SelectionRun folders(archive);
  folders.Start({0, 2});
  ASSERT_TRUE(folders.rig.RunUntilFinished()) << folders.rig.Web().reason;
  EXPECT_TRUE(folders.origin.Requests().empty());
}

TEST(WebSelection, FilesThatAreThereAreNumberedReplacedOrKept) {
  for (const Existing existing : {Existing::Number, Existing::Replace, Existing::Keep}) {
    SelectionRun run(TenFiles());
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

TEST(WebSelection, EntryNamedLikeAPartFileDoesNotReplaceIt) {
  SampleArchive archive;
  archive.Add({"a.bin", Plain(0, 300'000)});
  archive.Add({"big.zip.part", Plain(1, 300'000)});
  archive.Add({"c.bin", Plain(2, 300'000)});
  archive.End();
  for (const Existing existing : {Existing::Number, Existing::Replace, Existing::Keep}) {
    SelectionRun run(archive);
    run.rig.program.settings.MaxSegments = 1;
    run.SlowDown();
    const std::shared_ptr<Selection> chosen = run.Choose({0, 1, 2});
    chosen->existing = existing;
    run.Add(chosen);
    ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
    run.rig.sim.RunFor(5000);
    EXPECT_EQ(run.InFolder(), (std::vector<std::string>{"a.bin", "big.zip (2).part", "c.bin"}));
    EXPECT_TRUE(run.rig.sim.disk().Holds("/home/u/out/big.zip (2).part", Plain(1, 300'000)));
  }
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
  SelectionRun run(archive);
  run.Start(chosen);
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  for (const std::size_t number : chosen) EXPECT_TRUE(run.IsUnpacked(number, 1'048'576)) << number;
  EXPECT_LE(run.Asked() * 100, packed * 102 + 256 * 1024 * 100);
}

TEST(WebSelection, LimitOfSpeedHoldsForIt) {
  SelectionRun run(TenFiles());
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

TEST(WebSelection, ComesByFtpToo) {
  SelectionRun run(TenFiles());
  SimFileServer server(run.rig.sim.network(), "f.example", 990);
  server.File("/big.zip", run.archive.bytes);
  const std::shared_ptr<Selection> chosen = run.archive.Choose({1, 4, 8}, kFolder);
  WebAdd add;
  add.selection = chosen;
  run.rig.Start("ftps://f.example/big.zip", add);
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  for (const std::size_t number : {1U, 4U, 8U}) EXPECT_TRUE(run.IsUnpacked(number)) << number;
}

TEST(WebSelection, ContinuesFromAnotherAddressOfTheSameArchive) {
  SelectionRun run(TenFiles());
  SimHttpServer after(run.rig.sim.network(), "new.example", 443);
  after.File("/big.zip", run.archive.bytes);
  after.Traits("/big.zip").validators = {{.etag = kEtag}};
  run.rig.program.settings.MaxSegments = 1;
  run.SlowDown();
  run.Start({0, 2, 4, 6});
  ASSERT_TRUE(run.rig.RunUntilReceived(650'000));
  run.rig.Pause();
  run.rig.sim.RunFor(5000);
  run.origin.Remove("/big.zip");
  constexpr const char* kNew = "https://new.example/big.zip";
  run.rig.sim.Do(
      [&] { RememberAddress(run.rig.program, *run.rig.services, 1, ReadOtherAddress(run.rig.program, kNew)); });
  run.rig.Resume();
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  EXPECT_EQ(run.rig.Record().URL, kNew);
  for (const std::size_t number : {0U, 2U, 4U, 6U}) EXPECT_TRUE(run.IsUnpacked(number)) << number;
  run.rig.sim.RunFor(1000);
  EXPECT_EQ(run.InFolder().size(), 4U);
}

TEST(WebSelection, FolderIsMadeIfItIsMissing) {
  SelectionRun run(TenFiles());
  const std::shared_ptr<Selection> chosen = run.Choose({1});
  chosen->folder = "/home/u/out/further/down";
  run.Add(chosen);
  ASSERT_TRUE(run.rig.RunUntilFinished()) << run.rig.Web().reason;
  EXPECT_TRUE(run.rig.sim.disk().Holds("/home/u/out/further/down/docs/f1.bin", Plain(1, 300'000)));
}

TEST(WebSelection, QueuedOneBeginsAfterARestartToo) {
  SelectionRun first(TenFiles());
  first.Add(first.Choose({1, 4}));
  first.rig.Pause();
  first.rig.sim.RunFor(3000);
  first.SaveTheList();
  SelectionRun second(TenFiles(), first.rig.sim.disk().TakeState());
  second.rig.Load();
  EXPECT_EQ(second.rig.Record().FileName, "2 files of big.zip");
  second.rig.Resume();
  ASSERT_TRUE(second.rig.RunUntilFinished()) << second.rig.Web().reason;
  EXPECT_TRUE(second.IsUnpacked(1) && second.IsUnpacked(4));
  EXPECT_EQ(second.InFolder().size(), 2U + (second.rig.sim.disk().Has(kPart) ? 1U : 0U));
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
  ASSERT_EQ(app.program().DownloadCount, 1);
  ASSERT_TRUE(app.RunUntilFinished());
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

}  // namespace
}  // namespace pellora
