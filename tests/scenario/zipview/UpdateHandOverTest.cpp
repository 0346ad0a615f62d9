#include "ZipFixture.h"
#include "app/App.h"
#include "async/TaskLoop.h"
#include "core/Stop.h"
#include "zipview/UpdateHandOver.h"

namespace pellora {
namespace {

class UpdateHandOver : public ZipFixture {
 protected:
  UpdateHandOver() {
    program.settings.AutoPreviewZIP = false;
    program.saveAndQuit = [this] {
      PauseAndSave(program, {});
      End(program);
    };
    program.handOverUpdate = [this](std::int16_t index) {
      program.platform.tasks.Spawn(HandOverUpdate(&program, &unzip, index));
    };
    sim.disk().MakeFolder("/prog/downloads");
    sim.disk().Put("/prog/updater", "x");
  }
  // Downloads a package as the version check does.
  void StartPackage() {
    origin.File("/package.zip", SimContent::Generated(30'000));
    Start("http://o.example/package.zip");
    Record().DownloadKind = 1;
    Record().SavePath = "/prog/downloads/package.zip";
    Record().HasSavePath = true;
  }
  bool RunUntilEnded() {
    return sim.RunUntil([&] { return sim.Ended(); }, 60'000) || sim.Ended();
  }

  SimUnzip unzip;
};

TEST_F(UpdateHandOver, UnpacksStartsTheUpdaterAndEnds) {
  StartPackage();
  sim.Do([&] { WindowOf()->Show(); });
  bool hidden = false;
  unzip.during = [&] { hidden = !WindowOf()->Visible() && !Record().InUse; };
  RunUntilEnded();
  ASSERT_EQ(unzip.unpacked.size(), 1U);
  EXPECT_EQ(unzip.unpacked[0].first, "/prog/downloads/package.zip");
  EXPECT_EQ(unzip.unpacked[0].second, "/prog/temp");
  EXPECT_TRUE(hidden);
  ASSERT_EQ(sim.shell().started.size(), 1U);
  EXPECT_EQ(sim.shell().started[0].first, "/prog/updater");
  EXPECT_TRUE(sim.shell().started[0].second.empty());
  EXPECT_EQ(sim.machine().endCode, 0);
  EXPECT_EQ(sim.disk().Size("/prog/downloads/package.zip"), 30'000U);
  EXPECT_EQ(sim.dialogs().Boxes().size(), 0U);
}

TEST_F(UpdateHandOver, UnpacksTheSavedPackageDespiteARenamingRedirect) {
  origin.Redirect("/package.zip", "http://o.example/mirror/other.zip");
  origin.File("/mirror/other.zip", SimContent::Generated(30'000));
  Start("http://o.example/package.zip");
  Record().DownloadKind = 1;
  Record().SavePath = "/prog/downloads/package.zip";
  Record().HasSavePath = true;
  RunUntilEnded();
  ASSERT_EQ(unzip.unpacked.size(), 1U);
  EXPECT_EQ(sim.disk().Size(unzip.unpacked[0].first), 30'000U);
  EXPECT_EQ(unzip.unpacked[0].first, "/prog/downloads/package.zip");
}

TEST_F(UpdateHandOver, LeavesTheWindowsButtonsUnchanged) {
  program.LangStrings[501] = "text501";
  program.LangStrings[502] = "text502";
  StartPackage();
  std::string captions;
  unzip.during = [&] { captions = WindowOf()->Command1.Caption() + "," + WindowOf()->Command3.Caption(); };
  RunUntilEnded();
  EXPECT_EQ(captions, "text501,text502");
}

TEST_F(UpdateHandOver, ShowsAFailuresNumberAndStillStartsTheUpdater) {
  unzip.result = kUnzipDamaged;
  StartPackage();
  ASSERT_TRUE(RunUntilABoxStands());
  EXPECT_EQ(sim.dialogs().Next().text, "2");
  EXPECT_TRUE(sim.shell().started.empty());
  Answer(kAnswerOk);
  EXPECT_EQ(sim.shell().started.size(), 1U);
  EXPECT_EQ(sim.machine().endCode, 0);
}

TEST_F(UpdateHandOver, EndsEvenWithoutAnUpdater) {
  sim.disk().Lose("/prog/updater");
  StartPackage();
  RunUntilEnded();
  EXPECT_EQ(sim.machine().endCode, 0);
  EXPECT_EQ(unzip.unpacked.size(), 1U);
}

TEST_F(UpdateHandOver, PausesAndSavesOtherDownloads) {
  origin.File("/other.bin", SimContent::Generated(5'000'000, 2));
  HttpFault slow;
  slow.wire.bytesPerSecond = 20'000;
  origin.Always(slow);
  Start("http://o.example/other.bin");
  sim.RunFor(3'000);
  origin.NoFaults();
  origin.File("/package.zip", SimContent::Generated(30'000));
  const std::int16_t package = Start("http://o.example/package.zip");
  Record(package).DownloadKind = 1;
  RunUntilEnded();
  EXPECT_EQ(sim.machine().endCode, 0);
  EXPECT_TRUE(Record(1).Paused);
  EXPECT_FALSE(Record(1).Active);
}

TEST_F(UpdateHandOver, KeepsThePackagesNameIfItsSlotIsRefilled) {
  StartPackage();
  sim.disk().FailWhere([](DiskCall call, const std::string&) { return call == DiskCall::CreateFolder; });
  program.handOverUpdate = [this](std::int16_t index) {
    program.platform.tasks.Spawn(HandOverUpdate(&program, &unzip, index));
    program.TransferWindowAt(index).reset();
    Record(index).FileName = "other.bin";
  };
  RunUntilEnded();
  ASSERT_EQ(unzip.unpacked.size(), 1U);
  EXPECT_EQ(unzip.unpacked[0].first, "/prog/downloads/package.zip");
}

TEST(AppUpdateHandOver, UnpacksWithTheGivenLibrary) {
  SimPlatform sim;
  SimUnzip unzip;
  sim.platform().unzip = &unzip;
  App app(sim.platform());
  sim.Do([&] { app.Start(); });
  sim.RunFor(10);
  app.program().ResizeDownloads(1);
  app.program().Download(1).FileName = "p.zip";
  app.program().Download(1).InUse = true;
  sim.Do([&] { app.program().handOverUpdate(1); });
  sim.RunFor(10);
  ASSERT_EQ(unzip.unpacked.size(), 1U);
  EXPECT_EQ(unzip.unpacked[0].first, "/prog/downloads/p.zip");
  EXPECT_EQ(sim.machine().endCode, 0);
  sim.DropProgram();
}

TEST(AppUpdateHandOver, LeavesAPackageAloneWithoutALibrary) {
  SimPlatform sim;
  App app(sim.platform());
  EXPECT_FALSE(app.program().handOverUpdate);
}

TEST(AppViewers, AreNotCreatedByLoadingALanguage) {
  SimPlatform sim;
  App app(sim.platform());
  sim.Do([&] { app.Start(); });
  sim.RunFor(10);
  for (const std::shared_ptr<Window>& window : app.program().languageWindows()) {
    EXPECT_NE(window->TypeName, "Form2");
    EXPECT_NE(window->TypeName, "Extract");
  }
  EXPECT_TRUE(app.program().newZipViewer);
  sim.DropProgram();
}

TEST_F(UpdateHandOver, UnpacksIntoTheDataFolderAndStartsTheUpdaterBesideTheProgram) {
  sim.disk().MakeFolder("/data");
  sim.machine().dataFolder = "/data";
  StartPackage();
  EXPECT_TRUE(RunUntilEnded()) << sim.Replay();
  ASSERT_EQ(unzip.unpacked.size(), 1U);
  EXPECT_EQ(unzip.unpacked[0].second, "/data/temp");
  ASSERT_EQ(sim.shell().started.size(), 1U);
  EXPECT_EQ(sim.shell().started[0].first, "/prog/updater");
}

}  // namespace
}  // namespace pellora
