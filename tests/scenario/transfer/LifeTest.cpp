// The life of a transfer window: start, pause, resume, cancel, its buttons and its end.
#include "TransferFixture.h"

namespace pellora {
namespace {

class TransferLifecycle : public TransferFixture {
 protected:
  // A slow download of 200,000 bytes in four segments, 3 s after its start.
  void StartSlowly() {
    content = Serve("/a.bin", 200000);
    Wire(10, 10000);
    Start("http://o.example/a.bin");
    sim.RunFor(3000);
    ASSERT_EQ(Record().SegmentCount, 4);
    ASSERT_TRUE(Record().Active);
  }
  SimContent content;
};

TEST_F(TransferLifecycle, StartsIdleAndShowsItsStepsInOrder) {
  Serve("/a.bin", 9000);
  Wire(10, 10000);
  Add("http://o.example/a.bin");
  const auto window = NewTransferWindow(program, 1);
  EXPECT_EQ(window->state.Caption(), "State : Idle");
  program.TransferWindowAt(1) = window;
  sim.Do([&] {
    window->SetRecordIndex(1);
    program.platform.tasks.Spawn(window->InitConnection());
  });
  EXPECT_EQ(Record().ConnectState, "0");
  std::vector<std::string> said{window->state.Caption()};
  sim.RunUntil(
      [&] {
        if (said.back() != window->state.Caption()) said.push_back(window->state.Caption());
        return false;
      },
      10'000);
  const std::vector<std::string> expected = {
      "State : Idle", "Connecting to server...", "text524", "text537", "text534", "text520", "text521"};
  EXPECT_EQ(said, expected);
  EXPECT_EQ(window->Label3.Caption(), "http://o.example/a.bin");
}

TEST_F(TransferLifecycle, TitleIsTheFileNameOrTheHostUntilThereAreFigures) {
  for (const auto& [url, title] :
       {std::pair("http://o.example/x/a.bin", "a.bin"), std::pair("http://o.example/", "o.example")}) {
    TransferRig rig;
    rig.Add(url);
    const auto window = NewTransferWindow(rig.program, 1);
    rig.program.TransferWindowAt(1) = window;
    rig.sim.Do([&] { window->SetRecordIndex(1); });
    EXPECT_EQ(window->Caption(), title);
  }
}

TEST_F(TransferLifecycle, CloseBoxHidesTheWindowAndTheDownloadContinues) {
  StartSlowly();
  const auto window = WindowOf();
  sim.Do([&] { window->ShowWindow(); });
  EXPECT_TRUE(window->Visible());
  window->ViewClosed();
  EXPECT_FALSE(window->Visible());
  EXPECT_TRUE(window->Loaded());
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_TRUE(sim.disk().Holds("/home/u/dl/a.bin", content));
}

TEST_F(TransferLifecycle, PauseFoldsEachSegmentAndKeepsTheFirstPartFileOpen) {
  StartSlowly();
  const std::int32_t received = Record().Received;
  lists.refreshes.clear();
  Click(WindowOf()->Command3);
  EXPECT_FALSE(Record().Active);
  EXPECT_TRUE(Record().Paused);
  EXPECT_EQ(WindowOf()->Command3.Caption(), "Resume Download");
  EXPECT_EQ(sim.network().Open(), 0);
  std::int64_t sum = 0;
  for (int i = 1; i <= 4; ++i) {
    EXPECT_EQ(Segment(i).State, kSegmentPaused);
    EXPECT_EQ(Segment(i).ReceivedNow, 0);
    EXPECT_EQ(Segment(i).RangeStart, (i - 1) * 50000 + Segment(i).ReceivedTotal);
    EXPECT_EQ(WindowOf()->StateS(i - 1).Caption(), "text528");
    sum += Segment(i).ReceivedTotal;
  }
  EXPECT_EQ(sum, received);
  EXPECT_EQ(Broken(), "");
  ASSERT_EQ(lists.refreshes.size(), 1U);
  EXPECT_EQ(lists.refreshes[0].index, 0);
  EXPECT_NE(lists.refreshes[0].force, 0);
  // Only the files opened by the other sockets are opened anew after the resume.
  std::map<std::string, int> opened;
  sim.disk().FailWhere([&](DiskCall call, const std::string& path) {
    if (call == DiskCall::Open) ++opened[path];
    return false;
  });
  Click(WindowOf()->Command3);
  EXPECT_EQ(WindowOf()->Command3.Caption(), "Pause Download");
  EXPECT_TRUE(Record().Active);
  sim.RunUntil([&] { return Segment(4).ReceivedNow > 0 && Segment(1).ReceivedNow > 0; });
  EXPECT_EQ(opened["/home/u/tmp/a.bin004.tmp"], 1);
  // Re-opened behind its first write, since more than a second has passed, and not opened before it.
  EXPECT_EQ(opened["/home/u/tmp/a.bin001.tmp"], 1);
}

TEST_F(TransferLifecycle, ResumeRequestsTheMissingRangeWithoutAProbeAndAppends) {
  content = Serve("/a.bin", 5000);
  HttpFault fault = Hang(1000);
  origin.OnConnection(2, fault);
  Start("http://o.example/a.bin");
  sim.RunUntil([&] { return Record().Received == 1000; }, 10'000);
  Pause();
  EXPECT_EQ(Segment(1).RangeStart, 1000);
  EXPECT_EQ(Segment(1).ReceivedTotal, 1000);
  EXPECT_EQ(Segment(1).ReceivedNow, 0);
  Resume();
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  ASSERT_EQ(origin.Requests().size(), 3U);
  EXPECT_EQ(origin.Requests()[2].Header("Range"), "bytes=1000-4999");
  EXPECT_EQ(Output(), content.All());
}

TEST_F(TransferLifecycle, ResumeOfARunningOrFinishedDownloadDoesNothing) {
  StartSlowly();
  const DownloadRecord running = Record();
  const int connections = origin.Connections();
  Resume();
  EXPECT_TRUE(Record() == running);
  EXPECT_EQ(origin.Connections(), connections);
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  sim.RunFor(1000);
  const DownloadRecord finished = Record();
  const int atEnd = origin.Connections();
  Resume();
  sim.RunFor(30'000);
  EXPECT_TRUE(Record() == finished);
  EXPECT_EQ(origin.Connections(), atEnd);
}

TEST_F(TransferLifecycle, PauseOfAPausedOrFinishedDownloadDoesNothing) {
  StartSlowly();
  Pause();
  const DownloadRecord paused = Record();
  lists.refreshes.clear();
  Pause();
  EXPECT_TRUE(Record() == paused);
  EXPECT_TRUE(lists.refreshes.empty());
  Resume();
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  sim.RunFor(1000);
  const DownloadRecord finished = Record();
  Pause();
  EXPECT_TRUE(Record() == finished);
}

TEST_F(TransferLifecycle, Command1DoesNothingBeforeTheDownloadFinishes) {
  StartSlowly();
  WindowOf()->Command1.Caption = "Open File";
  Click(WindowOf()->Command1);
  EXPECT_TRUE(sim.shell().opened.empty());
  EXPECT_TRUE(Record().Active);
}

TEST_F(TransferLifecycle, FinishedWindowOpensTheFileAndItsFolder) {
  StartSlowly();
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  sim.RunFor(1000);
  EXPECT_EQ(WindowOf()->FinishedMode, 1);
  Click(WindowOf()->Command1);
  Click(WindowOf()->Command3);
  ASSERT_EQ(sim.shell().opened.size(), 2U);
  EXPECT_EQ(sim.shell().opened[0], std::make_pair(std::string("/home/u/dl/a.bin"), std::string("/home/u/dl")));
  EXPECT_EQ(sim.shell().opened[1].first, "/home/u/dl");
}

TEST_F(TransferLifecycle, CancelPausesTheRecordAndLeavesNothingRunning) {
  StartSlowly();
  Click(WindowOf()->Command2);
  EXPECT_TRUE(Record().Paused);
  EXPECT_TRUE(Record().InUse);
  EXPECT_EQ(WindowOf(), nullptr);
  sim.RunFor(1000);
  EXPECT_TRUE(NothingRuns());
  EXPECT_TRUE(sim.RunUntilIdle(60'000));
}

TEST_F(TransferLifecycle, CancelledDownloadResumesFromTheListToTheSameFile) {
  StartSlowly();
  Click(WindowOf()->Command2);
  StartListed(1);
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(Output(), content.All());
  EXPECT_EQ(Record().Received, 200000);
}

TEST_F(TransferLifecycle, CancelOfAFinishedWindowOnlyClosesIt) {
  StartSlowly();
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  sim.RunFor(1000);
  const DownloadRecord finished = Record();
  Click(WindowOf()->Command2);
  EXPECT_TRUE(Record() == finished);
  EXPECT_TRUE(sim.RunUntilIdle(60'000));
  EXPECT_TRUE(NothingRuns());
}

TEST_F(TransferLifecycle, Command4SwitchesBetweenShortAndLongForm) {
  StartSlowly();
  program.languageRead = true;
  const auto window = WindowOf();
  const int longForm = window->Height;
  Click(window->Command4);
  EXPECT_EQ(window->Command4.Tag(), "Show");
  EXPECT_EQ(window->Command4.Caption(), "text516");
  EXPECT_TRUE(window->DetailsHidden);
  EXPECT_TRUE(window->DisplayIdle);
  EXPECT_EQ(window->Height(), longForm / 2);
  Click(window->Command4);
  EXPECT_EQ(window->Command4.Tag(), "Hide");
  EXPECT_EQ(window->Command4.Caption(), "text515");
  EXPECT_FALSE(window->DetailsHidden);
  EXPECT_FALSE(window->DisplayIdle);
  EXPECT_EQ(window->Height(), longForm);
}

TEST_F(TransferLifecycle, MinimisedWindowIsIdleUntilRestored) {
  StartSlowly();
  const auto window = WindowOf();
  window->ViewDeactivated();
  EXPECT_FALSE(window->DisplayIdle);  // not minimised
  window->ViewStateChanged(WindowState::Minimised);
  window->ViewDeactivated();
  EXPECT_TRUE(window->DisplayIdle);
  window->ViewActivated();
  EXPECT_TRUE(window->DisplayIdle);
  window->ViewStateChanged(WindowState::Normal);
  window->ViewActivated();
  EXPECT_FALSE(window->DisplayIdle);
}

TEST_F(TransferLifecycle, UnloadedWindowIsNotShownAgain) {
  StartSlowly();
  const auto window = WindowOf();
  Click(window->Command2);
  sim.Do([&] { window->ShowWindow(); });
  EXPECT_FALSE(window->Loaded());
}

TEST_F(TransferLifecycle, HiddenWindowUnloadsWhenItsSlotIsRefilled) {
  HttpFault silent;
  silent.wire.hangAfterAccept = true;
  Serve("/a.bin", 9000);
  for (const bool paused : {true, false}) {
    origin.Always(silent);
    const std::int16_t index = Start("http://o.example/a.bin");
    sim.RunFor(3000);
    if (paused) Pause(index);
    const std::shared_ptr<TransferWindow> window = WindowOf(index);
    Refill(index, "http://o.example/a.bin");
    sim.Do([&] { window->HideWindow(); });
    sim.RunReady();
    EXPECT_FALSE(window->Loaded());
    EXPECT_EQ(sim.network().Open(), 0);
  }
}

TEST_F(TransferLifecycle, HiddenWindowContinuesWhileItHasItsSlot) {
  StartSlowly();
  const auto window = WindowOf();
  sim.Do([&] { window->HideWindow(); });
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_TRUE(window->Loaded());
}

TEST_F(TransferLifecycle, ProgramCanEndAtAnyMoment) {
  for (const std::uint64_t moment : {0U, 15U, 40U, 130U, 300U, 900U, 1500U}) {
    TransferRig rig;
    SimHttpServer server(rig.sim.network(), "o.example");
    server.File("/a.bin", SimContent::Generated(200000));
    rig.Start("http://o.example/a.bin");
    rig.sim.RunFor(moment);
    rig.sim.DropProgram();
    EXPECT_EQ(rig.sim.tasks().RunningTasks(), 0U) << moment;
    EXPECT_TRUE(rig.sim.windows().Loaded().empty()) << moment;
  }
}

}  // namespace
}  // namespace pellora
