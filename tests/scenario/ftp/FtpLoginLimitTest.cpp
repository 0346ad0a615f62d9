// Servers with a limit of logins: a refused segment waits in state 11 until a sibling completes, which wakes the lowest
// that waits.
#include <array>

#include "FtpFixture.h"

namespace pellora {
namespace {

struct LimitCase {
  FtpLimit at;
  std::string reply;
};

class FtpLoginLimit : public FtpFixture, public ::testing::WithParamInterface<int> {
 protected:
  static std::vector<LimitCase> Cases() {
    return {{FtpLimit::Greeting, "421 too many connections\r\n"},
            {FtpLimit::User, "530 too many logins\r\n"},
            {FtpLimit::User, "421 too many logins\r\n"},
            {FtpLimit::Pass, "530 too many logins\r\n"},
            {FtpLimit::Pass, "421 too many logins\r\n"}};
  }
  void Limit(const LimitCase& limit, std::uint64_t bytesPerSecond) {
    program.settings.MaxSegments = 8;
    server.mostLogins = 2;
    server.limitAt = limit.at;
    server.limitReply = limit.reply;
    FtpFault fault;
    fault.wire.latency = 10;
    fault.dataWire.latency = 10;
    fault.dataWire.bytesPerSecond = bytesPerSecond;
    server.Always(fault);
  }
};

TEST_F(FtpLoginLimit, CompletesEightSegmentsOnTwoLogins) {
  for (const LimitCase& limit : Cases()) {
    Limit(limit, 10000);
    sim.disk().Lose("/home/u/dl/a.bin");
    Start(Serve(400003));
    const int index = program.DownloadCount;
    ASSERT_TRUE(RunUntilFinished(index)) << limit.reply << sim.Replay();
    EXPECT_LE(server.MostLogins(), 2);
    EXPECT_GE(server.Refusals(), 6);
    EXPECT_EQ(Record(index).Received, 400003 - 8);
    EXPECT_EQ(sim.dialogs().Boxes().size(), 0U);
    ExpectTheFile();
  }
}

TEST_F(FtpLoginLimit, WakesTheLowestWaitingSegmentAtEachCompletion) {
  Limit(Cases()[3], 10000);
  Start(Serve(400003));
  ASSERT_TRUE(sim.RunUntil([&] { return Record().SegmentCount == 8; }));
  // After the spacing loop six wait and two run.
  ASSERT_TRUE(sim.RunUntil([&] { return WindowOf()->Command3.Enabled(); }, 30'000));
  sim.RunFor(500);
  for (int i = 3; i <= 8; ++i) EXPECT_EQ(Record().Segment(i).State, kSegmentRefused) << i;
  const auto complete = [&] {
    int count = 0;
    for (int i = 1; i <= 8; ++i) count += Record().Segment(i).State == kSegmentComplete ? 1 : 0;
    return count;
  };
  for (int done = 1; done <= 6; ++done) {
    ASSERT_TRUE(sim.RunUntil([&] { return complete() == done; }, 60'000)) << done;
    sim.RunFor(1);
    for (int i = 3; i <= 8; ++i) {
      const bool waits = Record().Segment(i).State == kSegmentRefused;
      EXPECT_EQ(waits, i > 2 + done) << "segment " << i << " after " << done << " completions";
    }
  }
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  ExpectTheFile();
}

TEST_F(FtpLoginLimit, SendsUserAgainOnAWokenConnection) {
  Limit(Cases()[3], 10000);
  Start(Serve(400003));
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  int retrieving = 0;
  for (int connection = 2; connection <= server.Connections(); ++connection) {
    const Lines commands = server.Commands(connection);
    if (commands.size() < 6) continue;
    ++retrieving;
    EXPECT_EQ(commands.front(), "USER anonymous");
    EXPECT_EQ(commands.back(), "RETR /a.bin");
    EXPECT_EQ(commands.size(), 6U);
  }
  EXPECT_EQ(retrieving, 8);
}

TEST_F(FtpLoginLimit, ConnectsAWokenSegmentOnceEvenIfSlow) {
  Limit(Cases()[3], 5000);  // 10 s for each segment
  FtpFault slow;
  slow.wire.latency = 700;
  slow.dataWire.latency = 10;
  slow.dataWire.bytesPerSecond = 2000;
  server.Always(slow);
  Start(Serve(400003));
  ASSERT_TRUE(sim.RunUntil([&] { return WindowOf() && Record().SegmentCount == 8; }));
  ASSERT_TRUE(sim.RunUntil([&] { return WindowOf()->Command3.Enabled(); }, 30'000));
  sim.RunFor(5000);
  const int before = server.Connections();
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(server.Connections(), before + 6);
  ExpectTheFile();
}

TEST_F(FtpLoginLimit, WakesTwoSegmentsAtTwoSimultaneousCompletions) {
  int coincidences = 0;
  // The first segment's data connection opens as much later as its control connection opened earlier.
  for (std::uint32_t delay = 195; delay <= 206; ++delay) {
    Limit(Cases()[3], 10000);
    FtpFault first;
    first.wire.latency = first.dataWire.latency = 10;
    first.dataWire.bytesPerSecond = 10000;
    first.dataWire.connectDelay = delay;
    server.OnConnection(server.Connections() + 2, first);
    sim.disk().Lose("/home/u/dl/a.bin");
    Start(Serve(400000));
    const int index = program.DownloadCount;
    std::array<double, 2> at{};
    ASSERT_TRUE(sim.RunUntil(
        [&] {
          if (Record(index).SegmentCount < 8) return false;
          for (int i = 1; i <= 2; ++i) {
            double& when = at.at(static_cast<std::size_t>(i - 1));
            if (when == 0 && Record(index).Segment(i).State == kSegmentComplete) when = sim.Elapsed();
          }
          return at[0] != 0 && at[1] != 0;
        },
        60'000));
    if (at[0] == at[1]) ++coincidences;
    sim.RunFor(2);
    EXPECT_NE(Record(index).Segment(3).State, kSegmentRefused) << delay;
    EXPECT_NE(Record(index).Segment(4).State, kSegmentRefused) << delay;
    ASSERT_TRUE(RunUntilFinished(index)) << sim.Replay();
    ExpectTheFile();
  }
  EXPECT_GT(coincidences, 0);
}

// Real servers notice late that a client hung up, so that the segment woken by a completion logs in too early.
TEST_F(FtpLoginLimit, CompletesIfTheServerNoticesHangUpsLate) {
  for (const std::uint32_t lingering : {5, 300, 999, 2500, 20'000}) {
    for (const LimitCase& limit : Cases()) {
      Limit(limit, 10000);
      server.lingering = lingering;
      sim.disk().Lose("/home/u/dl/a.bin");
      Start(Serve(400003));
      const int index = program.DownloadCount;
      ASSERT_TRUE(RunUntilFinished(index, 600'000)) << lingering << limit.reply << sim.Replay();
      EXPECT_LE(server.MostLogins(), 2);
      EXPECT_EQ(Record(index).Received, 400003 - 8);
      ExpectTheFile();
      sim.RunFor(lingering);
    }
  }
}

TEST_F(FtpLoginLimit, RetriesLessOftenIfTheServerNeverNoticesHangUps) {
  Limit(Cases()[3], 10000);
  server.lingering = 1'000'000;
  Start(Serve(400003));
  // The probe's login still counts, so only one segment gets in.
  ASSERT_TRUE(RunUntilState(1, kSegmentComplete)) << sim.Replay();
  const int before = server.Connections();
  sim.RunFor(500);
  EXPECT_EQ(server.Connections() - before, 1);
  sim.RunFor(59'500);
  EXPECT_EQ(server.Connections() - before, 6);  // again after 1, 2, 4, 8 and 16 s
  for (int i = 2; i <= 8; ++i) EXPECT_EQ(Record().Segment(i).State, kSegmentRefused) << i;
  PauseOrResume();
  const int paused = server.Connections();
  sim.RunFor(120'000);
  EXPECT_EQ(server.Connections(), paused);
  EXPECT_EQ(sim.network().Open(), 0);
  server.mostLogins = 100;
  PauseOrResume();
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  ExpectTheFile();
}

// One that retries is passed over while others were never released; after them it is next.
TEST_F(FtpLoginLimit, WakesTheLowestReleasedSegmentAtTheNextCompletion) {
  Limit(Cases()[3], 10000);
  program.settings.MaxSegments = 3;
  FtpFault slow;
  slow.wire.latency = slow.dataWire.latency = 10;
  slow.dataWire.bytesPerSecond = 2500;
  server.OnConnection(3, slow);
  Start(Serve(100'000));
  ASSERT_TRUE(RunUntilState(2, kSegmentReceiving)) << sim.Replay();
  server.lingering = 1'000'000;
  ASSERT_TRUE(RunUntilState(1, kSegmentComplete)) << sim.Replay();
  sim.RunFor(8000);  // tried at once and after 1, 2 and 4 s; the next try is 8 s later
  EXPECT_EQ(Record().Segment(3).State, kSegmentRefused);
  ASSERT_NE(Record().Segment(2).State, kSegmentComplete);
  const int before = server.Connections();
  ASSERT_TRUE(RunUntilState(2, kSegmentComplete)) << sim.Replay();
  EXPECT_EQ(server.Connections(), before);
  sim.RunFor(100);
  EXPECT_EQ(server.Connections(), before + 1);
  sim.RunFor(1100);  // its delays start again
  EXPECT_EQ(server.Connections(), before + 2);
  server.mostLogins = 100;
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  ExpectTheFile();
}

TEST_F(FtpLoginLimit, StopsRetryingWhenTheWindowCloses) {
  Limit(Cases()[3], 10000);
  server.lingering = 1'000'000;
  Start(Serve(400003));
  ASSERT_TRUE(RunUntilState(1, kSegmentComplete)) << sim.Replay();
  sim.RunFor(500);
  Click(&TransferWindow::Command2);
  const int before = server.Connections();
  sim.RunFor(60'000);
  EXPECT_EQ(server.Connections(), before);
  EXPECT_EQ(sim.network().Open(), 0);
}

TEST_F(FtpLoginLimit, ContinuesAfterTheReceivedBytesIfReachedMidTransfer) {
  FtpFault dismissed;
  dismissed.endDataAfter = 3000;
  dismissed.done = "421 too slow\r\n";
  dismissed.doneDelay = 2000;
  FtpFault usual;
  usual.dataWire.bytesPerSecond = 2000;
  server.Always(usual);
  server.OnConnection(3, dismissed);
  Start(Serve(20000));
  ASSERT_TRUE(RunUntilState(2, kSegmentRefused)) << sim.Replay();
  EXPECT_EQ(Record().Segment(2).ReceivedNow, 3000);
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(server.Commands(4), SegmentFrom(13000));
  EXPECT_EQ(Record().Received, 20000 - 2);
  ExpectTheFile();
}

TEST_F(FtpLoginLimit, LetsFlowingDataContinue) {
  FtpFault dismissed;
  dismissed.say["RETR"] = "150 here it comes\r\n421 too many\r\n";
  dismissed.dataWire.bytesPerSecond = 2000;
  dismissed.dataWire.latency = 2;
  dismissed.wire.latency = 100;
  server.OnConnection(2, dismissed);
  Start(Serve(9000));
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(server.Connections(), 2);
  ExpectTheFile();
}

TEST_F(FtpLoginLimit, SurvivesPauseAndResumeWithTheSameBytes) {
  Limit(Cases()[3], 10000);
  Start(Serve(400003));
  ASSERT_TRUE(RunUntilState(1, kSegmentComplete)) << sim.Replay();
  PauseOrResume();
  for (int i = 2; i <= 8; ++i) EXPECT_EQ(Record().Segment(i).State, kSegmentPaused) << i;
  sim.RunFor(5000);
  EXPECT_EQ(sim.network().Open(), 0);
  EXPECT_EQ(server.Logins(), 0);
  PauseOrResume();
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_LE(server.MostLogins(), 2);
  ExpectTheFile();
}

TEST_P(FtpLoginLimit, CompletesAtAnySpeedAndLength) {
  const LimitCase limit = Cases()[static_cast<std::size_t>(GetParam()) % 5];
  Limit(limit, 8000 + static_cast<std::uint64_t>(GetParam()) * 977);
  FtpFault fault;
  fault.wire.latency = static_cast<std::uint32_t>(1 + GetParam() * 13 % 190);
  fault.dataWire.latency = static_cast<std::uint32_t>(1 + GetParam() * 29 % 90);
  fault.dataWire.bytesPerSecond = 4000 + static_cast<std::uint64_t>(GetParam()) * 3571 % 40000;
  server.Always(fault);
  Start(Serve(100000 + static_cast<std::uint64_t>(GetParam()) * 12345));
  ASSERT_TRUE(RunUntilFinished()) << GetParam() << sim.Replay();
  EXPECT_LE(server.MostLogins(), 2);
  ExpectTheFile();
}

INSTANTIATE_TEST_SUITE_P(Waits, FtpLoginLimit, ::testing::Range(0, 40));

}  // namespace
}  // namespace pellora
