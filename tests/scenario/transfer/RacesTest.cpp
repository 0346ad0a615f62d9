// What happens at the waits of a transfer: pauses, deletions, refilled slots and ends in between.
#include "TransferFixture.h"
#include "core/ListFile.h"

namespace pellora {
namespace {

class TransferRaces : public TransferFixture {
 protected:
  // A download whose reply makes a box stand, in slot 1.
  void StartWithBox(int status, const std::string& type = "text/html") {
    origin.Page("/a.bin", status, type, "<html></html>");
    Start("http://o.example/a.bin");
    ASSERT_TRUE(RunUntilABoxStands());
  }
};

TEST_F(TransferRaces, PauseDuringSpacingStopsTheLoopAndEnablesTheButton) {
  const SimContent content = Serve("/a.bin", 400000);
  Wire(10, 20000);
  Start("http://o.example/a.bin");
  sim.RunFor(300);  // two connected, two to come; the button is off, the lists are not
  EXPECT_FALSE(WindowOf()->Command3.Enabled());
  Pause();
  sim.RunReady();
  EXPECT_TRUE(WindowOf()->Command3.Enabled());
  const std::size_t connections = sim.network().Log().size();
  sim.RunFor(60'000);
  EXPECT_EQ(sim.network().Log().size(), connections);
  EXPECT_TRUE(Record().Paused);
  for (int i = 1; i <= 4; ++i) EXPECT_EQ(Segment(i).State, kSegmentPaused);
  Click(WindowOf()->Command3);
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(Output(), content.All());
  EXPECT_EQ(Record().Received, 400000);
}

TEST_F(TransferRaces, PauseAndResumeDuringSpacingLeaveOneLoop) {
  const SimContent content = Serve("/a.bin", 400000);
  Wire(10, 20000);
  Start("http://o.example/a.bin");
  sim.RunFor(300);
  Pause();
  Resume();
  const std::size_t before = sim.network().Log().size();
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_LE(sim.network().Log().size(), before + 4);
  EXPECT_EQ(Output(), content.All());
  EXPECT_EQ(Record().Received, 400000);
  sim.RunFor(2'000);
  EXPECT_EQ(sim.tasks().RunningTasks(), 0U);
}

TEST_F(TransferRaces, DeletionDuringSpacingClosesAllAndStopsWriting) {
  Serve("/a.bin", 400000);
  Wire(10, 20000);
  Start("http://o.example/a.bin");
  sim.RunFor(500);
  Delete(1);
  const DownloadRecord deleted = Record();
  sim.RunFor(1'500);
  EXPECT_TRUE(Record() == deleted);
  EXPECT_TRUE(NothingRuns());
  EXPECT_TRUE(sim.RunUntilIdle(60'000));
}

TEST_F(TransferRaces, RefilledSlotIsLeftAloneByTheOldWindow) {
  Serve("/a.bin", 400000);
  const SimContent content = Serve("/b.bin", 50000, 2);
  Wire(10, 20000);
  Start("http://o.example/a.bin");
  sim.RunFor(500);
  Delete(1);
  Refill(1, "http://o.example/b.bin");
  const DownloadRecord filled = Record();
  sim.RunFor(3'000);
  EXPECT_TRUE(Record() == filled);
  EXPECT_TRUE(NothingRuns());
  StartListed(1);
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(Output(), content.All());
}

TEST_F(TransferRaces, ButtonsOfAStaleWindowLeaveTheNewRecordAlone) {
  Serve("/a.bin", 20000);
  Serve("/b.bin", 400000);
  Start("http://o.example/a.bin");
  ASSERT_TRUE(RunUntilFinished());
  sim.RunFor(1'000);
  const auto old = WindowOf();
  Refill(1, "http://o.example/b.bin");
  StartListed(1);
  sim.RunFor(300);
  const auto window = WindowOf();
  const bool active = Record().Active;
  Click(old->Command1);
  Click(old->Command3);
  Click(old->Command2);
  EXPECT_TRUE(sim.shell().opened.empty());
  EXPECT_EQ(WindowOf(), window);
  EXPECT_EQ(Record().Active, active);
  EXPECT_FALSE(Record().Paused);
  EXPECT_FALSE(old->Loaded());
}

TEST_F(TransferRaces, AnswerToABoxLeavesARefilledSlotAlone) {
  struct Case {
    int status;
    std::string type;
    int answer;
  };
  const std::vector<Case> cases = {
      {404, "text/plain", kAnswerOk}, {503, "text/html", kAnswerOk}, {200, "text/html", kAnswerYes},
      {200, "text/html", kAnswerNo},  {0, "", kAnswerYes},           {0, "", kAnswerNo}};
  for (const Case& one : cases) {
    SCOPED_TRACE(std::to_string(one.status) + " " + std::to_string(one.answer));
    TransferRig rig;
    SimHttpServer server(rig.sim.network(), "o.example");
    if (one.status > 0) server.Page("/a.bin", one.status, one.type, "page");
    rig.Start(one.status > 0 ? "http://o.example/a.bin" : "http://nobody.example/a.bin");
    ASSERT_TRUE(rig.RunUntilABoxStands());
    rig.Delete(1);
    rig.Refill(1, "http://o.example/new.bin");
    const DownloadRecord filled = rig.Record();
    rig.Answer(one.answer);
    rig.sim.RunFor(60'000);
    EXPECT_TRUE(rig.Record() == filled);
    EXPECT_TRUE(rig.sim.shell().urls.empty());
    EXPECT_TRUE(rig.sim.dialogs().Boxes().size() == 1U);
    EXPECT_TRUE(rig.sim.RunUntilIdle(1'000));
    EXPECT_TRUE(rig.NothingRuns());
  }
}

TEST_F(TransferRaces, AnswerAfterAListResetIsHarmless) {
  StartWithBox(404, "text/plain");
  sim.Do([&] { program.ResizeDownloads(0); });
  Answer(kAnswerOk);
  sim.RunFor(1'000);
  EXPECT_TRUE(sim.RunUntilIdle(1'000));
  EXPECT_EQ(sim.network().Open(), 0);
}

TEST_F(TransferRaces, SecondQuestionOfAServerErrorLeavesTheNewRecordAlone) {
  StartWithBox(503);
  Answer(kAnswerOk);
  ASSERT_EQ(sim.dialogs().OpenCount(), 1U);
  Refill(1, "http://o.example/new.bin");
  const DownloadRecord filled = Record();
  Answer(kAnswerYes);
  sim.RunFor(1'000);
  EXPECT_TRUE(Record() == filled);
  EXPECT_TRUE(sim.RunUntilIdle(1'000));
  EXPECT_TRUE(NothingRuns());
}

TEST_F(TransferRaces, ServerErrorContinuesUnseenUntilItsSlotIsRefilled) {
  StartWithBox(500, "text/plain");
  origin.NoFaults();
  HttpFault mute;
  mute.wire.hangAfterAccept = true;
  origin.Always(mute);
  Answer(kAnswerOk);
  sim.RunFor(100'000);
  EXPECT_EQ(sim.network().Open(), 1);  // it tries on, for as long as the program runs
  EXPECT_EQ(sim.windows().Count("TransferWindow"), 0U);
  Refill(1, "http://o.example/new.bin");
  sim.RunFor(2'000);
  EXPECT_TRUE(sim.RunUntilIdle(1'000));
  EXPECT_TRUE(NothingRuns());
}

TEST_F(TransferRaces, PauseDuringAServerErrorBoxLeavesNothingRunning) {
  StartWithBox(500, "text/plain");
  const std::weak_ptr<TransferWindow> window = WindowOf();
  Pause();
  Answer(kAnswerOk);
  sim.RunFor(2'000);
  EXPECT_TRUE(NothingRuns());
  EXPECT_TRUE(window.expired());
}

TEST_F(TransferRaces, ServerErrorNeverOverwritesAChosenFile) {
  origin.Page("/a.bin", 500, "text/plain", "error page");
  sim.disk().Put("/home/u/mine.bin", "precious");
  Add("http://o.example/a.bin");
  Record().HasSavePath = true;
  Record().SavePath = "/home/u/mine.bin";
  sim.dialogs().AutoAnswer("", kAnswerOk);
  StartListed(1);
  sim.RunFor(60'000);
  EXPECT_EQ(sim.disk().Get("/home/u/mine.bin"), "precious");
}

TEST_F(TransferRaces, ResumeDuringTheProbeDoesNothing) {
  const SimContent content = Serve("/a.bin", 20000);
  HttpFault slow;
  slow.thinkTime = 3'000;
  origin.OnConnection(1, slow);
  Start("http://o.example/a.bin");
  sim.RunFor(1'000);
  Resume();
  EXPECT_FALSE(Record().Active);
  EXPECT_EQ(sim.network().Open(), 1);
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(origin.Requests().size(), 3U);
  EXPECT_EQ(Output(), content.All());
}

TEST_F(TransferRaces, PauseDuringTheProbeHoldsUntilResumeProbesAgain) {
  const SimContent content = Serve("/a.bin", 20000);
  HttpFault slow;
  slow.thinkTime = 3'000;
  origin.OnConnection(1, slow);
  Start("http://o.example/a.bin");
  sim.RunFor(1'000);
  Click(WindowOf()->Command3);
  sim.RunFor(60'000);
  EXPECT_TRUE(Record().Paused);
  EXPECT_FALSE(Record().Active);
  EXPECT_EQ(sim.network().Open(), 0);
  EXPECT_TRUE(sim.dialogs().Boxes().empty());
  Click(WindowOf()->Command3);
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(Output(), content.All());
}

TEST_F(TransferRaces, ResumeDuringAQuestionWaitsForTheAnswer) {
  Serve("/a.bin", 200000);
  Wire(10, 5000);
  Start("http://o.example/a.bin");
  sim.RunFor(5'000);
  Click(WindowOf()->Command2);
  HttpFault dead;
  dead.wire.hangBeforeAccept = true;
  origin.Always(dead);
  StartListed(1);
  ASSERT_TRUE(RunUntilABoxStands());
  Pause();
  Resume();
  EXPECT_FALSE(Record().Active);
  EXPECT_EQ(sim.network().Open(), 0);
  Answer(kAnswerYes);
  EXPECT_EQ(WindowOf(), nullptr);
  EXPECT_EQ(Broken(), "");
}

TEST_F(TransferRaces, EightSlowConnectionsCompleteWhenWatchAndSpacingCoincide) {
  program.settings.MaxSegments = 8;
  for (const std::uint32_t latency : {40U, 50U, 60U, 75U, 90U, 100U, 110U, 250U, 400U}) {
    for (const std::uint64_t speed : {0U, 30'000U}) {
      SCOPED_TRACE(std::to_string(latency) + " ms, " + std::to_string(speed));
      TransferRig rig;
      rig.program.settings.MaxSegments = 8;
      SimHttpServer server(rig.sim.network(), "o.example");
      const SimContent content = SimContent::Generated(400003);
      server.File("/a.bin", content);
      HttpFault wire;
      wire.wire.latency = latency;
      wire.wire.bytesPerSecond = speed;
      server.Always(wire);
      rig.Start("http://o.example/a.bin");
      std::string broken;
      rig.sim.RunUntil(
          [&] {
            if (broken.empty()) broken = rig.Broken();
            return rig.Record().Finished || !broken.empty();
          },
          60'000);
      EXPECT_EQ(broken, "");
      ASSERT_TRUE(rig.Record().Finished);
      EXPECT_EQ(rig.Output(), content.All());
      EXPECT_LE(rig.sim.network().MostOpen(), 8);
      rig.sim.RunFor(3'000);
      EXPECT_EQ(rig.sim.tasks().RunningTasks(), 0U);
      EXPECT_TRUE(rig.WindowOf()->Command3.Enabled());
    }
  }
}

TEST_F(TransferRaces, FinishedFileIsNotTouchedByTheRestOfTheSpacing) {
  program.settings.MaxSegments = 8;
  const SimContent content = Serve("/a.bin", 100000);
  Wire(1, 0);
  Start("http://o.example/a.bin");
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  const DownloadRecord finished = Record();
  const std::uint64_t calls = sim.disk().Calls();
  sim.RunFor(60'000);
  EXPECT_TRUE(Record() == finished);
  EXPECT_EQ(sim.disk().Calls(), calls);
  EXPECT_EQ(Output(), content.All());
}

TEST_F(TransferRaces, DeletionBeforeTheJoinFinishesNothing) {
  Serve("/a.bin", 20000);
  Start("http://o.example/a.bin");
  ASSERT_TRUE(sim.RunUntil([&] { return WindowOf()->state.Caption() == "text520"; }, 10'000));
  Delete(1);
  Refill(1, "http://o.example/b.bin");
  const DownloadRecord filled = Record();
  sim.RunFor(5'000);
  EXPECT_TRUE(Record() == filled);
  EXPECT_FALSE(sim.disk().Has("/home/u/dl/a.bin"));
  EXPECT_TRUE(NothingRuns());
}

TEST_F(TransferRaces, PauseOrResumeBeforeTheJoinBuildsOnce) {
  const SimContent content = Serve("/a.bin", 20000);
  int joins = 0;
  sim.disk().FailWhere([&](DiskCall call, const std::string& path) {
    joins += call == DiskCall::Open && path == "/home/u/dl/a.bin" ? 1 : 0;
    return false;
  });
  Start("http://o.example/a.bin");
  ASSERT_TRUE(sim.RunUntil([&] { return WindowOf()->state.Caption() == "text520"; }, 10'000));
  Resume();
  Pause();
  Resume();
  ASSERT_TRUE(RunUntilFinished(1, 10'000)) << sim.Replay();
  sim.RunFor(5'000);
  EXPECT_EQ(joins, 1);
  EXPECT_EQ(Output(), content.All());
}

TEST_F(TransferRaces, ExitBeforeTheJoinIsCompletedByTheNextStart) {
  const SimContent content = Serve("/a.bin", 200000);
  Start("http://o.example/a.bin");
  ASSERT_TRUE(sim.RunUntil([&] { return WindowOf()->state.Caption() == "text520"; }, 10'000));
  sim.Do([&] {
    WindowOf()->UnloadWindow();
    SaveList(program);
  });
  TransferRig next(SimOptions{.disk = sim.disk().TakeState()});
  SimHttpServer server(next.sim.network(), "o.example");
  server.File("/a.bin", content);
  next.sim.Do([&] { LoadList(next.program); });
  ASSERT_EQ(next.program.DownloadCount, 1);
  EXPECT_FALSE(next.Record().Finished);
  next.StartListed(1);
  ASSERT_TRUE(next.RunUntilFinished(1, 10'000));
  EXPECT_EQ(next.Output(), content.All());
  EXPECT_EQ(server.Requests().size(), 1U);  // the probe; nothing is fetched again
}

TEST_F(TransferRaces, TwoDownloadsFinishingAtOnceAreJoinedInTurn) {
  const SimContent one = Serve("/a.bin", 60000, 1);
  const SimContent two = Serve("/b.bin", 60000, 2);
  Wire(10, 20000);
  Start("http://o.example/a.bin");
  Start("http://o.example/b.bin");
  ASSERT_TRUE(RunUntilFinished(1));
  ASSERT_TRUE(RunUntilFinished(2));
  EXPECT_EQ(Output(1), one.All());
  EXPECT_EQ(Output(2), two.All());
}

TEST_F(TransferRaces, WindowLeavesNoEventWheneverItIsCancelled) {
  for (std::uint64_t moment = 0; moment < 2'000; moment += 37) {
    SCOPED_TRACE(moment);
    TransferRig rig;
    SimHttpServer server(rig.sim.network(), "o.example");
    server.File("/a.bin", SimContent::Generated(200000));
    rig.program.settings.MaxSegments = 8;
    HttpFault wire;
    wire.wire.latency = 60;
    wire.wire.bytesPerSecond = 40'000;
    server.Always(wire);
    rig.Start("http://o.example/a.bin");
    rig.sim.RunFor(moment);
    if (!rig.WindowOf()) continue;
    const std::weak_ptr<TransferWindow> window = rig.WindowOf();
    rig.Click(rig.WindowOf()->Command2);
    rig.sim.RunReady();
    EXPECT_EQ(rig.sim.network().Open(), 0);
    const DownloadRecord cancelled = rig.Record();
    const std::uint64_t calls = rig.sim.disk().Calls();
    EXPECT_TRUE(rig.sim.RunUntilIdle(1'000));
    EXPECT_TRUE(rig.Record() == cancelled);
    EXPECT_EQ(rig.sim.disk().Calls(), calls);
    EXPECT_TRUE(rig.NothingRuns());
    EXPECT_TRUE(window.expired());
  }
}

}  // namespace
}  // namespace pellora
