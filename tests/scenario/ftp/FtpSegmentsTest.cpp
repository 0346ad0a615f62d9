// The segments: their conversation, the data connection, what they count, and how they stall.
#include <algorithm>

#include "FtpFixture.h"

namespace pellora {
namespace {

class FtpSegments : public FtpFixture {
 protected:
  // For the segments; the probe succeeds.
  void Always(const FtpFault& fault) {
    server.Always(fault);
    server.OnConnection(1, {});
  }
};

TEST_F(FtpSegments, CountOneByteLessEachYetReachAHundredPercent) {
  program.settings.MaxSegments = 8;
  const std::vector<std::pair<std::uint64_t, int>> cases = {{9999, 1}, {10000, 2}, {400003, 8}};
  for (const auto& [size, segments] : cases) {
    sim.disk().Lose("/home/u/dl/a.bin");
    Start(Serve(size));
    const int index = program.DownloadCount;
    ASSERT_TRUE(RunUntilFinished(index)) << sim.Replay();
    EXPECT_EQ(Record(index).SegmentCount, segments);
    EXPECT_EQ(Record(index).Received, static_cast<std::int64_t>(size) - segments);
    EXPECT_EQ(Record(index).Percent, 100.0F);
    for (int i = 1; i <= segments; ++i) {
      const SegmentRecord& segment = Record(index).Segment(i);
      EXPECT_EQ(segment.ReceivedNow, segment.RangeSize);
    }
    ExpectTheFile();
  }
}

TEST_F(FtpSegments, PassThroughTheirStatesInOrder) {
  FtpFault fault;
  fault.wire.latency = 20;
  fault.dataWire.latency = 20;
  fault.dataWire.bytesPerSecond = 20000;
  server.Always(fault);
  Start(Serve(9000));
  std::vector<std::int16_t> states;
  std::vector<std::string> texts;
  sim.RunUntil([&] {
    if (Record().SegmentCount < 1) return false;
    const std::int16_t state = Record().Segment(1).State;
    if (states.empty() || states.back() != state) states.push_back(state);
    const std::string text = WindowOf()->StateS(0).Caption();
    if (texts.empty() || texts.back() != text) texts.push_back(text);
    return Record().Finished;
  });
  EXPECT_EQ(states, (std::vector<std::int16_t>{0, 1, 2, 6, 7, 2, 3}));
  EXPECT_NE(std::find(texts.begin(), texts.end(), "Receiving"), texts.end());
  ExpectTheFile();
}

TEST_F(FtpSegments, WriteWholeBlocksButKeepOnlyTheirRange) {
  FtpFault fault;
  fault.dataWire.cut = SimCut::Whole;
  server.Always(fault);
  Start(Serve(400003));
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(Record().Segment(1).RangeSize, 100003);
  ExpectTheFile();
}

TEST_F(FtpSegments, CloseBothConnectionsAtTheirLastByte) {
  FtpFault fault;
  fault.dataWire.bytesPerSecond = 20000;
  server.Always(fault);
  Start(Serve(20000));
  ASSERT_TRUE(RunUntilState(1, kSegmentComplete)) << sim.Replay();
  EXPECT_EQ(sim.network().Open(), 2);  // the second segment's
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  ExpectTheFile();
}

TEST_F(FtpSegments, TakeTheDataHostFromThePasvReply) {
  FtpFault fault;
  fault.dataHost = "192.168.77.5";
  server.Always(fault);
  Start(Serve(20000));
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  int there = 0;
  for (const SimConnectionLog& log : sim.network().Log()) there += log.host == "192.168.77.5" ? 1 : 0;
  EXPECT_EQ(there, 2);
  ExpectTheFile();
}

TEST_F(FtpSegments, ReducePasvPortNumbersModulo256) {
  FtpFault fault;
  fault.say["PASV"] = "227 Entering Passive Mode ({above255}).\r\n";
  server.Always(fault);
  Start(Serve(20000));
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  ExpectTheFile();
}

TEST_F(FtpSegments, WaitForPauseAndResumeAfterAnUnreadablePasvReply) {
  for (const char* const reply : {"227 no address\r\n", "227 (\r\n", "227 )(\r\n", "227 (1,2,3)\r\n"}) {
    FtpFault fault;
    fault.say["PASV"] = reply;
    server.OnConnection(server.Connections() + 2, fault);
    sim.disk().Lose("/home/u/dl/a.bin");
    Start(Serve(9000));
    const int index = program.DownloadCount;
    EXPECT_FALSE(RunUntilFinished(index, 60'000)) << reply;
    EXPECT_EQ(sim.dialogs().Boxes().size(), 0U);
    PauseAndResume(index);
    ASSERT_TRUE(RunUntilFinished(index, 60'000)) << reply << sim.Replay();
    ExpectTheFile();
  }
}

TEST_F(FtpSegments, TryADeadPasvAddressAtMostFiveTimesASecond) {
  for (const char* const reply : {"227 (10,0,0,1,0,0)\r\n", "227 (no,such,host,at,all,1)\r\n", "227 (,,,,,)\r\n"}) {
    FtpFault fault;
    fault.wire.latency = 2;
    fault.say["PASV"] = reply;
    server.OnConnection(server.Connections() + 2, fault);
    Start(Serve(9000));
    const int index = program.DownloadCount;
    sim.RunFor(5000);
    const std::size_t before = sim.network().Log().size();
    sim.RunFor(10'000);
    EXPECT_LE(sim.network().Log().size() - before, 50U) << reply;
    EXPECT_GT(sim.network().Log().size() - before, 30U) << reply;
    sim.Do([&] { WindowOf(index)->Command2.Click(); });
    EXPECT_EQ(sim.network().Open(), 0);
    const std::size_t after = sim.network().Log().size();
    sim.RunFor(10'000);
    EXPECT_EQ(sim.network().Log().size(), after) << reply;
  }
}

TEST_F(FtpSegments, RetryARefusedDataPortWithoutAnotherPasv) {
  FtpFault fault;
  fault.refuseData = 7;
  server.Always(fault);
  Start(Serve(20000));
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(server.Count("PASV"), 3);
  EXPECT_EQ(server.DataTries().size(), 16U);
  ExpectTheFile();
}

class FtpRefusedDataPort : public FtpSegments {
 protected:
  // One segment whose data port always refuses, after some tries.
  void Spin() {
    FtpFault fault;
    fault.refuseData = 1'000'000;
    fault.dataWire.latency = 1;
    server.Always(fault);
    Start(Serve(9000));
    ASSERT_TRUE(sim.RunUntil([&] { return server.DataTries().size() == 3; }, 30'000)) << sim.Replay();
  }
  void ExpectNoMoreTries() {
    const std::size_t tries = server.DataTries().size();
    sim.RunFor(10'000);
    EXPECT_EQ(server.DataTries().size(), tries);
    EXPECT_EQ(sim.network().Open(), 0);
  }
};

TEST_F(FtpRefusedDataPort, IsTriedAtMostFiveTimesInAnySecond) {
  Spin();
  sim.RunFor(20'000);
  const std::vector<std::int64_t>& tries = server.DataTries();
  ASSERT_GT(tries.size(), 90U);
  for (std::size_t i = 5; i < tries.size(); ++i) EXPECT_GE(tries[i] - tries[i - 5], 1000) << i;
}

TEST_F(FtpRefusedDataPort, IsNotRetriedOncePaused) {
  Spin();
  sim.RunFor(50);
  PauseOrResume();
  ExpectNoMoreTries();
  server.Always({});
  PauseOrResume();
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  ExpectTheFile();
}

TEST_F(FtpRefusedDataPort, IsNotRetriedOnceCancelled) {
  Spin();
  sim.RunFor(50);
  Click(&TransferWindow::Command2);
  ExpectNoMoreTries();
}

TEST_F(FtpRefusedDataPort, IsNotRetriedOnceTheWindowIsUnloaded) {
  Spin();
  sim.RunFor(50);
  sim.Do([&] { WindowOf()->UnloadWindow(); });
  ExpectNoMoreTries();
}

TEST_F(FtpRefusedDataPort, IsNotRetriedOnceTheSlotIsRefilled) {
  Spin();
  program.RaiseSerial(1);
  sim.RunFor(500);
  ExpectNoMoreTries();
}

TEST_F(FtpRefusedDataPort, IsNotRetriedOnceTheServerDismissesTheLogin) {
  FtpFault fault;
  fault.refuseData = 1'000'000;
  fault.refuse["RETR"] = "421 no data connection\r\n";
  Always(fault);
  Start(Serve(9000));
  ASSERT_TRUE(RunUntilState(1, kSegmentRefused)) << sim.Replay();
  sim.RunFor(50);
  ExpectNoMoreTries();
}

TEST_F(FtpSegments, EnterState11SilentlyWhenRefused) {
  std::vector<std::pair<std::string, std::string>> cases;
  for (const char* const verb : {"USER", "PASS", "PASV", "TYPE", "REST", "RETR"}) {
    for (const char* const reply : {"421 busy\r\n", "530 busy\r\n"}) cases.emplace_back(verb, reply);
  }
  for (const auto& [verb, reply] : cases) {
    FtpFault fault;
    fault.wire.latency = 10;
    fault.dataWire.latency = 2;  // the data connection opens before RETR is answered
    fault.refuse[verb] = reply;
    server.OnConnection(server.Connections() + 2, fault);
    sim.disk().Lose("/home/u/dl/a.bin");
    Start(Serve(9000));
    const int index = program.DownloadCount;
    ASSERT_TRUE(sim.RunUntil(
        [&] { return Record(index).SegmentCount == 1 && Record(index).Segment(1).State == kSegmentRefused; }, 30'000))
        << verb;
    const int connections = server.Connections();
    sim.RunFor(120'000);
    EXPECT_EQ(server.Connections(), connections);  // a lone segment has no sibling to wake it
    EXPECT_EQ(sim.dialogs().Boxes().size(), 0U);
    // An open data connection is left to the server.
    EXPECT_EQ(sim.network().Open(), verb == "RETR" ? 1 : 0) << verb << reply;
    sim.Do([&] { WindowOf(index)->RefreshList(0); });
    EXPECT_EQ(WindowOf(index)->StateS(0).Caption(), "Too Many Connections");
    sim.Do([&] { WindowOf(index)->RefreshList(1); });
    EXPECT_EQ(WindowOf(index)->StateS(0).Caption(), "Too many connections.");
    PauseAndResume(index);
    ASSERT_TRUE(RunUntilFinished(index)) << verb << sim.Replay();
    ExpectTheFile();
  }
}

TEST_F(FtpSegments, Ignore550AndWaitForPauseAndResume) {
  for (const char* const verb : {"USER", "PASS", "PASV", "TYPE", "REST", "RETR"}) {
    FtpFault fault;
    fault.refuse[verb] = "550 no\r\n";
    server.OnConnection(server.Connections() + 2, fault);
    sim.disk().Lose("/home/u/dl/a.bin");
    Start(Serve(9000));
    const int index = program.DownloadCount;
    EXPECT_FALSE(RunUntilFinished(index, 120'000)) << verb;
    EXPECT_EQ(sim.dialogs().Boxes().size(), 0U);
    EXPECT_TRUE(Record(index).InUse);
    PauseAndResume(index);
    ASSERT_TRUE(RunUntilFinished(index)) << verb << sim.Replay();
    ExpectTheFile();
  }
}

TEST_F(FtpSegments, Report500AtAnyStepInABoxAndChangeNothing) {
  for (const char* const verb : {"USER", "PASS", "PASV", "TYPE", "REST", "RETR"}) {
    FtpFault fault;
    fault.refuse[verb] = "500 what?\r\n";
    server.OnConnection(server.Connections() + 2, fault);
    Start(Serve(9000));
    const int index = program.DownloadCount;
    ASSERT_TRUE(sim.RunUntil([&] { return sim.dialogs().OpenCount() == 1; }, 30'000)) << verb;
    EXPECT_EQ(sim.dialogs().Next().text, "Error in FTP !");
    const std::int16_t state = Record(index).Segment(1).State;
    sim.dialogs().AnswerNext(kAnswerOk);
    sim.RunFor(10);
    EXPECT_TRUE(Record(index).Active) << verb;
    EXPECT_TRUE(Record(index).Valid) << verb;
    EXPECT_NE(state, kSegmentRefused) << verb;
    sim.Do([&] { WindowOf(index)->Command2.Click(); });
  }
}

TEST_F(FtpSegments, ReconnectToASilentServer25SecondsAfterTheirConnect) {
  FtpFault silent;
  silent.greeting.clear();
  server.OnConnection(2, silent);
  server.OnConnection(3, silent);
  Start(Serve(9000));
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  ASSERT_EQ(server.Connections(), 4);
  std::vector<const SimConnectionLog*> control;
  for (const SimConnectionLog& log : sim.network().Log()) {
    if (log.host == "f.example") control.push_back(&log);
  }
  for (std::size_t i = 2; i < 4; ++i) {
    const std::int64_t waited = control[i]->askedAt - control[i - 1]->connectedAt;
    EXPECT_GT(waited, 25'000);
    EXPECT_LE(waited, 26'100);
  }
  ExpectTheFile();
}

TEST_F(FtpSegments, WaitForPauseAndResumeIfTheServerIsSilentAfterItsGreeting) {
  for (const char* const verb : {"USER", "PASS", "PASV", "REST", "RETR"}) {
    FtpFault mute;
    mute.refuse[verb] = "";
    server.OnConnection(server.Connections() + 2, mute);
    sim.disk().Lose("/home/u/dl/a.bin");
    Start(Serve(9000));
    const int index = program.DownloadCount;
    EXPECT_FALSE(RunUntilFinished(index, 120'000)) << verb;
    PauseOrResume(index);
    sim.RunFor(100);
    EXPECT_EQ(sim.network().Open(), 0) << verb;
    PauseOrResume(index);
    ASSERT_TRUE(RunUntilFinished(index)) << verb << sim.Replay();
    ExpectTheFile();
  }
}

TEST_F(FtpSegments, WaitIfTheirDataEndsEarlyAndContinueFromThereOnResume) {
  FtpFault fault;
  fault.endDataAfter = 30000;
  Always(fault);
  Start(Serve(400003));
  EXPECT_FALSE(RunUntilFinished(1, 120'000));
  for (int i = 1; i <= 4; ++i) {
    EXPECT_EQ(Record().Segment(i).State, kSegmentReceiving) << i;
    EXPECT_EQ(Record().Segment(i).ReceivedNow, 30000) << i;
  }
  PauseOrResume();
  server.Always({});
  PauseOrResume();
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(server.Commands(6), SegmentFrom(30000));
  EXPECT_EQ(server.Commands(9), SegmentFrom(330003));
  EXPECT_EQ(Record().Received, 400003 - 4);
  ExpectTheFile();
}

TEST_F(FtpSegments, DropTheirDataConnectionWhenTheSpacingLoopReconnects) {
  program.settings.MaxSegments = 8;
  FtpFault fault;
  fault.wire.latency = 1;
  fault.dataWire.latency = 1;
  fault.dataWire.bytesPerSecond = 40000;
  server.Always(fault);
  Start(Serve(400003));
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(server.Connections(), 12);
  EXPECT_EQ(Record().Received, 400003 - 8);
  ExpectTheFile();
}

TEST_F(FtpSegments, ContinueAfterTheReceivedBytesWhenReconnected) {
  FtpFault fault;
  fault.dataWire.bytesPerSecond = 5000;
  server.Always(fault);
  for (const std::uint32_t into : {1000, 1100, 1333, 1500, 2000, 2500}) {
    sim.disk().Lose("/home/u/dl/a.bin");
    const int before = server.Connections();
    Start(Serve(20000));
    const int index = program.DownloadCount;
    sim.RunFor(into);
    const std::int32_t received = Record(index).Segment(1).ReceivedNow;
    sim.Do([&] { program.platform.tasks.Spawn(WindowOf(index)->ConnectSegmented()); });
    EXPECT_EQ(Record(index).Segment(1).RangeStart, received) << into;
    sim.RunFor(300);  // both are reconnected, and neither has requested a data port yet
    EXPECT_EQ(sim.network().Open(), 2) << into;
    ASSERT_TRUE(RunUntilFinished(index)) << into << sim.Replay();
    EXPECT_EQ(server.Connections() - before, 5) << into;
    EXPECT_EQ(Record(index).Received, 20000 - 2) << into;
    ExpectTheFile();
  }
}

TEST_F(FtpSegments, UseTheFirstOfTwoPasvReplies) {
  FtpFault fault;
  fault.say["PASV"] = "227 first ({address})\r\n227 second (10,0,0,9,1,1)\r\n";
  fault.wire.cut = SimCut::Whole;
  server.Always(fault);
  Start(Serve(9000));
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  ExpectTheFile();
}

TEST_F(FtpSegments, SendOneRetrAfterAMultiline350) {
  FtpFault fault;
  fault.say["REST"] = "350-restarting\r\n350 there\r\n";
  server.Always(fault);
  Start(Serve(20000));
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(server.Count("RETR /a.bin"), 2);
  ExpectTheFile();
}

TEST_F(FtpSegments, OpenThePartFileForEachBlockAndKeepNoneOpen) {
  std::uint64_t opens = 0;
  std::uint64_t writes = 0;
  sim.disk().FailWhere(
      [&](DiskCall call, const std::string& path) {
        if (path.find("a.bin001.tmp") == std::string::npos || Record().Finished) return false;
        opens += call == DiskCall::Open ? 1U : 0U;
        writes += call == DiskCall::Write ? 1U : 0U;
        return false;
      },
      1);
  FtpFault fault;
  fault.dataWire.bytesPerSecond = 5000;
  server.Always(fault);
  Start(Serve(9000));
  ASSERT_TRUE(RunUntilState(1, kSegmentComplete)) << sim.Replay();
  EXPECT_EQ(writes, 18U);  // ten blocks a second
  EXPECT_EQ(opens, writes);
}

TEST_F(FtpSegments, CountTimeFromTheDataConnection) {
  FtpFault fault;
  fault.wire.latency = 150;
  fault.dataWire.latency = 150;
  fault.dataWire.bytesPerSecond = 2000;
  server.Always(fault);
  Start(Serve(9000));
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  // 4.5 s of data plus latency; neither logins nor waits.
  EXPECT_GE(Record().ElapsedSeconds, 4.5F);
  EXPECT_LE(Record().ElapsedSeconds, 5.0F);
}

TEST_F(FtpSegments, EndTheProgramOnAFullDiskAndNameTheFile) {
  sim.disk().SetCapacity(5000);
  Start(Serve(9000));
  EXPECT_FALSE(RunUntilFinished(1, 60'000));
  ASSERT_EQ(sim.dialogs().Boxes().size(), 1U);
  EXPECT_NE(sim.dialogs().Boxes()[0].text.find("a.bin001.tmp"), std::string::npos) << sim.dialogs().Boxes()[0].text;
}

// Each block opens the part again, so that a link put at its name is noticed at once.
TEST_F(FtpSegments, StopOnlyTheirDownloadIfALinkTakesAPartsName) {
  program.settings.MaxSegments = 2;
  sim.disk().Put("/home/u/letter", "kept");
  const std::string url = Serve(200000);
  FtpFault slow;
  slow.dataWire.bytesPerSecond = 20000;
  server.Always(slow);
  Start(url);
  ASSERT_TRUE(RunUntilState(1, kSegmentReceiving));
  const std::string part = Segment(1).TempFile;
  sim.disk().Lose(part);
  sim.disk().PutLink(part, "/home/u/letter");
  ASSERT_TRUE(RunUntilABoxStands());
  EXPECT_NE(sim.dialogs().Next().text.find(part), std::string::npos);
  EXPECT_FALSE(program.Ending());
  EXPECT_TRUE(Record().Paused);
  Answer(kAnswerOk);
  sim.RunFor(1000);
  EXPECT_EQ(sim.network().Open(), 0);
  Resume();
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  ExpectTheFile();
  EXPECT_TRUE(sim.disk().Holds("/home/u/letter", "kept"));
}

}  // namespace
}  // namespace pellora
