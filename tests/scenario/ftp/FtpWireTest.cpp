// The commands of the probe and of the segments, and replies cut everywhere.
#include <tuple>

#include "FtpFixture.h"

namespace pellora {
namespace {

class FtpWire : public FtpFixture {};

TEST_F(FtpWire, SendsTheCommandsOfAProbeAndFourSegmentsInOrder) {
  Start(Serve(400003));
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  ASSERT_EQ(server.Connections(), 5);
  EXPECT_EQ(server.Commands(1), kProbeOfRootFile);
  EXPECT_EQ(server.Commands(2), SegmentFrom(0));
  EXPECT_EQ(server.Commands(3), SegmentFrom(100003));
  EXPECT_EQ(server.Commands(4), SegmentFrom(200003));
  EXPECT_EQ(server.Commands(5), SegmentFrom(300003));
  EXPECT_EQ(Record().RestState, "0");
  ExpectTheFile();
}

TEST_F(FtpWire, SendsEachCommandWithItsLineEndAndNothingElse) {
  Start(Serve(9999));
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  ASSERT_EQ(sim.network().Log().size(), 3U);
  EXPECT_EQ(sim.network().Log()[0].received,
            "USER anonymous\r\nPASS user@pellora.example\r\nTYPE I\r\nPWD\r\nPASV\r\nCWD /\r\nSIZE /a.bin\r\nTYPE A\r\n"
            "REST 0\r\n");
  EXPECT_EQ(sim.network().Log()[1].received,
            "USER anonymous\r\nPASS user@pellora.example\r\nPASV\r\nTYPE I\r\nREST 0\r\nRETR /a.bin\r\n");
  EXPECT_EQ(sim.network().Log()[2].received, "");
}

// Slow file work after the 227, so that the 350 arrives before the reply's turn.
TEST_F(FtpWire, RequestsTheDataConnectionBeforeRetrEvenIf350ArrivesInTheTurnOf227) {
  const std::string login = "220 ready\r\n331 password, please\r\n230 logged in\r\n";
  const std::string passive = "227 Entering Passive Mode (10,0,0,1,78,32).\r\n";
  FtpFault fault;
  fault.wire.splitAt = {login.size(), login.size() + passive.size()};
  Serve(9000);
  const auto& log = sim.network().Log();
  for (int index = 1; index <= 20; ++index) {  // the seed decides whose turn is first
    server.OnConnection(server.Connections() + 2, fault);
    sim.disk().Lose("/home/u/dl/a.bin");
    Start("ftp://f.example/a.bin");
    const std::size_t segment = log.size();  // after the probe's
    bool late = false;
    sim.loop().SetAfterEach([&](SimLane) {
      if (late || log.size() <= segment || log[segment].delivered != login.size() + passive.size()) return;
      late = true;
      sim.Stall(50);
    });
    const auto asked = [&] { return log.size() > segment && log[segment].received.find("RETR") != std::string::npos; };
    const bool retrieved = sim.RunUntil(asked, 60'000);
    sim.loop().SetAfterEach({});
    ASSERT_TRUE(retrieved) << sim.Replay();
    EXPECT_TRUE(late) << index;
    EXPECT_EQ(log.size(), segment + 2) << index << sim.Replay();
    ASSERT_TRUE(RunUntilFinished(index)) << sim.Replay();
    ExpectTheFile();
  }
}

TEST_F(FtpWire, SendsNeitherQuitNorAborWhenHangingUp) {
  Start(Serve(400003));
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(server.Count("QUIT"), 0);
  EXPECT_EQ(server.Count("ABOR"), 0);
  sim.RunFor(1000);
  EXPECT_EQ(server.Logins(), 0);
}

TEST_F(FtpWire, UsesOneSegmentLoginBelow10000Bytes) {
  Start(Serve(9999));
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(server.Connections(), 2);
  EXPECT_EQ(Record().SegmentCount, 1);
  ExpectTheFile();
}

TEST_F(FtpWire, UsesTwoLoginsFrom10000BytesAndEightFrom100000) {
  program.settings.MaxSegments = 8;
  // The stall watch connects the last three of eight segments early, and the spacing loop connects them again.
  const std::vector<std::tuple<std::uint64_t, int, int>> cases = {
      {10000, 2, 3}, {99999, 2, 3}, {100000, 8, 12}, {100001, 8, 12}};
  int index = 0;
  int before = 0;
  for (const auto& [size, segments, connections] : cases) {
    sim.disk().Lose("/home/u/dl/a.bin");
    Start(Serve(size));
    ASSERT_TRUE(RunUntilFinished(++index)) << sim.Replay();
    EXPECT_EQ(Record(index).SegmentCount, segments) << size;
    EXPECT_EQ(server.Connections() - before, connections) << size;
    before = server.Connections();
    ExpectTheFile();
  }
}

TEST_F(FtpWire, SendsTheUrlsUserAndPasswordOnProbeAndSegments) {
  server.User("joe", "s3cret word");
  server.loginDirectory = "/home/joe";
  content = SimContent::Generated(10000);
  server.File("/home/joe/pub/a.bin", content);
  Start("ftp://joe:s3cret word@f.example:21/pub/a.bin");
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(server.Commands(1), (Lines{"USER joe", "PASS s3cret word", "TYPE I", "PWD", "PASV", "CWD /home/joe/pub/",
                                       "SIZE /home/joe/pub/a.bin", "TYPE A", "REST 0"}));
  EXPECT_EQ(server.Commands(2),
            (Lines{"USER joe", "PASS s3cret word", "PASV", "TYPE I", "REST 0", "RETR /home/joe/pub/a.bin"}));
  EXPECT_EQ(server.Commands(3),
            (Lines{"USER joe", "PASS s3cret word", "PASV", "TYPE I", "REST 5000", "RETR /home/joe/pub/a.bin"}));
  ExpectTheFile();
}

TEST_F(FtpWire, SendsAnEmptyPassForANamedUserWithoutPassword) {
  server.User("joe", "");
  Serve(9000);
  Start("ftp://joe:@f.example:21/a.bin");
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(server.Count("PASS "), 2);
  ExpectTheFile();
}

TEST_F(FtpWire, SendsATwentyCharacterMailAddressAsAnonymousPassword) {
  Start(Serve(9000));
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  const std::string command = server.Commands(1).at(1);
  EXPECT_EQ(command.size(), std::string("PASS ").size() + 20);
  EXPECT_NE(command.find('@'), std::string::npos);
  EXPECT_TRUE(command.ends_with(".example"));
}

TEST_F(FtpWire, SendsUserOnceAfterAMultilineGreeting) {
  FtpFault fault;
  fault.greeting = "220-Welcome\r\n220-to this\r\n220 server\r\n";
  server.Always(fault);
  Start(Serve(20000));
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(server.Count("USER anonymous"), 3);
  ExpectTheFile();
}

TEST_F(FtpWire, SendsUserOnceIfGreetingLinesArriveOneByOne) {
  FtpFault fault;
  fault.greeting = "220-Welcome\r\n220-to this\r\n220 server\r\n";
  fault.wire.splitAt = {13, 26};
  server.Always(fault);
  Start(Serve(20000));
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(server.Count("USER anonymous"), 3);
  ExpectTheFile();
}

TEST_F(FtpWire, SendsTheCommandGroupOnceAfterAMultiline230) {
  FtpFault fault;
  fault.say["PASS"] = "230-Hello\r\n230-files are in pub\r\n230 logged in\r\n";
  server.Always(fault);
  Start(Serve(20000));
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(server.Commands(1), kProbeOfRootFile);
  EXPECT_EQ(server.Commands(2), SegmentFrom(0));
  EXPECT_EQ(server.Commands(3), SegmentFrom(10000));
  ExpectTheFile();
}

TEST_F(FtpWire, SendsTheCommandGroupOnceDespiteASecond230DuringTheWait) {
  FtpFault fault;
  fault.say["PASS"] = "230-Hello\r\n230 logged in\r\n";
  fault.wire.splitAt = {7 + 4, 7 + 4 + 22, 7 + 4 + 22 + 11};  // greeting, 331, first line of the 230
  server.Always(fault);
  Start(Serve(20000));
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(server.Commands(2), SegmentFrom(0));
  EXPECT_EQ(server.Commands(3), SegmentFrom(10000));
  EXPECT_EQ(server.Count("PASV"), 3);
  ExpectTheFile();
}

TEST_F(FtpWire, SendsACommandGroupWithoutAwaitingReplies) {
  FtpFault fault;
  fault.wire.latency = 100;
  fault.thinkTime = 50;
  server.Always(fault);
  Start(Serve(9000));
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  const auto at = [&](int connection, const std::string& line) {
    for (const FtpCommandLog& entry : server.Log()) {
      if (entry.connection == connection && entry.line == line) return entry.at;
    }
    ADD_FAILURE() << line;
    return std::int64_t{-1};
  };
  EXPECT_EQ(at(1, "TYPE I"), at(1, "PWD"));
  EXPECT_EQ(at(1, "TYPE I"), at(1, "PASV"));
  EXPECT_EQ(at(1, "SIZE /a.bin"), at(1, "TYPE A"));
  EXPECT_EQ(at(2, "PASV"), at(2, "TYPE I"));
  EXPECT_EQ(at(2, "PASV"), at(2, "REST 0"));
  // Each of the others follows a reply: a round trip and the server's delay.
  EXPECT_GE(at(1, "CWD /") - at(1, "PWD"), 250);
  EXPECT_GE(at(1, "SIZE /a.bin") - at(1, "CWD /"), 250);
  EXPECT_GE(at(1, "REST 0") - at(1, "SIZE /a.bin"), 250);
  EXPECT_GE(at(2, "RETR /a.bin") - at(2, "REST 0"), 250);
}

TEST_F(FtpWire, WaitsHalfASecondBetween230AndPasv) {
  FtpFault fault;
  fault.wire.latency = 10;
  server.Always(fault);
  Start(Serve(9000));
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  std::int64_t pass = 0;
  std::int64_t pasv = 0;
  for (const FtpCommandLog& entry : server.Log()) {
    if (entry.connection != 2) continue;
    if (entry.line.starts_with("PASS")) pass = entry.at;
    if (entry.line == "PASV") pasv = entry.at;
  }
  EXPECT_GT(pasv - pass, 520);
  EXPECT_LE(pasv - pass, 531);
}

TEST_F(FtpWire, WaitsHalfASecondAcrossMidnightToo) {
  Start(Serve(9000));
  sim.SetTimeOfDay(86399.9);
  ASSERT_TRUE(RunUntilState(1, kSegmentLoggedIn, 2000)) << sim.Replay();
  ASSERT_TRUE(RunUntilFinished(1, 5000)) << sim.Replay();
  ExpectTheFile();
}

TEST_F(FtpWire, SendsSizeOnceAfterAMultiline250) {
  FtpFault fault;
  fault.say["CWD"] = "250-Read the rules\r\n250 directory changed\r\n";
  server.Always(fault);
  Start(Serve(400003));
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(server.Commands(1), kProbeOfRootFile);
  EXPECT_EQ(server.Connections(), 5);
  ExpectTheFile();
  sim.RunFor(10'000);
  EXPECT_EQ(server.Connections(), 5);
  EXPECT_TRUE(sim.disk().Holds("/home/u/dl/a.bin", content));
}

TEST_F(FtpWire, AcceptsSeveralRepliesInOneBlock) {
  FtpFault fault;
  fault.wire.cut = SimCut::Whole;
  fault.wire.latency = 80;
  server.Always(fault);
  Start(Serve(400003));
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(server.Commands(1), kProbeOfRootFile);
  ExpectTheFile();
}

TEST_F(FtpWire, AcceptsAllRepliesOfTheProbeInOneBlock) {
  Serve(20000);
  FtpFault fault;
  fault.greeting =
      "220 a\r\n331 b\r\n230 c\r\n200 d\r\n257 \"/\"\r\n227 (1,2,3,4,5,6)\r\n250 e\r\n213 20000\r\n200 f\r\n350 g\r\n"
      "350 h\r\n500 i\r\n";
  server.OnConnection(1, fault);
  Start("ftp://f.example/a.bin");
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(server.Connections(), 3);
  EXPECT_EQ(Record().RestState, "0");
  ExpectTheFile();
}

// A line that arrives in two parts is never put together: each part is judged alone, and the probe drops text without a
// line end. It then waits until pause and resume restart it.
TEST_F(FtpWire, ToleratesAGreetingCutInTheProbeOnlyAtItsEnds) {
  const std::string greeting = "220 ready\r\n";
  Serve(9000);
  int index = 0;
  for (std::size_t cut = 1; cut <= greeting.size(); ++cut) {
    FtpFault fault;
    fault.wire.splitAt = {cut};
    server.OnConnection(server.Connections() + 1, fault);
    sim.disk().Lose("/home/u/dl/a.bin");
    Start("ftp://f.example/a.bin");
    const bool finished = RunUntilFinished(++index, 60'000);
    EXPECT_EQ(finished, cut == greeting.size()) << cut;
    if (!finished) {
      PauseOrResume(index);
      sim.RunFor(1000);
      PauseOrResume(index);
      EXPECT_TRUE(RunUntilFinished(index)) << cut;
    }
    ExpectTheFile();
  }
}

// A segment takes part of a line for a reply if it begins with the code: a cut after the third character does no harm;
// before it, the stall watch reconnects.
TEST_F(FtpWire, ToleratesAGreetingCutAnywhereInASegment) {
  const std::string greeting = "220 ready\r\n";
  Serve(9000);
  int index = 0;
  for (std::size_t cut = 1; cut <= greeting.size(); ++cut) {
    const int probe = server.Connections() + 1;
    FtpFault fault;
    fault.wire.splitAt = {cut};
    server.OnConnection(probe + 1, fault);
    sim.disk().Lose("/home/u/dl/a.bin");
    Start("ftp://f.example/a.bin");
    EXPECT_TRUE(RunUntilFinished(++index, 60'000)) << cut << sim.Replay();
    EXPECT_EQ(server.Connections() - probe, cut < 3 ? 2 : 1) << cut;
    ExpectTheFile();
  }
}

TEST_F(FtpWire, CutAnywhereInSegmentRepliesIsRecoveredByPauseAndResume) {
  const std::uint64_t length = 200;  // longer than one segment's replies
  Serve(9000);
  int index = 0;
  for (std::uint64_t cut = 12; cut < length; ++cut) {
    FtpFault fault;
    fault.wire.splitAt = {cut};
    server.OnConnection(server.Connections() + 2, fault);
    sim.disk().Lose("/home/u/dl/a.bin");
    Start("ftp://f.example/a.bin");
    ++index;
    if (!RunUntilFinished(index, 30'000)) {
      PauseAndResume(index);
    }
    ASSERT_TRUE(RunUntilFinished(index, 30'000)) << cut << sim.Replay();
    ExpectTheFile();
  }
}

TEST_F(FtpWire, CutAnywhereInProbeRepliesIsRecoveredByPauseAndResume) {
  Serve(9000);
  const std::uint64_t length = 260;  // longer than the probe's replies
  int index = 0;
  int whole = 0;
  for (std::uint64_t cut = 1; cut < length; ++cut) {
    FtpFault fault;
    fault.wire.splitAt = {cut};
    server.OnConnection(server.Connections() + 1, fault);
    sim.disk().Lose("/home/u/dl/a.bin");
    Start("ftp://f.example/a.bin");
    ++index;
    if (!RunUntilFinished(index, 30'000)) {
      EXPECT_EQ(Record(index).SegmentCount, 0) << cut;
      PauseAndResume(index);
    } else {
      ++whole;
    }
    ASSERT_TRUE(RunUntilFinished(index, 30'000)) << cut << sim.Replay();
    EXPECT_EQ(sim.dialogs().Boxes().size(), 0U) << cut;
    ExpectTheFile();
  }
  EXPECT_GT(whole, 20);  // cut between two replies, inside an unused one, or after the last
  EXPECT_LT(whole, 230);
}

TEST_F(FtpWire, StallsHarmlesslyOnOneByteBlocks) {
  FtpFault bytes;
  bytes.wire.cut = SimCut::EveryByte;
  Serve(9000);
  server.OnConnection(1, bytes);
  Start("ftp://f.example/a.bin");
  sim.RunFor(60'000);
  EXPECT_EQ(server.Commands(1), Lines{});
  server.OnConnection(3, bytes);
  PauseAndResume();
  sim.RunFor(20'000);
  EXPECT_EQ(Record().Segment(1).State, kSegmentRequested);
  EXPECT_EQ(server.Commands(3), Lines{});
  // The stall watch reconnects it.
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(server.Connections(), 4);
  ExpectTheFile();
}

TEST_F(FtpWire, SendsTheProbeToTheProxyAndSegmentsToTheServer) {
  program.settings.ProxyHTTP = true;
  program.settings.ProxyServer = "proxy.example";
  program.settings.ProxyPort = 8021;
  SimFtpServer proxy(sim.network(), "proxy.example", 8021);
  Serve(20000);
  proxy.File("/a.bin", content);
  Start("ftp://f.example/a.bin");
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(proxy.Connections(), 1);
  EXPECT_EQ(proxy.Commands(1), kProbeOfRootFile);
  EXPECT_EQ(server.Connections(), 2);
  ExpectTheFile();
}

}  // namespace
}  // namespace pellora
