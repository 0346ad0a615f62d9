// Limits of speed on downloads by the classic engine, which reads its sockets later.
#include <algorithm>
#include <cmath>
#include <vector>

#include "SimFtpServer.h"
#include "SimHttpServer.h"
#include "TransferFixture.h"
#include "core/SpeedLimit.h"
#include "core/SpeedLimits.h"

namespace pellora {
namespace {

constexpr std::int64_t kKiB = 1024;

class SpeedBrakeTest : public TransferFixture {
 protected:
  void Limit(std::int32_t kib) {
    sim.Do([&] {
      program.settings.SpeedLimit = kib;
      program.speed->Update();
    });
  }
  void Watch(int seconds) {
    totals.clear();
    for (int i = 0; i < 2 * seconds; ++i) {
      sim.RunFor(500);
      totals.push_back(static_cast<std::int64_t>(program.SessionTotal()));
    }
  }
  // The largest deviation of any ten seconds that were watched, in percent.
  double Deviation(std::int64_t kib) const {
    double worst = 0;
    for (std::size_t i = 0; i + 20 < totals.size(); ++i) {
      const auto bytes = static_cast<double>(totals[i + 20] - totals[i]);
      worst = std::max(worst, std::abs(bytes / 10 / static_cast<double>(kib * kKiB) - 1) * 100);
    }
    return worst;
  }
  // All that the program sent, on its connections in their order.
  std::vector<std::string> Sent() {
    std::vector<std::string> sent;
    for (const SimConnectionLog& log : sim.network().Log()) sent.push_back(log.received);
    return sent;
  }

  std::vector<std::int64_t> totals;
};

TEST_F(SpeedBrakeTest, AnyTenSecondsOfAllDownloadsAreWithinFivePercent) {
  Serve("/a.zip", 60'000'000);
  Serve("/b.zip", 60'000'000);
  Limit(1000);
  Start("http://o.example/a.zip");
  Start("http://o.example/b.zip");
  sim.RunFor(3000);
  Watch(40);
  EXPECT_LT(Deviation(1000), 5);
  EXPECT_NEAR(static_cast<double>(Record(1).Received), static_cast<double>(Record(2).Received), 2000.0 * kKiB);
}

TEST_F(SpeedBrakeTest, ChangesNoByteOfTheFileOrOfTheRequests) {
  const SimContent content = Serve("/a.zip", 3'000'000);
  Limit(200);
  Start("http://o.example/a.zip");
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_TRUE(sim.disk().Holds(Record().SavePath, content));
  EXPECT_GT(Record().ElapsedSeconds, 12);

  TransferRig free;
  SimHttpServer other(free.sim.network(), "o.example");
  other.File("/a.zip", content);
  free.Start("http://o.example/a.zip");
  ASSERT_TRUE(free.RunUntilFinished());
  std::vector<std::string> sent;
  for (const SimConnectionLog& log : free.sim.network().Log()) sent.push_back(log.received);
  EXPECT_EQ(Sent(), sent);
}

TEST_F(SpeedBrakeTest, NoSegmentSeemsStalledHoweverLowTheLimit) {
  Serve("/a.zip", 30'000'000);
  Limit(1);
  Start("http://o.example/a.zip");
  sim.RunFor(120'000);
  const std::size_t connections = sim.network().Log().size();
  EXPECT_EQ(connections, 1U + static_cast<std::size_t>(Record().SegmentCount));
  for (int i = 1; i <= Record().SegmentCount; ++i) EXPECT_EQ(Segment(i).State, 2) << i;
  // One KiB a second for each segment at most, once their first blocks have come.
  const std::uint64_t before = program.SessionTotal();
  sim.RunFor(10'000);
  EXPECT_LE(program.SessionTotal() - before, 11U * 1024 * static_cast<unsigned>(Record().SegmentCount));
  EXPECT_GT(program.SessionTotal(), before);
}

TEST_F(SpeedBrakeTest, ALiftedLimitLeavesNothingBehind) {
  const SimContent content = Serve("/a.zip", 20'000'000);
  Limit(50);
  Start("http://o.example/a.zip");
  sim.RunFor(20'000);
  ASSERT_FALSE(Record().Finished);
  Limit(0);
  ASSERT_TRUE(RunUntilFinished(1, 5000));
  EXPECT_TRUE(sim.disk().Holds(Record().SavePath, content));
}

TEST_F(SpeedBrakeTest, TheLimitOfOneDownloadHoldsForItAlone) {
  Serve("/a.zip", 20'000'000);
  Serve("/b.zip", 20'000'000);
  const std::int16_t slow = Start("http://o.example/a.zip");
  SetSpeedLimitOf(program, slow, 100 * kKiB);
  const std::int16_t fast = Start("http://o.example/b.zip");
  ASSERT_TRUE(RunUntilFinished(fast, 10'000));
  const std::int32_t before = Record(slow).Received;
  sim.RunFor(10'000);
  EXPECT_NEAR(Record(slow).Received - before, 1000.0 * kKiB, 50.0 * kKiB);
}

TEST_F(SpeedBrakeTest, PausesAndResumesUnderALimit) {
  const SimContent content = Serve("/a.zip", 2'000'000);
  Limit(100);
  Start("http://o.example/a.zip");
  sim.RunFor(5000);
  Pause();
  const std::uint64_t paused = program.SessionTotal();
  sim.RunFor(5000);
  EXPECT_EQ(program.SessionTotal(), paused);
  Resume();
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_TRUE(sim.disk().Holds(Record().SavePath, content));
}

TEST_F(SpeedBrakeTest, FtpObeysAndItsRepliesAreReadAtOnce) {
  SimFtpServer server(sim.network(), "f.example");
  const SimContent content = SimContent::Generated(8'000'000);
  server.File("/a.bin", content);
  Limit(200);
  Start("ftp://f.example/a.bin");
  sim.RunFor(8000);
  Watch(15);
  EXPECT_LT(Deviation(200), 5);
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_TRUE(sim.disk().Holds(Record().SavePath, content));
}

}  // namespace
}  // namespace pellora
