#include "MainWindowFixture.h"
#include "core/ListCodec.h"
#include "core/ListFile.h"

namespace pellora {
namespace {

using StartStop = MainWindowFixture;

TEST_F(StartStop, CreatesTheFoldersAndSavesTheProgramsFolder) {
  Start();
  for (const char* folder : {"/home/u/Documents/Pellora/downloads/a", "/home/u/Documents/Pellora/temp/a"}) {
    EXPECT_NO_THROW((void)sim.disk().Open(folder, FileKind::Output)) << folder;
  }
  EXPECT_EQ(sim.settings().Get("Pellora", "AppPath"), "/prog");
}

TEST_F(StartStop, CreatesTheFoldersAtTheRootWithoutADocumentsFolder) {
  sim.machine().documentsFolder = "";
  Start();
  EXPECT_EQ(program().settings.DownloadFolder, "/Pellora/downloads/");
  EXPECT_NO_THROW((void)sim.disk().Open("/Pellora/downloads/a", FileKind::Output));
  EXPECT_NO_THROW((void)sim.disk().Open("/Pellora/temp/a", FileKind::Output));
}

TEST_F(StartStop, ShowsTheWindowWithItsVersionAndLoadsTheAddDialogHidden) {
  Start();
  EXPECT_TRUE(window().Visible());
  EXPECT_EQ(Panel(1), "Pellora v5.2");
  EXPECT_TRUE(window().form1->Loaded());
  EXPECT_FALSE(window().form1->Visible());
  EXPECT_TRUE(program().ShowTransferWindow);
  EXPECT_TRUE(window().sdw.Checked);
}

TEST_F(StartStop, StartsAnExistingUpdaterWithFiveArguments) {
  sim.disk().Put("/prog/UpdateApp", SimContent(std::string("x")));
  Start();
  ASSERT_EQ(sim.shell().started.size(), 1U);
  EXPECT_EQ(sim.shell().started[0].first, "/prog/UpdateApp");
  EXPECT_EQ(sim.shell().started[0].second,
            (std::vector<std::string>{"Pellora", "2", "5.2.0", "update.pellora.example", "false"}));
}

TEST_F(StartStop, RunsWithoutAnUpdaterAndWithoutALanguageFile) {
  sim.disk().Lose("/prog/english.txt");
  Start();
  EXPECT_TRUE(sim.shell().started.empty());
  EXPECT_TRUE(window().Visible());
  EXPECT_EQ(window().mAddurl.Caption(), "&Add URL");
}

TEST_F(StartStop, ContinuesAfterASettingThatDoesNotConvert) {
  sim.settings().values[{"Pellora", "SaveAs"}] = "maybe";
  Start();
  EXPECT_TRUE(window().Visible());
  EXPECT_EQ(program().settings.MaxSimulDownlads, 0);
}

TEST_F(StartStop, CloseBoxHidesTheWindowWhileTransfersAndSavesContinue) {
  Start();
  const std::int16_t index = Record("http://h/a.zip");
  FakeTransfer& transfer = Transferring(index);
  window().ViewClosed();
  EXPECT_FALSE(window().Visible());
  EXPECT_TRUE(window().Loaded());
  EXPECT_EQ(transfer.pauses, 0);
  const std::uint64_t written = sim.disk().BytesWritten();
  sim.RunFor(5000);
  EXPECT_GT(sim.disk().BytesWritten(), written);
  Do([&] { app->ShowMainWindow(); });
  EXPECT_TRUE(window().Visible());
  EXPECT_EQ(sim.windows().Record(window()).raised, 1);
}

TEST_F(StartStop, SavesEveryFiveSecondsOnlyOnceTheListWasRead) {
  Start();
  const std::uint64_t calls = sim.disk().BytesWritten();
  sim.RunFor(4900);
  EXPECT_EQ(sim.disk().BytesWritten(), calls);
  sim.RunFor(200);
  EXPECT_EQ(sim.disk().BytesWritten(), calls + 98);
}

TEST_F(StartStop, LoadsARunningDownloadAsPausedAfterACleanQuit) {
  Start();
  const std::int16_t index = Record("http://h/a.zip");
  FakeTransfer& transfer = Transferring(index);
  Do([&] { app->SaveAndQuit(); });
  EXPECT_EQ(sim.machine().endCode, 0);
  EXPECT_EQ(transfer.pauses, 1);
  EXPECT_TRUE(transfer.unloaded);

  OtherRun next(SimOptions{.disk = sim.disk().TakeState()});
  next.Start();
  ASSERT_EQ(next.app.program().DownloadCount, 1);
  EXPECT_FALSE(next.app.program().Download(1).Active);
  EXPECT_TRUE(next.app.program().Download(1).Paused);
  EXPECT_EQ(next.app.List().at(0).state, "paused");
}

TEST_F(StartStop, LoadsARunningDownloadAsPausedAfterACrash) {
  Start();
  Transferring(Record("http://h/a.zip"));
  sim.RunFor(5100);
  OtherRun next(SimOptions{.disk = sim.disk().TakeState()});
  next.Start(3000);
  ASSERT_EQ(next.app.program().DownloadCount, 1);
  EXPECT_FALSE(next.app.program().Download(1).Active);
  EXPECT_TRUE(next.app.program().Download(1).Paused);
}

TEST_F(StartStop, KeepsADownloadThatWasAddedHalfASecondBeforeACrash) {
  Start();
  sim.RunFor(5100);
  Do([&] { app->Add({.url = "http://h/a.zip", .later = true}, [](const AddAnswer&) {}); });
  sim.RunFor(600);
  OtherRun next(SimOptions{.disk = sim.disk().TakeState()});
  next.Start(3000);
  ASSERT_EQ(next.app.program().DownloadCount, 1);
  EXPECT_EQ(next.app.program().Download(1).URL, "http://h/a.zip");
}

TEST_F(StartStop, PausesOnlyRunningDownloadsAndSavesLast) {
  Start();
  FakeTransfer& running = Transferring(Record("http://h/a.zip"));
  FakeTransfer& probing = Transferring(Record("http://h/b.zip"));
  Rec(2).Active = false;
  Do([&] { app->SaveAndQuit(); });
  EXPECT_EQ(running.pauses, 1);
  EXPECT_EQ(probing.pauses, 0);
  EXPECT_EQ(program().TransferWindowAt(1), nullptr);
  EXPECT_NE(program().TransferWindowAt(2), nullptr);
}

TEST_F(StartStop, EndsOnceAndSavesNothingAfterwards) {
  Start();
  Do([&] { app->SaveAndQuit(); });
  const std::uint64_t written = sim.disk().BytesWritten();
  app->SaveAndQuit();
  sim.RunFor(20000);
  EXPECT_EQ(sim.disk().BytesWritten(), written);
}

TEST_F(StartStop, ReportsAFailureAndKeepsTheListAsLastSaved) {
  const std::string reason = "/home/u/Documents/Pellora/temp/a.zip001.tmp: no space left on the device";
  Start();
  Record("http://h/a.zip");
  sim.RunFor(5100);
  const std::string saved = sim.disk().Get("/prog/Pellora.dat");
  Record("http://h/b.zip");
  Do([&] { program().EndWithFailure(reason); });
  Do([&] { program().EndWithFailure("a consequence"); });
  EXPECT_EQ(Box(), reason);
  sim.RunFor(20000);
  EXPECT_FALSE(sim.Ended());
  Answer(kAnswerOk);
  EXPECT_EQ(sim.machine().endCode, 1);
  EXPECT_EQ(sim.disk().Get("/prog/Pellora.dat"), saved);
}

TEST_F(StartStop, FailureKeepsItsExitCodeDespiteQuit) {
  Start();
  Do([&] { program().EndWithFailure("/home/u/Documents/Pellora/temp/a.zip001.tmp: no space left"); });
  Do([&] { app->SaveAndQuit(); });
  EXPECT_EQ(sim.machine().endCode, 1);
}

TEST_F(StartStop, QuitsDuringAClipboardQuestionWithoutAdding) {
  Start();
  sim.clipboard().text = "http://h/a.zip";
  sim.RunFor(600);
  ASSERT_TRUE(window().wantDown->Visible());
  Do([&] { app->SaveAndQuit(); });
  EXPECT_EQ(program().DownloadCount, 0);
  EXPECT_TRUE(sim.Ended());
}

TEST_F(StartStop, QuitsWhenCodeUnloadsTheWindow) {
  Start();
  Do([&] { window().Unload(); });
  EXPECT_EQ(sim.machine().endCode, 0);
}

TEST_F(StartStop, QueuesUrlsReceivedBeforeTheStartCompletes) {
  sim.Do([&] {
    app->MenuURL("http://h/a.zip", "", "");
    app->Start();
    app->MenuURL("http://h/b.zip", "", "");
  });
  EXPECT_EQ(program().DownloadCount, 0);
  sim.RunFor(1);
  ASSERT_EQ(program().DownloadCount, 2);
  EXPECT_EQ(Rec(1).URL, "http://h/a.zip");
  EXPECT_EQ(Rec(2).URL, "http://h/b.zip");
}

TEST_F(StartStop, ResumesAllAfterTheStartIfRequestedDuringIt) {
  sim.Do([&] {
    app->Start();
    app->ResumeAll();
    // The list that this start loads: one waiting download.
    program().ResizeDownloads(1);
    program().Download(1).InUse = true;
    program().Download(1).Host = "h";
    program().Download(1).FileName = "a.zip";
    program().Download(1).ConnectState = "1";
  });
  EXPECT_TRUE(transfers.empty());
  sim.RunFor(1);
  ASSERT_EQ(transfers.size(), 1U);
  EXPECT_TRUE(Rec(1).Active);
}

TEST_F(StartStop, KeepsAListThatCouldNotBeRead) {
  Start();
  Record("http://h/a.zip");
  sim.RunFor(5100);
  OtherRun next(SimOptions{.disk = sim.disk().TakeState()});
  const std::string before = next.sim.disk().Get("/prog/Pellora.dat");
  next.sim.disk().FailWhere(
      [](DiskCall call, const std::string& path) { return call == DiskCall::Read && path == "/prog/Pellora.dat"; }, 1,
      true);
  next.Start(20000);
  next.sim.disk().NoFaults();
  next.sim.RunFor(20000);
  EXPECT_EQ(next.sim.disk().Get("/prog/Pellora.dat"), before);
}

TEST_F(StartStop, ReadsAListThatIsBrieflyUnavailable) {
  Start();
  Record("http://h/a.zip");
  sim.RunFor(5100);
  OtherRun next(SimOptions{.disk = sim.disk().TakeState()});
  const std::string before = next.sim.disk().Get("/prog/Pellora.dat");
  next.sim.disk().FailWhere(
      [](DiskCall call, const std::string& path) { return call == DiskCall::Exists && path == "/prog/Pellora.dat"; });
  next.Start(20000);
  ASSERT_EQ(next.app.program().DownloadCount, 1);
  EXPECT_EQ(next.app.program().Download(1).URL, "http://h/a.zip");
  EXPECT_EQ(next.sim.disk().Get("/prog/Pellora.dat"), before);
}

TEST_F(StartStop, AcceptsLeechUrlWithAnyArgumentsAndChangesNothing) {
  Start();
  Record("http://h/a.zip");
  const DownloadRecord before = Rec(1);
  for (const char* const url : {"http://h/a.zip", "http://h/b.zip", "no url", ""}) {
    Do([&] { app->LeechURL(url, "http://h/"); });
  }
  sim.RunFor(2000);
  EXPECT_EQ(program().DownloadCount, 1);
  EXPECT_EQ(Rec(1), before);
  EXPECT_TRUE(transfers.empty());
  EXPECT_EQ(Box(), "");
}

TEST_F(StartStop, IgnoresTheReferringPageAndCookieOfARecord) {
  Start();
  Do([&] { app->MenuURL("http://h/a.zip", "http://h/page", "c=1"); });
  ASSERT_EQ(program().DownloadCount, 1);
  const DownloadRecord with = Rec(1);
  EXPECT_EQ(with.URL, "http://h/a.zip");
  EXPECT_EQ(with.Referer, "");
  program().ResizeDownloads(0);
  Do([&] { app->MenuURL("http://h/a.zip", "", ""); });
  ASSERT_EQ(program().DownloadCount, 1);
  DownloadRecord without = Rec(1);
  EXPECT_NE(without.DateAdded, with.DateAdded);  // no two adds have the same, by which scripts name them
  without.DateAdded = with.DateAdded;
  EXPECT_EQ(without, with);
}

TEST_F(StartStop, NeverListsCountsOrStartsTheRecordAtIndexZero) {
  DownloadRecord zero;
  zero.FileName = "a.zip";
  zero.URL = "http://h/a.zip";
  zero.Host = "h";
  zero.Queued = 1;
  zero.InUse = true;
  zero.Active = true;
  for (const bool finished : {false, true}) {
    zero.Finished = finished;
    std::string bytes;
    AppendListHeader(bytes, 0);
    AppendRecord(bytes, zero);
    int started = 0;
    OtherRun next;
    App& other = next.app;
    next.sim.disk().Put("/prog/Pellora.dat", SimContent(bytes));
    other.program().newTransferWindow = [&](std::int16_t) {
      ++started;
      return std::make_shared<FakeTransfer>(other.program());
    };
    next.Start(3000);
    next.sim.Do([&] { other.ResumeAll(); });
    next.sim.RunFor(3000);
    EXPECT_EQ(other.program().Download(0).URL, "http://h/a.zip");
    EXPECT_TRUE(other.mainWindow().ListView1.Rows().empty());
    EXPECT_TRUE(other.mainWindow().ListView2.Rows().empty());
    EXPECT_TRUE(other.List().empty());
    EXPECT_EQ(other.program().ActiveCount(), 0);
    EXPECT_EQ(started, 0);
  }
}

TEST_F(StartStop, ListsEveryRecordInUseWithItsState) {
  Start();
  Record("http://h/0.zip", [](auto& r) { r.Finished = true, r.SavePath = "/d/0.zip", r.Percent = 100; });
  Record("http://h/1.zip", [](auto& r) { r.Active = true, r.SavePath = "/d/1.zip"; });
  Record("http://h/2.zip", [](auto& r) { r.Scheduled = 1; });
  Record("http://h/3.zip", [](auto& r) { r.ConnectState = "1"; });
  Record("http://h/4.zip", [](auto& r) { r.Queued = 1; });
  Record("http://h/5.zip", [](auto& r) { r.Paused = true; });
  Record("http://h/6.zip");
  Record("http://h/7.zip", [](auto& r) { r.InUse = false; });
  const std::vector<DownloadInfo> list = app->List();
  std::vector<std::string> states;
  states.reserve(list.size());
  for (const DownloadInfo& info : list) states.push_back(info.state);
  EXPECT_EQ(states,
            (std::vector<std::string>{"finished", "active", "scheduled", "failed", "queued", "paused", "waiting"}));
  EXPECT_EQ(list[0].savedPath, "/d/0.zip");
  EXPECT_EQ(list[1].savedPath, "");
}

TEST_F(StartStop, SaysOnceThatTheListCannotBeSaved) {
  Start();
  sim.disk().FailWhere(
      [](DiskCall call, const std::string& path) { return call == DiskCall::Write && path == "/prog/Pellora.dat"; }, 1,
      true);
  sim.RunFor(5100);
  EXPECT_TRUE(Box().starts_with(Text(973))) << Box();
  EXPECT_NE(Box().find("/prog/Pellora.dat"), std::string::npos);
  Answer(kAnswerOk);
  sim.RunFor(20000);
  EXPECT_EQ(Box(), "");
  sim.disk().NoFaults();
  sim.RunFor(5100);
  EXPECT_FALSE(program().listUnsaved);
}

TEST_F(StartStop, SaysAtOnceThatTheListCannotBeWritten) {
  sim.disk().FailWhere(
      [](DiskCall call, const std::string& path) { return call == DiskCall::Open && path == "/prog/Pellora.dat"; }, 1,
      true);
  Start();
  EXPECT_TRUE(Box().starts_with(Text(973))) << Box();
}

TEST_F(StartStop, SaysNothingOfTheLastSaveOfAnEndingProgram) {
  Start();
  sim.disk().FailWhere([](DiskCall call, const std::string&) { return call == DiskCall::Write; }, 1, true);
  Do([&] { app->SaveAndQuit(); });
  EXPECT_EQ(Box(), "");
  EXPECT_EQ(sim.machine().endCode, 0);
}

TEST_F(StartStop, LeavesAListBesideTheProgramAloneThatCannotBeCopied) {
  Start();
  Record("http://h/a.zip");
  Do([&] { app->SaveAndQuit(); });
  OtherRun next(SimOptions{.disk = sim.disk().TakeState()});
  next.sim.disk().MakeFolder("/data");
  next.sim.machine().dataFolder = "/data";
  next.sim.disk().FailWhere(
      [](DiskCall call, const std::string& path) { return call == DiskCall::Write && path == "/data/Pellora.dat"; });
  next.Start(6000);
  EXPECT_FALSE(next.app.program().listLoaded);
  EXPECT_FALSE(next.sim.disk().Has("/data/Pellora.dat"));
  ASSERT_GT(next.sim.dialogs().OpenCount(), 0U);
  EXPECT_NE(next.sim.dialogs().Next().text.find("cannot be read"), std::string::npos);
}

TEST_F(StartStop, ReadsTheLanguageOfAnInstalledProgramFromItsFolder) {
  sim.disk().MakeFolder("/usr/share/pellora/languages");
  sim.disk().Put("/usr/share/pellora/languages/english.txt", SimContent(std::string("110=From there\n")));
  sim.machine().languageFolder = "/usr/share/pellora/languages";
  Start();
  EXPECT_EQ(window().mAddurl.Caption(), "From there");
}

TEST_F(StartStop, OpensAnAddressOnceItHasStarted) {
  Do([&] {
    app->Start();
    app->Open({"http://h/a.zip", "nonsense"});
  });
  sim.RunFor(1);
  EXPECT_EQ(program().DownloadCount, 1);
  EXPECT_EQ(Rec(1).URL, "http://h/a.zip");
  EXPECT_EQ(Box(), Text(400));
}

TEST_F(StartStop, ManyAddressesLeaveRoomForOtherEvents) {
  Start();
  program().settings.MaxSimulDownlads = 0;
  std::vector<std::string> addresses;
  for (int i = 0; i < 200; ++i) addresses.push_back("http://h/" + std::to_string(i) + ".zip");
  std::size_t between = 0;
  sim.Do([&] {
    app->Open(addresses);
    sim.platform().events.Post([&] { between = app->List().size(); });
  });
  sim.RunReady();
  EXPECT_GT(between, 0U);
  EXPECT_LT(between, 20U);
  ASSERT_EQ(app->List().size(), 200U);
  for (int i = 0; i < 200; ++i) EXPECT_EQ(Rec(i + 1).URL, addresses[static_cast<std::size_t>(i)]);
}

TEST_F(StartStop, OneAddressOfManyThatFailsHoldsUpNoOther) {
  Start();
  program().settings.MaxSimulDownlads = 0;
  Do([&] { app->Open({"http://h/a.zip", "nonsense", "http://h/b.zip"}); });
  EXPECT_EQ(app->List().size(), 2U);
}

TEST_F(StartStop, AsksForAnAddressOnDemandOfTheDesktop) {
  Start();
  EXPECT_FALSE(window().form1->Visible());
  Do([&] { app->AskForUrl(); });
  EXPECT_TRUE(window().form1->Visible());
}

}  // namespace
}  // namespace pellora
