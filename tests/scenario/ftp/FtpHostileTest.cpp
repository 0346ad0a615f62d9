// Hostile servers: endless replies, odd orders, misleading directories and data.
#include <algorithm>

#include "FtpFixture.h"

namespace pellora {
namespace {

std::string Repeated(const std::string& text, int count) {
  std::string all;
  for (int i = 0; i < count; ++i) all += text;
  return all;
}

// Connection 1 is the probe, 2 the only segment of a small file.
class FtpHostileServer : public FtpFixture {
 protected:
  // Every connection from number `connection` on has the fault.
  void From(int connection, FtpFault fault) {
    fault.wire.cut = SimCut::Whole;
    server.Always(fault);
    for (int i = 1; i < connection; ++i) server.OnConnection(i, {});
  }
  std::size_t CommandsOf(int connection) const { return server.Commands(connection).size(); }
  // Once the server is honest, pause and resume complete the file.
  void ExpectTheFileAfterPauseAndResume() {
    server.NoFaults();
    const int from = server.Connections();
    for (int i = 1; i <= from + 1; ++i) server.OnConnection(i, {});
    PauseOrResume();
    sim.RunFor(100);
    EXPECT_EQ(sim.network().Open(), 0);
    PauseOrResume();
    ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
    ExpectTheFile();
  }
};

TEST_F(FtpHostileServer, GetsFewProbeAnswersToEndlessPasswordPrompts) {
  FtpFault fault;
  fault.greeting = "220 a\r\n" + Repeated("331 x\r\n", 20'000);
  fault.refuse["PASS"] = "";
  From(1, fault);
  Start(Serve(9000));
  sim.RunFor(5000);
  EXPECT_GE(CommandsOf(1), 10U);
  EXPECT_LE(CommandsOf(1), 50U);
  ExpectTheFileAfterPauseAndResume();
}

TEST_F(FtpHostileServer, GetsFewSegmentAnswersToEndlessPasswordPrompts) {
  FtpFault fault;
  fault.greeting = "220 a\r\n" + Repeated("331 x\r\n", 20'000);
  fault.refuse["PASS"] = "";
  From(2, fault);
  Start(Serve(9000));
  sim.RunFor(5000);
  EXPECT_GE(CommandsOf(2), 10U);
  EXPECT_LE(CommandsOf(2), 50U);
  ExpectTheFileAfterPauseAndResume();
}

TEST_F(FtpHostileServer, GetsFewAnswersToEndlessPwdAndSizeReplies) {
  for (const char* const verb : {"PWD", "SIZE"}) {
    FtpFault fault;
    fault.wire.cut = SimCut::Whole;
    fault.say[verb] = Repeated(std::string(verb) == "PWD" ? "257 \"/\"\r\n" : "213 9000\r\n", 20'000);
    fault.refuse["CWD"] = std::string(verb) == "PWD" ? "" : "250 there\r\n";
    fault.refuse["REST"] = "";
    const int connection = server.Connections() + 1;
    server.OnConnection(connection, fault);
    Start(Serve(9000));
    const int index = program.DownloadCount;
    sim.RunFor(5000);
    EXPECT_GE(CommandsOf(connection), 10U) << verb;
    EXPECT_LE(CommandsOf(connection), 50U) << verb;
    sim.Do([&] { WindowOf(index)->Command2.Click(); });
  }
}

TEST_F(FtpHostileServer, CanSendRepliesOf100000LinesInOneBlock) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"USER", Repeated("xyz\r\n", 100'000) + "331 b\r\n"},
      {"PASS", Repeated("230-x\r\n", 5'000) + Repeated("xyz\r\n", 100'000)},
      {"PASV", Repeated("227 ({address})\r\n", 1) + Repeated("227 (10,0,0,1,1,1)\r\n", 100'000)},
      {"REST", Repeated("350-x\r\n", 100'000)}};
  for (const auto& [verb, reply] : cases) {
    FtpFault fault;
    fault.wire.cut = SimCut::Whole;
    fault.wire.bytesPerSecond = 0;
    fault.say[verb] = reply;
    server.OnConnection(server.Connections() + 2, fault);
    sim.disk().Lose("/home/u/dl/a.bin");
    Start(Serve(9000));
    ASSERT_TRUE(RunUntilFinished(program.DownloadCount)) << verb << sim.Replay();
    ExpectTheFile();
  }
}

TEST_F(FtpHostileServer, CannotFillMemoryWithAnEndlessLine) {
  for (const char* const verb : {"USER", "PASS", "PASV", "REST"}) {
    FtpFault fault;
    fault.wire.cut = SimCut::Whole;
    fault.say[verb] = std::string(3'000'000, 'x') + std::string(1000, '\0');
    server.OnConnection(server.Connections() + 2, fault);
    sim.disk().Lose("/home/u/dl/a.bin");
    Start(Serve(9000));
    const int index = program.DownloadCount;
    EXPECT_FALSE(RunUntilFinished(index, 30'000)) << verb;
    PauseAndResume(index);
    ASSERT_TRUE(RunUntilFinished(index, 30'000)) << verb << sim.Replay();
    ExpectTheFile();
  }
}

// Otherwise each reply would cause a try.
TEST_F(FtpHostileServer, CannotCauseMoreThanFiveDataPortTriesASecond) {
  for (const char* const reply : {"227 (10,0,0,1,0,0)\r\n", "227 (10,0,0,1,255,255)\r\n"}) {
    FtpFault fault;
    fault.wire.cut = SimCut::Whole;
    fault.wire.latency = 1;
    fault.say["PASV"] = Repeated(reply, 1000);
    server.OnConnection(server.Connections() + 2, fault);
    Start(Serve(9000));
    const int index = program.DownloadCount;
    sim.RunFor(6000);
    std::vector<std::int64_t> tries;
    for (const SimConnectionLog& log : sim.network().Log()) {
      if (log.host == "10.0.0.1") tries.push_back(log.askedAt);
    }
    EXPECT_GT(tries.size(), 15U) << reply;
    for (std::size_t i = 5; i < tries.size(); ++i) EXPECT_GE(tries[i] - tries[i - 5], 1000) << reply << i;
    sim.Do([&] { WindowOf(index)->Command2.Click(); });
    sim.RunFor(1000);
    EXPECT_EQ(sim.network().Open(), 0);
  }
}

TEST_F(FtpHostileServer, CannotInjectCommandsThroughItsDirectory) {
  FtpFault fault;
  fault.say["PWD"] = std::string("257 \"/x\rDELE a\nDELE b") + '\0' + "c\"\r\n";
  fault.refuse["CWD"] = "550 no\r\n";
  server.OnConnection(1, fault);
  Start(Serve(9000));
  ASSERT_TRUE(sim.RunUntil([&] { return sim.dialogs().OpenCount() == 1; }, 30'000)) << sim.Replay();
  ASSERT_FALSE(server.Commands(1).empty());
  EXPECT_EQ(server.Commands(1).back(), "CWD /x?DELE a?DELE b?c/");
  for (const std::string& line : server.Commands(1))
    EXPECT_EQ(line.find_first_of(std::string("\r\n\0", 3)), std::string::npos);
}

// On a faster control connection 226 arrives before the data's end.
TEST_F(FtpHostileServer, MayReportTheTransfersEndBeforeItsData) {
  FtpFault fault;
  fault.wire.latency = 1;
  fault.dataWire.latency = 50;
  fault.dataWire.bytesPerSecond = 5000;
  server.Always(fault);
  Start(Serve(20000));
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  ExpectTheFile();
}

// A data connection that opens right after the PASV reply delivers bytes before RETR is sent.
TEST_F(FtpHostileServer, CannotWriteOutsideThePartFileWithEarlyData) {
  SimScript eager;
  eager.onConnect = [](SimPeer& peer) {
    peer.Send(std::string(50'000, 'z'));
    peer.Close();
  };
  sim.network().Serve("10.0.0.7", 4711, eager);
  FtpFault fault;
  fault.say["PASV"] = "227 (10,0,0,7,18,103)\r\n";
  server.OnConnection(2, fault);
  Start(Serve(9000));
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(sim.disk().Get("/home/u/dl/a.bin"), std::string(9000, 'z'));
  EXPECT_FALSE(sim.disk().Has(Record().Segment(1).TempFile));
  sim.RunFor(1000);
  EXPECT_EQ(sim.network().Open(), 0);
  sim.network().Remove("10.0.0.7", 4711);
}

TEST_F(FtpHostileServer, CanBeResumedAfterRepliesInOddOrder) {
  const std::vector<std::string> codes = {"150 x", "200 x", "213 9000",           "220 x", "226 x",     "230 x",
                                          "250 x", "331 x", "227 (10,0,0,1,1,1)", "350 x", "257 \"/\"", "421-x"};
  SimRandom random(71);
  for (int round = 0; round < 150; ++round) {
    FtpFault fault;
    fault.wire.cut = random.Coin() ? SimCut::Whole : SimCut::Seeded;
    for (const char* const verb : {"USER", "PASS", "PASV", "TYPE", "REST", "RETR"}) {
      std::string reply;
      for (std::uint64_t lines = random.Below(4); lines > 0; --lines)
        reply += codes[random.Below(codes.size())] + "\r\n";
      if (random.Coin()) (random.Coin() ? fault.say : fault.refuse)[verb] = reply;
    }
    fault.greeting = codes[random.Below(codes.size())] + "\r\n220 x\r\n";
    server.OnConnection(server.Connections() + 2, fault);
    sim.disk().Lose("/home/u/dl/a.bin");
    Start(Serve(9000));
    const int index = program.DownloadCount;
    if (!RunUntilFinished(index, 20'000)) {
      PauseOrResume(index);
      sim.RunFor(random.Below(3));
      EXPECT_EQ(sim.network().Open(), 0) << round;
      PauseOrResume(index);
    }
    ASSERT_TRUE(RunUntilFinished(index, 60'000)) << round << sim.Replay();
    EXPECT_EQ(sim.dialogs().Boxes().size(), 0U) << round;
    ExpectTheFile();
  }
}

}  // namespace
}  // namespace pellora
