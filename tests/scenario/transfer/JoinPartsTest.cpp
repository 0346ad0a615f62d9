// What happens in the middle of a join. The disk is so slow that it takes seconds of virtual time.
#include <fstream>
#include <iterator>

#include "TransferFixture.h"
#include "app/App.h"
#include "core/ListFile.h"
#include "core/OrphanedParts.h"
#include "core/Stop.h"
#include "mainwin/MainWindow.h"

namespace pellora {
namespace {

constexpr std::uint32_t kSlow = 1000;  // ms that a work takes at most
const std::vector<std::string> kParts = {"first", "second", "third", "fourth"};
const std::string kWhole = "firstsecondthirdfourth";

class JoinParts : public TransferFixture {
 protected:
  JoinParts() { sim.background().SetMaxDelay(kSlow); }

  // A join that has copied some of the parts, and not all.
  void RunIntoAJoin(std::int16_t index = 1) {
    AddComplete(kParts);
    GiveWindow(index);
    Resume(index);
    ASSERT_TRUE(RunUntilSomeAreCopied());
  }
  // A join that failed on a full disk, and its message answered.
  void FailForWantOfRoom() {
    AddComplete(kParts);
    GiveWindow();
    sim.disk().SetCapacity(30);
    Resume();
    ASSERT_TRUE(RunUntilABoxStands());
    Answer(kAnswerOk);
  }
  bool RunUntilSomeAreCopied() {
    const std::uint64_t before = sim.disk().BytesWritten();
    return sim.RunUntil([&] { return sim.disk().BytesWritten() >= before + 5; }, 60'000);
  }
  // Until the piece in progress when the join was stopped has ended.
  void RunOut() {
    sim.RunUntil([&] { return sim.background().Pending() == 0; }, 60'000);
    sim.RunFor(1000);
  }
  bool HasAllParts() {
    for (int i = 1; i <= 4; ++i) {
      if (!sim.disk().Has(Segment(i).TempFile)) return false;
    }
    return true;
  }
  // A stopped join: nothing claims to be finished, and no part is lost.
  void ExpectPausedWithAllItsParts() {
    RunOut();
    EXPECT_TRUE(Record().Paused);
    EXPECT_FALSE(Record().Active);
    EXPECT_FALSE(Record().Finished);
    EXPECT_LT(Record().Percent, 100.0F);
    EXPECT_TRUE(HasAllParts());
    EXPECT_LT(Output().size(), kWhole.size());
    for (int i = 1; i <= 4; ++i) EXPECT_EQ(Segment(i).State, kSegmentComplete);
  }
};

TEST_F(JoinParts, CopiesNothingInsideAnEvent) {
  bool inEvent = false;
  int copies = 0;
  sim.disk().FailWhere([&](DiskCall call, const std::string& path) {
    copies += call == DiskCall::Copy ? 1 : 0;
    EXPECT_FALSE(inEvent && path == "/home/u/dl/a.zip") << static_cast<int>(call);
    return false;
  });
  AddComplete(kParts);
  GiveWindow();
  inEvent = true;
  Resume();
  sim.RunReady();
  inEvent = false;
  ASSERT_TRUE(RunUntilFinished(1, 60'000));
  EXPECT_EQ(copies, 4);
  EXPECT_EQ(Output(), kWhole);
}

TEST_F(JoinParts, LetsOtherTransfersContinue) {
  const SimContent content = Serve("/b.bin", 300'000);
  RunIntoAJoin();
  sim.background().SetMaxDelay(60'000);
  Start("http://o.example/b.bin");
  ASSERT_TRUE(sim.RunUntil([&] { return Record(2).Received == 300'000; }, 10'000));
  EXPECT_TRUE(Record(1).Active);
  EXPECT_FALSE(Record(1).Finished);
  sim.background().SetMaxDelay(4);
  ASSERT_TRUE(RunUntilFinished(2, 200'000));
  EXPECT_EQ(Output(1), kWhole);
  EXPECT_EQ(Output(2), content.All());
}

TEST_F(JoinParts, ShowsItsStateThroughEveryRefresh) {
  RunIntoAJoin();
  EXPECT_EQ(WindowOf()->state.Caption(), "text520");
  EXPECT_FALSE(WindowOf()->Command3.Enabled());
  sim.Do([&] { WindowOf()->ViewResized(500, 400, 490, 380); });
  EXPECT_EQ(WindowOf()->state.Caption(), "text520");
  EXPECT_EQ(WindowOf()->Caption(), "99.9% of a.zip downloaded.");
  ASSERT_TRUE(RunUntilFinished(1, 60'000));
  EXPECT_EQ(WindowOf()->state.Caption(), "text521");
  EXPECT_EQ(WindowOf()->Caption(), "100.0% of a.zip downloaded.");
}

TEST_F(JoinParts, CountsAsNoSilenceOfTheServer) {
  RunIntoAJoin();
  sim.background().SetMaxDelay(120'000);
  sim.RunFor(30'000);
  ASSERT_FALSE(Record().Finished);
  EXPECT_EQ(WindowOf()->SilentFor(), 0U);
}

TEST_F(JoinParts, StopsAtAPauseAndStartsOverAtAResume) {
  RunIntoAJoin();
  Pause();
  EXPECT_EQ(WindowOf()->state.Caption(), "text528");
  EXPECT_EQ(WindowOf()->Command3.Caption(), "Resume Download");
  EXPECT_TRUE(WindowOf()->Command3.Enabled());
  ExpectPausedWithAllItsParts();
  EXPECT_EQ(WindowOf()->state.Caption(), "text528");
  Click(WindowOf()->Command3);
  ASSERT_TRUE(RunUntilFinished(1, 60'000));
  EXPECT_EQ(Output(), kWhole);
  EXPECT_EQ(origin.Connections(), 0);
  EXPECT_FALSE(sim.disk().Has(Segment(1).TempFile));
}

TEST_F(JoinParts, CanBePausedAndResumedAtAnyMoment) {
  for (std::uint32_t moment = 0; moment < 4000; moment += 170) {
    SCOPED_TRACE(moment);
    TransferRig rig;
    rig.sim.background().SetMaxDelay(kSlow);
    rig.AddComplete(kParts);
    rig.GiveWindow();
    rig.Resume();
    for (int time = 0; time < 3 && !rig.Record().Finished; ++time) {
      rig.sim.RunFor(moment);
      if (rig.Record().Finished) break;
      rig.Pause();
      EXPECT_TRUE(rig.Record().Paused);
      rig.Resume();
    }
    ASSERT_TRUE(rig.RunUntilFinished(1, 60'000));
    EXPECT_EQ(rig.Output(), kWhole);
    EXPECT_FALSE(rig.Record().Paused);
    rig.sim.RunFor(10'000);
    EXPECT_EQ(rig.sim.disk().Paths(), (std::vector<std::string>{"/home/u/dl/a.zip", "/prog/Pellora.dat"}));
  }
}

TEST_F(JoinParts, StopsOnCancelAndKeepsTheParts) {
  RunIntoAJoin();
  Click(WindowOf()->Command2);
  EXPECT_EQ(WindowOf(), nullptr);
  ExpectPausedWithAllItsParts();
  EXPECT_TRUE(NothingRuns());
}

TEST_F(JoinParts, ContinuesWhenItsWindowIsClosed) {
  RunIntoAJoin();
  sim.Do([&] { WindowOf()->ViewClosed(); });
  EXPECT_FALSE(WindowOf()->Visible());
  ASSERT_TRUE(RunUntilFinished(1, 60'000));
  EXPECT_EQ(Output(), kWhole);
}

TEST_F(JoinParts, ShowsWhyItFailedUntilAResume) {
  FailForWantOfRoom();
  for (int time = 0; time < 2; ++time) {
    EXPECT_EQ(WindowOf()->state.Caption(), "text528: /home/u/dl/a.zip: no space left on the disk");
    EXPECT_EQ(WindowOf()->Caption(), "99.9% of a.zip downloaded.");
    EXPECT_LT(WindowOf()->PB.Value(), 100.0);
    EXPECT_LT(Record().Percent, 100.0F);
    sim.Do([&] { WindowOf()->ViewResized(500, 400, 490, 380); });
    sim.RunFor(1000);
  }
  sim.disk().NoFaults();
  Resume();
  EXPECT_NE(WindowOf()->state.Caption().substr(0, 7), "text528");
  ASSERT_TRUE(RunUntilFinished(1, 60'000));
  EXPECT_EQ(WindowOf()->state.Caption(), "text521");
  EXPECT_EQ(Output(), kWhole);
}

TEST_F(JoinParts, ResumeThatStartsOverForgetsWhyItFailed) {
  FailForWantOfRoom();
  sim.disk().NoFaults();
  sim.disk().Lose(Segment(2).TempFile);
  sim.disk().PutLink(Segment(2).TempFile, "/home/u/elsewhere");
  Resume();
  ASSERT_EQ(Record().SegmentCount, 0);
  sim.Do([&] { WindowOf()->ViewResized(500, 400, 490, 380); });
  EXPECT_NE(WindowOf()->state.Caption().substr(0, 7), "text528");
}

TEST_F(JoinParts, WaitsForAnotherJoinOfTheSameFile) {
  const std::vector<std::string> others = {"FIRST", "SECOND", "THIRD", "FOURTH"};
  RunIntoAJoin();
  AddComplete(others, "http://p.example/a.zip");
  GiveWindow(2);
  Resume(2);
  sim.RunFor(10);
  EXPECT_EQ(WindowOf(2)->state.Caption(), "text520");
  EXPECT_FALSE(Record(1).Finished);
  ASSERT_TRUE(RunUntilFinished(1, 60'000));
  EXPECT_EQ(Output(1), kWhole);
  ASSERT_TRUE(RunUntilFinished(2, 60'000));
  EXPECT_EQ(Output(2), "FIRSTSECONDTHIRDFOURTH");
}

TEST_F(JoinParts, GivesUpItsTurnAtAPause) {
  RunIntoAJoin();
  AddComplete({"x"}, "http://p.example/b.zip");
  GiveWindow(2);
  Resume(2);
  sim.RunFor(10);
  Pause(1);
  ASSERT_TRUE(RunUntilFinished(2, 60'000));
  EXPECT_EQ(Output(2), "x");
  EXPECT_FALSE(Record(1).Finished);
}

TEST_F(JoinParts, PausedBeforeItsTurnWritesNothing) {
  RunIntoAJoin();
  AddComplete({"x"}, "http://p.example/b.zip");
  GiveWindow(2);
  Resume(2);
  sim.RunFor(10);
  Pause(2);
  ASSERT_TRUE(RunUntilFinished(1, 60'000));
  RunOut();
  EXPECT_FALSE(sim.disk().Has("/home/u/dl/b.zip"));
  EXPECT_TRUE(Record(2).Paused);
  Resume(2);
  ASSERT_TRUE(RunUntilFinished(2, 60'000));
  EXPECT_EQ(Output(2), "x");
}

TEST_F(JoinParts, IsListedAsPausedAfterAQuitAndDoneAgain) {
  SimDiskState left;
  SimContent content = SimContent::Generated(300'000);
  {
    TransferRig rig;
    SimHttpServer server(rig.sim.network(), "o.example");
    server.File("/a.bin", content);
    rig.sim.background().SetMaxDelay(kSlow);
    rig.Start("http://o.example/a.bin");
    ASSERT_TRUE(rig.sim.RunUntil([&] { return rig.sim.disk().Size("/home/u/dl/a.bin") > 0; }, 60'000));
    ASSERT_FALSE(rig.Record().Finished);
    rig.sim.Do([&] {
      PauseAndSave(rig.program, {});
      End(rig.program);
    });
    ASSERT_TRUE(rig.sim.Ended());
    left = rig.sim.disk().TakeState();
  }
  TransferRig rig(SimOptions{.disk = std::move(left)});
  SimHttpServer server(rig.sim.network(), "o.example");
  server.File("/a.bin", content);
  rig.sim.Do([&] { LoadList(rig.program); });
  ASSERT_EQ(rig.program.DownloadCount, 1);
  EXPECT_TRUE(rig.Record().Paused);
  EXPECT_FALSE(rig.Record().Active);
  for (int i = 1; i <= 4; ++i) EXPECT_EQ(rig.Segment(i).State, kSegmentComplete);
  rig.StartListed(1);
  ASSERT_TRUE(rig.RunUntilFinished(1, 60'000));
  EXPECT_EQ(rig.Output(), content.All());
  EXPECT_EQ(server.Connections(), 1);  // the probe's
}

TEST_F(JoinParts, IsListedAsPausedAfterAKillAndDoneAgain) {
  const SimContent content = SimContent::Generated(300'000);
  for (std::uint32_t moment = 0; moment < 6000; moment += 300) {
    SCOPED_TRACE(moment);
    SimDiskState left;
    {
      TransferRig rig;
      SimHttpServer server(rig.sim.network(), "o.example");
      server.File("/a.bin", content);
      rig.sim.background().SetMaxDelay(kSlow);
      rig.Start("http://o.example/a.bin");
      ASSERT_TRUE(rig.sim.RunUntil([&] { return rig.sim.background().Given() > 0; }, 60'000));
      rig.sim.Do([&] { SaveList(rig.program); });
      rig.sim.RunFor(moment);
      left = rig.sim.disk().TakeState();
    }
    TransferRig rig(SimOptions{.disk = std::move(left)});
    SimHttpServer server(rig.sim.network(), "o.example");
    server.File("/a.bin", content);
    rig.sim.Do([&] {
      LoadList(rig.program);
      RemoveOrphanedParts(rig.program);
    });
    if (!rig.Record().Finished) {
      EXPECT_TRUE(rig.Record().Paused);
      rig.StartListed(1);
      ASSERT_TRUE(rig.RunUntilFinished(1, 60'000));
    }
    EXPECT_EQ(rig.Output(), content.All());
    EXPECT_EQ(rig.sim.disk().Paths(), (std::vector<std::string>{"/home/u/dl/a.bin", "/prog/Pellora.dat"}));
  }
}

// The lists' actions, with the whole program.
class ProgramJoin : public ::testing::Test {
 protected:
  ProgramJoin() {
    std::ifstream file(PELLORA_LANGUAGES "/english.txt", std::ios::binary);
    const std::string texts((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    sim.disk().Put("/prog/english.txt", SimContent(texts));
    sim.background().SetMaxDelay(kSlow);
    origin.File("/a.bin", content);
    Do([&] { app.Start(); });
    sim.RunFor(10);
    program().settings.CheckClipboard = false;
    program().settings.MaxSegments = 4;
  }
  ~ProgramJoin() override { sim.DropProgram(); }

  void Do(const std::function<void()>& event) {
    sim.Do(event);
    sim.RunReady();
  }
  void Add(const std::string& url) {
    Do([&] { app.MenuURL(url, "", ""); });
  }
  // Into the join, which the saved list knows.
  void RunIntoTheJoin() {
    Add("http://o.example/a.bin");
    ASSERT_TRUE(sim.RunUntil([&] { return sim.disk().Size(kOutput) > 0; }, 60'000));
    ASSERT_TRUE(Rec().Active);
    Do([&] { SaveList(program()); });
  }
  void Run(int action) {
    app.mainWindow().ListView1.SelectByUser({0});
    Do([&] { app.mainWindow().RunAction(action); });
  }
  void AnswerYes() {
    ASSERT_EQ(sim.dialogs().OpenCount(), 1U);
    sim.dialogs().AnswerNext(kAnswerYes);
    sim.RunReady();
  }
  // The output does not grow any more.
  void ExpectItStopped() {
    sim.RunFor(kSlow);
    const std::uint64_t length = sim.disk().Size(kOutput);
    EXPECT_LT(length, content.All().size());
    sim.RunFor(20'000);
    EXPECT_EQ(sim.disk().Size(kOutput), length);
  }
  bool AnyPart() {
    for (const std::string& path : sim.disk().Paths()) {
      if (path.ends_with(".tmp")) return true;
    }
    return false;
  }
  Program& program() { return app.program(); }
  DownloadRecord& Rec(int index = 1) { return program().Download(index); }

  static constexpr const char* kOutput = "/home/u/Documents/Pellora/downloads/a.bin";
  const SimContent content = SimContent::Generated(300'000);
  SimPlatform sim;
  SimHttpServer origin{sim.network(), "o.example"};
  App app{sim.platform()};
};

TEST_F(ProgramJoin, StopsAtADeleteThatLeavesNoPart) {
  RunIntoTheJoin();
  Run(MainWindow::kDelete);
  AnswerYes();
  EXPECT_FALSE(Rec().InUse);
  EXPECT_FALSE(AnyPart());
  ExpectItStopped();
  EXPECT_FALSE(AnyPart());  // none is made again by what was under way
}

TEST_F(ProgramJoin, StopsAtAResetThatLeavesNoPart) {
  RunIntoTheJoin();
  Run(MainWindow::kResetList);
  AnswerYes();
  EXPECT_EQ(program().DownloadCount, 0);
  ExpectItStopped();
  EXPECT_FALSE(AnyPart());
}

TEST_F(ProgramJoin, StopsAtPauseAllAndEndsAfterResumeAll) {
  RunIntoTheJoin();
  Run(MainWindow::kPauseAll);
  EXPECT_TRUE(Rec().Paused);
  ExpectItStopped();
  EXPECT_TRUE(AnyPart());
  sim.RunFor(1100);
  EXPECT_EQ(app.mainWindow().ListView1.Rows().front().subItems.at(2), "Stopped (99.9%)");
  Run(MainWindow::kResumeAll);
  ASSERT_TRUE(sim.RunUntil([&] { return Rec().Finished; }, 60'000));
  EXPECT_TRUE(sim.disk().Holds(kOutput, content));
  EXPECT_FALSE(AnyPart());
}

TEST_F(ProgramJoin, HoldsUpNoOtherRecordOfAResumeAll) {
  RunIntoTheJoin();
  Run(MainWindow::kPauseAll);
  HttpFault slow;
  slow.wire.bytesPerSecond = 1000;
  origin.Always(slow);
  origin.File("/b.bin", content);
  Add("http://o.example/b.bin");
  ASSERT_TRUE(sim.RunUntil([&] { return Rec(2).Received > 0; }, 10'000));
  Run(MainWindow::kPauseAll);
  sim.RunFor(5000);
  sim.background().SetMaxDelay(60'000);
  Run(MainWindow::kResumeAll);
  EXPECT_TRUE(sim.RunUntil([&] { return Rec(2).Active; }, 2000));
  EXPECT_TRUE(Rec(1).Active);
}

TEST_F(ProgramJoin, StopsWhenTheSameUrlIsAddedAgain) {
  for (std::uint64_t moment = 0; moment < 3000; moment += 330) {
    SCOPED_TRACE(moment);
    RunIntoTheJoin();
    sim.RunFor(moment);
    const SimContent newer = SimContent::Generated(290'000, 2);
    origin.File("/a.bin", newer);
    Add("http://o.example/a.bin");
    AnswerYes();
    EXPECT_FALSE(Rec().Finished);
    ASSERT_TRUE(sim.RunUntil([&] { return Rec().Finished; }, 60'000));
    sim.RunFor(5000);
    EXPECT_EQ(sim.disk().Get(kOutput).substr(0, 290'000), newer.All());
    EXPECT_FALSE(AnyPart());
    origin.File("/a.bin", content);
    Do([&] { app.mainWindow().RunAction(MainWindow::kResetList); });
    sim.disk().Lose(kOutput);
  }
}

TEST_F(ProgramJoin, SharesNoPartsWithADownloadOfTheSameName) {
  SimHttpServer other(sim.network(), "p.example");
  const SimContent others = SimContent::Generated(300'000, 3);
  other.File("/a.bin", others);
  RunIntoTheJoin();
  sim.background().SetMaxDelay(20'000);
  Add("http://p.example/a.bin");
  ASSERT_TRUE(sim.RunUntil([&] { return Rec(2).Received == 300'000; }, 10'000));
  EXPECT_FALSE(Rec(1).Finished);
  ASSERT_TRUE(sim.RunUntil([&] { return Rec(1).Finished; }, 300'000));
  EXPECT_TRUE(sim.disk().Holds(kOutput, content));
  ASSERT_TRUE(sim.RunUntil([&] { return Rec(2).Finished; }, 300'000));
  EXPECT_TRUE(sim.disk().Holds(kOutput, others));
}

}  // namespace
}  // namespace pellora
