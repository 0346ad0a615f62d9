// Pause, resume and restart during each wait.
#include "FtpFixture.h"
#include "core/RecordLife.h"

namespace pellora {
namespace {

class FtpPause : public FtpFixture {
 protected:
  void Slow() {
    FtpFault fault;
    fault.wire.latency = 20;
    fault.dataWire.latency = 20;
    fault.dataWire.bytesPerSecond = 10000;
    server.Always(fault);
  }
  // The segments keep their resume points.
  void ExpectWholePlan() {
    for (int i = 1; i <= Record().SegmentCount; ++i) {
      const SegmentRecord& segment = Record().Segment(i);
      EXPECT_EQ(segment.RangeEnd + segment.ReceivedTotal - segment.RangeStart + 1, segment.RangeSize) << i;
      if (segment.State != kSegmentComplete) {
        EXPECT_EQ(segment.State, kSegmentPaused) << i;
        EXPECT_EQ(segment.ReceivedNow, 0) << i;
      }
    }
  }
};

TEST_F(FtpPause, ResumeLogsInAgainFromTheAdvancedStart) {
  Slow();
  Start(Serve(20000));
  ASSERT_TRUE(sim.RunUntil([&] { return Record().Received > 4000; }, 30'000)) << sim.Replay();
  PauseOrResume();
  EXPECT_TRUE(Record().Paused);
  EXPECT_FALSE(Record().Active);
  EXPECT_EQ(sim.network().Open(), 0);
  ExpectWholePlan();
  const std::int32_t first = Record().Segment(1).RangeStart;
  const std::int32_t second = Record().Segment(2).RangeStart;
  EXPECT_GT(first, 0);
  PauseOrResume();
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(server.Connections(), 5);  // no second probe
  EXPECT_EQ(server.Commands(4), SegmentFrom(first));
  EXPECT_EQ(server.Commands(5), SegmentFrom(second));
  EXPECT_EQ(Record().Received, 20000 - 2);
  ExpectTheFile();
}

TEST_F(FtpPause, DropsLateData) {
  Slow();
  Start(Serve(20000));
  ASSERT_TRUE(sim.RunUntil([&] { return Record().Received > 4000; }, 30'000)) << sim.Replay();
  PauseOrResume();
  const std::int32_t received = Record().Received;
  const std::string part = sim.disk().Get(Record().Segment(1).TempFile);
  const std::uint64_t written = sim.disk().BytesWritten();
  sim.RunFor(60'000);
  EXPECT_EQ(Record().Received, received);
  EXPECT_EQ(sim.disk().Get(Record().Segment(1).TempFile), part);
  EXPECT_EQ(sim.disk().BytesWritten(), written);
  ExpectWholePlan();
}

TEST_F(FtpPause, DuringTheWaitAfter230SendsNothingMore) {
  Slow();
  Start(Serve(9000));
  ASSERT_TRUE(sim.RunUntil([&] { return server.Count("PASS user@pellora.example") == 2; })) << sim.Replay();
  sim.RunFor(200);
  PauseOrResume();
  sim.RunFor(5000);
  EXPECT_EQ(server.Commands(2), (Lines{"USER anonymous", "PASS user@pellora.example"}));
  ExpectWholePlan();
  EXPECT_EQ(sim.network().Open(), 0);
  EXPECT_FALSE(Record().Active);
}

TEST_F(FtpPause, ResumeDuringTheWaitAfter230LogsInAgainOnce) {
  for (const std::uint32_t into : {60, 100, 250, 400, 500, 530, 540}) {
    Slow();
    sim.disk().Lose("/home/u/dl/a.bin");
    const int probe = server.Connections() + 1;
    Start(Serve(9000));
    const int index = program.DownloadCount;
    ASSERT_TRUE(sim.RunUntil([&] { return server.Commands(probe + 1).size() == 2; })) << sim.Replay();
    sim.RunFor(into);
    sim.Do([&] {
      WindowOf(index)->PauseDownload();
      program.platform.tasks.Spawn(WindowOf(index)->ResumeDownload());
    });
    ASSERT_TRUE(RunUntilFinished(index)) << into << sim.Replay();
    EXPECT_EQ(server.Commands(probe + 2), SegmentFrom(0)) << into;
    EXPECT_EQ(server.Connections() - probe, 2) << into;
    ExpectTheFile();
  }
}

TEST_F(FtpPause, ResumeAtEveryTwentiethMillisecondKeepsTheSameBytes) {
  program.settings.MaxSegments = 4;
  for (std::uint32_t into = 20; into < 3000; into += 20) {
    Slow();
    sim.disk().Lose("/home/u/dl/a.bin");
    Start(Serve(10001));
    const int index = program.DownloadCount;
    sim.RunFor(into);
    if (!Record(index).Finished) {
      sim.Do([&] {
        WindowOf(index)->PauseDownload();
        program.platform.tasks.Spawn(WindowOf(index)->ResumeDownload());
      });
    }
    ASSERT_TRUE(RunUntilFinished(index, 60'000)) << into << sim.Replay();
    EXPECT_EQ(Record(index).Received, 10001 - 2) << into;
    ExpectTheFile();
  }
}

TEST_F(FtpPause, DuringTheProbeRestartsTheProbeOnResume) {
  for (const std::uint32_t into : {10, 50, 100, 150, 200, 250}) {
    Slow();
    sim.disk().Lose("/home/u/dl/a.bin");
    const int before = server.Connections();
    Start(Serve(9000));
    const int index = program.DownloadCount;
    sim.RunFor(into);
    ASSERT_EQ(Record(index).SegmentCount, 0) << into;
    PauseOrResume(index);
    sim.RunFor(30'000);
    EXPECT_EQ(sim.network().Open(), 0);
    EXPECT_EQ(server.Connections() - before, 1);
    EXPECT_FALSE(Record(index).Active);
    PauseOrResume(index);
    ASSERT_TRUE(RunUntilFinished(index)) << into << sim.Replay();
    EXPECT_EQ(server.Commands(before + 2), kProbeOfRootFile);
    ExpectTheFile();
  }
}

TEST_F(FtpPause, ResumeDuringTheProbeDoesNothing) {
  Slow();
  Start(Serve(9000));
  sim.RunFor(100);
  sim.Do([&] { program.platform.tasks.Spawn(WindowOf()->ResumeDownload()); });
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(server.Connections(), 2);
  ExpectTheFile();
}

TEST_F(FtpPause, KeepsCompleteSegments) {
  program.settings.MaxSegments = 4;
  Slow();
  Start(Serve(100001));
  ASSERT_TRUE(RunUntilState(1, kSegmentComplete)) << sim.Replay();
  PauseOrResume();
  ExpectWholePlan();
  const int before = server.Connections();
  PauseOrResume();
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(server.Connections() - before, 3);
  EXPECT_EQ(Record().Received, 100001 - 4);
  ExpectTheFile();
}

// The end of a control connection has no handler: the probe stalls, and a segment does unless its data flows.
TEST_F(FtpPause, ResumeContinuesAfterTheServerClosedTheControlConnection) {
  int stalled = 0;
  int flowing = 0;
  for (const int phase : {1, 2}) {
    for (std::uint64_t sent = 1; sent < 200; sent += 3) {
      FtpFault fault;
      fault.wire.dropAfter = sent;
      fault.dataWire.bytesPerSecond = 5000;
      server.OnConnection(server.Connections() + phase, fault);
      sim.disk().Lose("/home/u/dl/a.bin");
      Start(Serve(9000));
      const int index = program.DownloadCount;
      if (RunUntilFinished(index, 20'000)) {
        flowing += phase == 2 ? 1 : 0;
      } else {
        ++stalled;
        PauseAndResume(index);
      }
      ASSERT_TRUE(RunUntilFinished(index)) << phase << " " << sent << sim.Replay();
      EXPECT_EQ(sim.dialogs().Boxes().size(), 0U) << phase << " " << sent;
      ExpectTheFile();
    }
  }
  EXPECT_GT(stalled, 60);
  EXPECT_GT(flowing, 5);
}

TEST_F(FtpPause, StopsADownloadDuringItsUnknownSizeBox) {
  FtpFault fault;
  fault.say["SIZE"] = "213 0\r\n";
  fault.dataWire.bytesPerSecond = 1000;
  server.Always(fault);
  Start(Serve(9000));
  ASSERT_TRUE(sim.RunUntil([&] { return sim.dialogs().OpenCount() == 1; }, 30'000));
  PauseOrResume();
  sim.dialogs().AnswerNext(kAnswerOk);
  sim.RunFor(30'000);
  EXPECT_EQ(sim.dialogs().Boxes().size(), 1U);
  EXPECT_EQ(sim.network().Open(), 0);
}

TEST_F(FtpPause, CancelAtAnyMomentLeavesNothingRunning) {
  for (std::uint32_t into = 5; into < 3000; into += 25) {
    Slow();
    Start(Serve(20001));
    const int index = program.DownloadCount;
    sim.RunFor(into);
    ASSERT_TRUE(WindowOf(index)) << into;
    sim.Do([&] { WindowOf(index)->Command2.Click(); });
    EXPECT_EQ(sim.network().Open(), 0) << into;
    EXPECT_FALSE(WindowOf(index)) << into;
    const DownloadRecord then = Record(index);
    sim.RunFor(30'000);
    EXPECT_EQ(Record(index), then) << into;
    EXPECT_EQ(sim.tasks().RunningTasks(), 0U) << into;
    EXPECT_EQ(sim.windows().Loaded().size(), 0U) << into;
  }
}

TEST_F(FtpPause, RefilledSlotEndsTheTransferAtAnyMoment) {
  for (std::uint32_t into = 5; into < 3000; into += 25) {
    Slow();
    Start(Serve(20001));
    const int index = program.DownloadCount;
    sim.RunFor(into);
    DownloadRecord other;
    other.FileName = "other.bin";
    other.InUse = other.Valid = true;
    other.Segments.resize(1);
    program.RaiseSerial(index);
    program.TransferWindowAt(index).reset();
    Record(index) = other;
    const std::uint64_t written = sim.disk().BytesWritten();
    sim.RunFor(60'000);
    EXPECT_EQ(Record(index), other) << into;
    EXPECT_EQ(sim.disk().BytesWritten(), written) << into;
    EXPECT_EQ(sim.network().Open(), 0) << into;
    EXPECT_EQ(sim.windows().Loaded().size(), 0U) << into;
  }
}

// A record that another run of the program continues, as after loading the list.
class FtpRestart : public FtpFixture {
 protected:
  // A new window continues the record.
  void Restart() {
    sim.Do([&] {
      EmptyPlace(program, 1);
      program.RaiseSerial(1);
    });
    StartListed(1);
  }
  void RunHalf() {
    FtpFault fault;
    fault.dataWire.bytesPerSecond = 10000;
    server.Always(fault);
    Start(Serve(20000));
    EXPECT_TRUE(sim.RunUntil([&] { return Record().Received > 4000; }, 30'000)) << sim.Replay();
  }
};

TEST_F(FtpRestart, ProbesAgainAndKeepsThePlan) {
  RunHalf();
  Restart();
  const std::int32_t first = Record().Segment(1).RangeStart;
  EXPECT_GT(first, 0);
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(server.Commands(4), kProbeOfRootFile);
  EXPECT_EQ(server.Commands(5), SegmentFrom(first));
  EXPECT_EQ(Record().Received, 20000 - 2);
  ExpectTheFile();
}

TEST_F(FtpRestart, PausedDuringTheProbeProbesAgainOnResume) {
  RunHalf();
  FtpFault silent;
  silent.greeting.clear();
  server.OnConnection(4, silent);
  Restart();
  sim.RunFor(1000);
  PauseAndResume();
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(server.Commands(5), kProbeOfRootFile);
  EXPECT_EQ(server.Commands(6).back(), "RETR /a.bin");
  ExpectTheFile();
}

TEST_F(FtpRestart, KeepsThePlannedSizeIfTheProbeLearnsNone) {
  RunHalf();
  FtpFault fault;
  fault.say["SIZE"] = "213 -1\r\n";
  server.OnConnection(4, fault);
  Restart();
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(Record().FileSize, 20000);
  EXPECT_EQ(sim.dialogs().Boxes().size(), 0U);
  ExpectTheFile();
}

TEST_F(FtpRestart, ReplansAnUnknownSizeOnceItIsKnown) {
  FtpFault fault;
  fault.say["SIZE"] = "213 0\r\n";
  server.OnConnection(1, fault);
  Start(Serve(20000));
  ASSERT_TRUE(sim.RunUntil([&] { return sim.dialogs().OpenCount() == 1; }, 30'000));
  Restart();
  sim.dialogs().AnswerNext(kAnswerOk);
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(Record().SegmentCount, 2);
  ExpectTheFile();
}

TEST_F(FtpRestart, DropsTheRecordOfAMissingFile) {
  RunHalf();
  FtpFault fault;
  fault.refuse["SIZE"] = "550 gone\r\n";
  server.OnConnection(4, fault);
  Restart();
  ASSERT_TRUE(sim.RunUntil([&] { return sim.dialogs().OpenCount() == 1; }, 30'000));
  sim.dialogs().AnswerNext(kAnswerOk);
  sim.RunFor(100);
  EXPECT_FALSE(Record().InUse);
  EXPECT_FALSE(WindowOf());
  EXPECT_EQ(sim.network().Open(), 0);
}

}  // namespace
}  // namespace pellora
