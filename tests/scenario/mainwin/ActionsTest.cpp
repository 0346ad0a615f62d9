#include "MainWindowFixture.h"
#include "core/ListFile.h"

namespace pellora {
namespace {

class Actions : public MainWindowFixture {
 protected:
  void SetUp() override {
    Start();
    program().settings.CheckClipboard = false;
    program().settings.MaxSimulDownlads = 99;
  }
  void Run(int action) {
    Do([&] { window().RunAction(action); });
  }
  // Adds a current download and selects its row.
  std::int16_t Selected(const std::function<void(DownloadRecord&)>& change = {}) {
    const std::int16_t index = Record("http://h/" + std::to_string(program().DownloadCount) + ".zip", change);
    window().RefreshRows(0, 1);
    EXPECT_TRUE(Select(window().ListView1, index));
    return index;
  }
};

// kAdd is tested with its dialog.

TEST_F(Actions, DeleteRemovesAStoppedRecordWithoutAsking) {
  const std::int16_t index = Selected();
  FakeTransfer& transfer = Transferring(index);
  Rec(index).Active = false;
  const std::uint32_t serial = program().Serial(index);
  Run(MainWindow::kDelete);
  EXPECT_EQ(Box(), "");
  EXPECT_TRUE(transfer.unloaded);
  EXPECT_EQ(InSlot(index), nullptr);
  EXPECT_FALSE(Rec(index).InUse);
  EXPECT_FALSE(Rec(index).Valid);
  EXPECT_TRUE(Rec(index).Removed);
  EXPECT_NE(program().Serial(index), serial);
  Settle();
  EXPECT_TRUE(window().ListView1.Rows().empty());
}

TEST_F(Actions, DeleteAsksAboutARunningRecord) {
  const std::int16_t index = Selected([](auto& r) { r.Active = true; });
  Run(MainWindow::kDelete);
  EXPECT_EQ(Box(), Text(411));
  EXPECT_EQ(sim.dialogs().Next().style, kYesNo | kQuestion);
  Answer(kAnswerNo);
  EXPECT_TRUE(Rec(index).InUse);
  Run(MainWindow::kDelete);
  Answer(kAnswerYes);
  EXPECT_FALSE(Rec(index).InUse);
  EXPECT_FALSE(Rec(index).Active);
}

TEST_F(Actions, DeleteKeepsPartFilesWhileTheProgramEndsByAFailure) {
  Selected([](auto& r) {
    r.Segments.resize(2);
    r.SegmentCount = 1;
    r.Segments[1].RangeEnd = 4;
    r.Segments[1].RangeSize = 5;
    r.Segments[1].TempFile = "/tmp/a.zip001.tmp";
  });
  sim.disk().Put("/tmp/a.zip001.tmp", "bytes");
  Do([&] { program().EndWithFailure("another part file"); });
  Run(MainWindow::kDelete);
  EXPECT_TRUE(sim.disk().Has("/tmp/a.zip001.tmp"));
}

TEST_F(Actions, DeleteTouchesNothingIfTheSlotWasRefilled) {
  const std::int16_t index = Selected([](auto& r) { r.Active = true; });
  Run(MainWindow::kDelete);
  Rec(index).InUse = false;
  Rec(index).Active = false;
  program().RaiseSerial(index);
  Add("http://h/new.zip");
  ASSERT_EQ(Rec(index).URL, "http://h/new.zip");
  Answer(kAnswerYes);
  EXPECT_TRUE(Rec(index).InUse);
}

TEST_F(Actions, DeleteRemovesARecordThatJustFinishedFromBothLists) {
  const std::int16_t index = Selected([](auto& r) { r.Active = true; });
  Run(MainWindow::kDelete);
  Rec(index).Active = false;
  Rec(index).Finished = true;
  window().RefreshDownList();
  Answer(kAnswerYes);
  EXPECT_TRUE(window().ListView2.Rows().empty());
  EXPECT_FALSE(Rec(index).InUse);
}

TEST_F(Actions, DeleteIgnoresASecondRequestWhileItAsks) {
  Selected([](auto& r) { r.Active = true; });
  Run(MainWindow::kDelete);
  Run(MainWindow::kDelete);
  EXPECT_EQ(sim.dialogs().OpenCount(), 1U);
}

void HasAPart(DownloadRecord& record) {
  record.Segments.resize(2);
  record.SegmentCount = 1;
  record.Segments[1].TempFile = "/t/a.zip001.tmp";
  record.Segments[1].ReceivedTotal = 1;
  record.Segments[1].RangeStart = 1;
  record.Segments[1].RangeEnd = 8;
  record.Segments[1].RangeSize = 9;
}

// After a kill right after the parts' deletion the next start must not find a record that needs them.
TEST_F(Actions, DeleteAndResetSaveTheListBeforeRemovingPartFiles) {
  for (const MainWindow::Action action : {MainWindow::kDelete, MainWindow::kResetList}) {
    sim.disk().Put("/t/a.zip001.tmp", "x");
    Selected(HasAPart);
    sim.RunFor(6000);
    Run(action);
    if (action == MainWindow::kResetList) Answer(kAnswerYes);
    EXPECT_FALSE(sim.disk().Has("/t/a.zip001.tmp")) << action;
    Program after(sim.platform());
    LoadList(after);
    for (int i = 1; i <= after.DownloadCount; ++i) EXPECT_FALSE(after.Download(i).InUse) << action;
  }
}

TEST_F(Actions, DeleteKeepsPartFilesIfTheListCannotBeSaved) {
  sim.disk().Put("/t/a.zip001.tmp", "x");
  Selected(HasAPart);
  sim.RunFor(6000);
  sim.disk().FailWhere(
      [](DiskCall call, const std::string& path) { return call == DiskCall::Write && path.ends_with("Pellora.dat"); });
  Run(MainWindow::kDelete);
  EXPECT_TRUE(sim.disk().Has("/t/a.zip001.tmp"));
}

TEST_F(Actions, DeleteRemovesOnlyTheRecordsPartFiles) {
  sim.disk().Put("/t/own001.tmp", "x");
  sim.disk().Put("/t/shared002.tmp", "x");
  sim.disk().Put("/t/letter.txt", "x");
  Record("http://h/other", [](auto& r) {
    r.Segments.resize(2);
    r.Segments[1].TempFile = "/t/shared002.tmp";
  });
  Selected([](auto& r) {
    r.Segments.resize(4);
    r.Segments[1].TempFile = "/t/own001.tmp";
    r.Segments[2].TempFile = "/t/shared002.tmp";
    r.Segments[3].TempFile = "/t/letter.txt";
  });
  Run(MainWindow::kDelete);
  EXPECT_FALSE(sim.disk().Has("/t/own001.tmp"));
  EXPECT_TRUE(sim.disk().Has("/t/shared002.tmp"));
  EXPECT_TRUE(sim.disk().Has("/t/letter.txt"));
}

// A damaged list, or one from elsewhere, can name any file.
TEST_F(Actions, DeleteKeepsFilesThatDoNotCountAsParts) {
  const std::vector<std::string> names = {"/t/letter.tmp", "/t/several001.tmp", "/t/another002.tmp"};
  for (const std::string& name : names) sim.disk().Put(name, "kept");
  sim.disk().PutSecondName("/t/second", "/t/several001.tmp");
  sim.disk().GiveToAnother("/t/another002.tmp");
  sim.disk().Put("/t/target", "kept");
  sim.disk().PutLink("/t/link003.tmp", "/t/target");
  Selected([&](auto& r) {
    r.Segments.resize(5);
    for (std::size_t i = 0; i < names.size(); ++i) r.Segments[i + 1].TempFile = names[i];
    r.Segments[4].TempFile = "/t/link003.tmp";
  });
  Run(MainWindow::kDelete);
  for (const std::string& name : names) EXPECT_TRUE(sim.disk().Holds(name, "kept")) << name;
  EXPECT_TRUE(sim.disk().HasLink("/t/link003.tmp"));
  EXPECT_TRUE(sim.disk().Holds("/t/target", "kept"));
}

TEST_F(Actions, DeleteAndPauseDoNothingWithoutASelection) {
  const std::int16_t index = Record("http://h/a.zip");
  FakeTransfer& transfer = Transferring(index);
  Run(MainWindow::kDelete);
  Run(MainWindow::kPause);
  EXPECT_TRUE(Rec(index).InUse);
  EXPECT_EQ(transfer.pauses, 0);
}

TEST_F(Actions, IgnoreARowWhoseRecordIsGone) {
  const std::int16_t index = Selected();
  Rec(index).InUse = false;
  Run(MainWindow::kDelete);
  Do([&] { window().ListView1.DoubleClick(); });
  EXPECT_FALSE(Rec(index).Removed);
  EXPECT_TRUE(transfers.empty());
}

TEST_F(Actions, QuitEndsAtOnceWithAnEmptyList) {
  Run(MainWindow::kQuit);
  EXPECT_EQ(Box(), "");
  EXPECT_EQ(sim.machine().endCode, 0);
}

TEST_F(Actions, QuitAsksIfAnyRecordIsInUseEvenAFinishedOne) {
  Finished("a.zip");
  Run(MainWindow::kQuit);
  EXPECT_EQ(Box(), Text(410));
  EXPECT_EQ(sim.dialogs().Next().style, kYesNo | kQuestion);
  Answer(kAnswerNo);
  EXPECT_FALSE(sim.Ended());
  Run(MainWindow::kQuit);
  Answer(kAnswerYes);
  EXPECT_EQ(sim.machine().endCode, 0);
}

TEST_F(Actions, PausePausesTheSelectedRunningRecord) {
  const std::int16_t index = Selected();
  FakeTransfer& transfer = Transferring(index);
  Run(MainWindow::kPause);
  EXPECT_EQ(transfer.pauses, 1);
  Run(MainWindow::kPause);  // no longer active
  EXPECT_EQ(transfer.pauses, 1);
}

TEST_F(Actions, PauseAllPausesEveryRunningRecordWithATransfer) {
  FakeTransfer& first = Transferring(Record("http://h/a"));
  FakeTransfer& second = Transferring(Record("http://h/b"));
  FakeTransfer& probing = Transferring(Record("http://h/c"));
  Rec(3).Active = false;
  Record("http://h/d", [](auto& r) { r.Active = true; });
  Run(MainWindow::kPauseAll);
  EXPECT_EQ(first.pauses, 1);
  EXPECT_EQ(second.pauses, 1);
  EXPECT_EQ(probing.pauses, 0);
}

TEST_F(Actions, ResumeAllStartsEveryWaitingRecordAndQueuesTheRest) {
  program().settings.MaxSimulDownlads = 2;
  Record("http://h/a", [](auto& r) { r.Paused = true; });
  Record("http://h/b", [](auto& r) { r.Finished = true; });
  Record("http://h/c", [](auto& r) { r.Scheduled = 1; });
  Record("http://h/d", [](auto& r) { r.ConnectState = "1"; });
  Record("http://h/e");
  Record("http://h/f", [](auto& r) { r.InUse = false; });
  Run(MainWindow::kResumeAll);
  EXPECT_TRUE(Rec(1).Active);
  EXPECT_FALSE(Rec(1).Paused);
  EXPECT_FALSE(Rec(2).Active);
  EXPECT_TRUE(Rec(3).Active);
  EXPECT_EQ(Rec(4).Queued, 1);
  EXPECT_EQ(Rec(5).Queued, 1);
  EXPECT_EQ(Rec(6).Queued, 0);
}

TEST_F(Actions, ResumeAllSkipsARecordWithoutAHost) {
  Record("", [](auto& r) { r.Host = "", r.ConnectState = "1"; });
  Run(MainWindow::kResumeAll);
  EXPECT_TRUE(transfers.empty());
}

TEST_F(Actions, ResumeAllStopsAtPauseAll) {
  for (int i = 1; i <= 5; ++i) {
    FakeTransfer& transfer = Transferring(Record("http://h/" + std::to_string(i)));
    Rec(i).Active = false;
    transfer.busyFor = 1600;
  }
  Run(MainWindow::kResumeAll);
  sim.RunFor(2000);
  EXPECT_TRUE(Rec(2).Active);
  EXPECT_FALSE(Rec(3).Active);
  Run(MainWindow::kPauseAll);
  sim.RunFor(20000);
  EXPECT_EQ(program().ActiveCount(), 0);
  EXPECT_EQ(sim.tasks().RunningTasks(), 0U);
}

TEST_F(Actions, ResumeAllStopsAtAReset) {
  for (int i = 1; i <= 5; ++i) {
    FakeTransfer& transfer = Transferring(Record("http://h/" + std::to_string(i)));
    Rec(i).Active = false;
    transfer.busyFor = 1600;
  }
  Run(MainWindow::kResumeAll);
  Run(MainWindow::kResetList);
  Answer(kAnswerYes);
  Add("http://h/new");
  sim.RunFor(20000);
  EXPECT_EQ(program().DownloadCount, 1);
  EXPECT_FALSE(Rec(1).Active);
}

TEST_F(Actions, BrowserDoesNothing) {
  const std::int16_t index = Selected();
  Run(MainWindow::kBrowser);
  Do([&] { window().Toolbar1.ClickButton("Browser"); });
  EXPECT_TRUE(Rec(index).InUse);
  EXPECT_EQ(sim.dialogs().Boxes().size(), 0U);
  EXPECT_EQ(sim.windows().Count("options"), 0U);
}

TEST_F(Actions, OptionsOpenTheirDialog) {
  Start();
  Run(MainWindow::kOptions);
  EXPECT_EQ(sim.windows().Count("options"), 1U);
}

TEST_F(Actions, ResetAsksNothingIfAllFilesAreFinished) {
  Finished("a.zip");
  Run(MainWindow::kResetList);
  EXPECT_EQ(sim.dialogs().Boxes().size(), 0U);
  EXPECT_EQ(program().DownloadCount, 0);
  EXPECT_TRUE(window().ListView2.Rows().empty());
  EXPECT_TRUE(sim.disk().Has("/d/a.zip"));
}

TEST_F(Actions, ResetAsksAndEmptiesEverySlot) {
  FakeTransfer& running = Transferring(Record("http://h/a"));
  FakeTransfer& probing = Transferring(Record("http://h/b"));
  Rec(2).Active = false;
  Run(MainWindow::kResetList);
  EXPECT_EQ(Box(), Text(409));
  EXPECT_EQ(sim.dialogs().Next().title, "Question");
  Answer(kAnswerNo);
  EXPECT_EQ(program().DownloadCount, 2);
  Run(MainWindow::kResetList);
  Answer(kAnswerYes);
  EXPECT_EQ(program().DownloadCount, 0);
  EXPECT_EQ(running.pauses, 1);
  EXPECT_EQ(probing.pauses, 0);
  EXPECT_TRUE(running.unloaded);
  EXPECT_TRUE(probing.unloaded);
  AddLater("http://h/c");
  EXPECT_EQ(InSlot(1), nullptr);
}

TEST_F(Actions, EveryMenuEntryRunsItsAction) {
  Selected([](auto& r) { r.Active = true; });
  Do([&] { window().mAddurl.Click(); });
  EXPECT_TRUE(window().form1->Visible());
  Do([&] { window().mDeleteurl.Click(); });
  EXPECT_EQ(Box(), Text(411));
  Answer(kAnswerNo);
  Do([&] { window().mResetlist.Click(); });
  EXPECT_EQ(Box(), Text(409));
  Answer(kAnswerNo);
  Do([&] { window().mExit.Click(); });
  EXPECT_EQ(Box(), Text(410));
  Answer(kAnswerNo);
  FakeTransfer& transfer = Transferring(1);
  Do([&] { window().mPausedl.Click(); });
  EXPECT_EQ(transfer.pauses, 1);
  Do([&] { window().mResumeall.Click(); });
  EXPECT_EQ(transfer.resumes, 1);
  Do([&] { window().mPauseall.Click(); });
  EXPECT_EQ(transfer.pauses, 2);
}

TEST_F(Actions, EveryToolbarKeyRunsItsAction) {
  const auto click = [&](const char* key) { Do([&] { window().Toolbar1.ClickButton(key); }); };
  Selected([](auto& r) { r.Active = true; });
  click("AddURL");
  EXPECT_TRUE(window().form1->Visible());
  click("RemoveURL");
  EXPECT_EQ(Box(), Text(411));
  Answer(kAnswerNo);
  click("ResetList");
  EXPECT_EQ(Box(), Text(409));
  Answer(kAnswerNo);
  click("Quit");
  EXPECT_EQ(Box(), Text(410));
  Answer(kAnswerNo);
  FakeTransfer& transfer = Transferring(1);
  click("PauseDownload");
  EXPECT_EQ(transfer.pauses, 1);
  click("ResumeDownloads");
  EXPECT_EQ(transfer.resumes, 1);
  click("PauseAll");
  EXPECT_EQ(transfer.pauses, 2);
}

TEST_F(Actions, HiddenStripRunsTheActionOfItsIndex) {
  const int numbers[] = {100, 101, 103, 108, 104, 105, 106, 107, 102};
  for (int i = 0; i < window().Command1.Count(); ++i) {
    EXPECT_EQ(window().Command1(i).Tag(), std::to_string(numbers[i]));
    EXPECT_FALSE(window().Command1(i).Visible());
  }
  Finished("a.zip");
  Do([&] { window().Command1(MainWindow::kResetList).Click(); });
  EXPECT_EQ(program().DownloadCount, 0);
}

TEST_F(Actions, PopupEntriesFollowTheRecord) {
  struct {
    bool finished, active, open, resume, stop;
  } const cases[] = {
      {true, false, true, false, false}, {false, true, false, false, true}, {false, false, false, true, false}};
  const std::int16_t index = Selected();
  for (const auto& c : cases) {
    Rec(index).Finished = c.finished;
    Rec(index).Active = c.active;
    Do([&] { window().ListView1.RightClick(); });
    EXPECT_EQ(window().opene.Enabled(), c.open);
    EXPECT_EQ(window().resumed.Enabled(), c.resume);
    EXPECT_EQ(window().stopdl.Enabled(), c.stop);
    EXPECT_TRUE(window().stopall.Enabled());
    EXPECT_TRUE(window().properties.Enabled());
    EXPECT_TRUE(window().delete_.Enabled());
  }
}

TEST_F(Actions, PopupChecksTheScheduleOfAWaitingRecordOnly) {
  const std::int16_t index = Selected([](auto& r) { r.Scheduled = 1; });
  Do([&] { window().ListView1.RightClick(); });
  EXPECT_TRUE(window().shedulded.Checked());
  Rec(index).Scheduled = 0;
  Rec(index).Active = true;
  Do([&] { window().ListView1.RightClick(); });
  EXPECT_TRUE(window().shedulded.Checked());  // unchanged
  Rec(index).Active = false;
  Do([&] { window().ListView1.RightClick(); });
  EXPECT_FALSE(window().shedulded.Checked());
}

TEST_F(Actions, ScheduldedTogglesAWaitingRecordOnly) {
  const std::int16_t index = Selected();
  Do([&] { window().shedulded.Click(); });
  EXPECT_EQ(Rec(index).Scheduled, 1);
  Settle();
  EXPECT_EQ(Row(window().ListView1, index)->icon, "shed");
  Do([&] { window().shedulded.Click(); });
  EXPECT_EQ(Rec(index).Scheduled, 0);
  Rec(index).Active = true;
  Do([&] { window().shedulded.Click(); });
  EXPECT_EQ(Rec(index).Scheduled, 0);
}

TEST_F(Actions, PopupEntriesRunTheirActions) {
  const std::int16_t index = Selected();
  FakeTransfer& transfer = Transferring(index);
  Do([&] { window().stopdl.Click(); });
  EXPECT_EQ(transfer.pauses, 1);
  Do([&] { window().resumed.Click(); });
  EXPECT_EQ(transfer.resumes, 1);
  Do([&] { window().stopall.Click(); });
  EXPECT_EQ(transfer.pauses, 2);
  Do([&] { window().properties.Click(); });
  Do([&] { window().delete_.Click(); });
  EXPECT_FALSE(Rec(index).InUse);
}

TEST_F(Actions, DoubleClickStartsAWaitingRecordOrShowsItsTransfer) {
  const std::int16_t index = Selected();
  Do([&] { window().ListView1.DoubleClick(); });
  ASSERT_NE(InSlot(index), nullptr);
  EXPECT_EQ(InSlot(index)->probes, 1);
  Do([&] { window().sdw.Click(); });
  InSlot(index)->shown = false;
  Do([&] { window().ListView1.DoubleClick(); });
  EXPECT_EQ(InSlot(index)->resumes, 1);
  EXPECT_TRUE(InSlot(index)->shown);  // whatever the menu entry says
}

TEST_F(Actions, DoubleClickQueuesWhileAllSlotsAreBusy) {
  program().settings.MaxSimulDownlads = 0;
  const std::int16_t index = Selected();
  Do([&] { window().ListView1.DoubleClick(); });
  EXPECT_EQ(Rec(index).Queued, 1);
  EXPECT_TRUE(transfers.empty());
}

TEST_F(Actions, DoubleClickOpensAFinishedFileInItsFolder) {
  const std::int16_t index = Finished("a.zip");
  ASSERT_TRUE(Select(window().ListView2, index));
  Do([&] { window().ListView2.DoubleClick(); });
  Do([&] { window().openfile2.Click(); });
  ASSERT_EQ(sim.shell().opened.size(), 2U);
  EXPECT_EQ(sim.shell().opened[0], (std::pair<std::string, std::string>("/d/a.zip", "/d")));
}

TEST_F(Actions, ReportAMissingFile) {
  const std::int16_t index = Finished("a.zip", false);
  ASSERT_TRUE(Select(window().ListView2, index));
  Do([&] { window().ListView2.DoubleClick(); });
  EXPECT_EQ(Box(), "a.zip not found. Can't start it");
  EXPECT_EQ(sim.dialogs().Next().style, kCritical);
  EXPECT_TRUE(sim.shell().opened.empty());
}

TEST_F(Actions, DeleteKeysRemoveTheSelectedRow) {
  const std::int16_t current = Selected();
  const std::int16_t finished = Finished("a.zip");
  ASSERT_TRUE(Select(window().ListView2, finished));
  Do([&] { window().ListView1.PressDelete(); });
  Do([&] { window().ListView2.PressDelete(); });
  EXPECT_FALSE(Rec(current).InUse);
  EXPECT_FALSE(Rec(finished).InUse);
  EXPECT_TRUE(Rec(finished).Removed);
  EXPECT_TRUE(sim.disk().Has("/d/a.zip"));
}

TEST_F(Actions, ClearRemovesTheSelectedRowsOnly) {
  Finished("a.zip");
  Finished("b.zip");
  Finished("c.zip");
  window().ListView2.SelectByUser({0, 2});
  Do([&] { window().cleardown2.Click(); });
  EXPECT_EQ(Names(window().ListView2), std::vector<std::string>{"b.zip"});
}

TEST_F(Actions, PopupOfFinishedFilesEnablesOnlyApplicableEntries) {
  const auto offered = [this] {
    Do([&] { window().ListView2.RightClick(); });
    return std::vector<bool>{window().openfile2.Enabled, window().cleardown2.Enabled, window().clearall.Enabled};
  };
  EXPECT_EQ(offered(), (std::vector<bool>{false, false, false}));
  Finished("a.zip");
  EXPECT_EQ(offered(), (std::vector<bool>{false, false, true}));
  window().ListView2.SelectByUser({0});
  EXPECT_EQ(offered(), (std::vector<bool>{true, true, true}));
  window().ListView2.SelectByUser({});
  EXPECT_EQ(offered(), (std::vector<bool>{false, false, true}));
}

TEST_F(Actions, ClearKeepsARecordThatWasStartedAgain) {
  const std::int16_t index = Finished("a.zip");
  window().ListView2.SelectByUser({0});
  Add("http://h/a.zip");
  Answer(kAnswerYes);
  Do([&] { window().cleardown2.Click(); });
  EXPECT_TRUE(Rec(index).InUse);
}

TEST_F(Actions, ClearAllAsksFirst) {
  Finished("a.zip");
  Finished("b.zip");
  Record("http://h/running", [](auto& r) { r.Active = true; });
  Do([&] { window().clearall.Click(); });
  EXPECT_EQ(Box(), Text(408));
  Answer(kAnswerNo);
  EXPECT_EQ(window().ListView2.Rows().size(), 2U);
  Do([&] { window().clearall.Click(); });
  Answer(kAnswerYes);
  EXPECT_TRUE(window().ListView2.Rows().empty());
  EXPECT_TRUE(Rec(3).InUse);
}

TEST_F(Actions, HomePageAndItsLabelOpenTheProjectsSite) {
  Do([&] { window().homepage.Click(); });
  Do([&] { window().Label2.DoubleClick(); });
  EXPECT_EQ(sim.shell().urls, (std::vector<std::string>(2, "http://www.pellora.example/")));
}

TEST_F(Actions, AboutShowsNameAndVersion) {
  Do([&] { window().about.Click(); });
  EXPECT_EQ(Box(), "Pellora !\nVersion : 5.2");
  EXPECT_EQ(sim.dialogs().Next().style, kInformation);
}

TEST_F(Actions, HintsFollowTheMouse) {
  const std::pair<Control*, std::string> hints[] = {
      {&window().ListView1, "Double click on file to start download or see download details."},
      {&window().ListView2, "Double click to open the file"},
      {&window().Command2, "Play the selected file."},
      {&window().Command3, "Stop the playback of the media file"},
      {&window().Label2, "Go on the site of Pellora"},
      {&window().Toolbar1, Text(412)},
  };
  for (const auto& [control, text] : hints) {
    control->MouseMoved();
    EXPECT_EQ(Panel(1), text);
    window().ViewMouseMoved();
    EXPECT_EQ(Panel(1), "Pellora v5.2");
  }
}

}  // namespace
}  // namespace pellora
