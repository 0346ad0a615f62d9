#include <gtest/gtest.h>

#include <numeric>
#include <string>

#include "SimNetwork.h"
#include "SimPlatform.h"
#include "SimRecorder.h"

namespace pellora {
namespace {

class SimNetworkTest : public testing::Test {
 protected:
  SimNetworkTest() { sim.network().Serve("peer.example", 21, server); }

  // A server that greets with this text and closes.
  void GreetAndClose(const std::string& text) {
    server.onConnect = [text](SimPeer& peer) {
      peer.Send(text);
      peer.Close();
    };
  }

  SimPlatform sim;
  SimScript server;
  SimRecorder client{sim};
};

TEST_F(SimNetworkTest, ReportsConnectedThenDataThenTheEnd) {
  GreetAndClose("220 hello\r\n");
  client.Connect("peer.example", 21);
  EXPECT_EQ(client.events, "");
  sim.RunUntilIdle();
  EXPECT_EQ(client.events, "CDP");
  EXPECT_EQ(client.data, "220 hello\r\n");
  EXPECT_EQ(sim.network().MostOpen(), 1);
}

TEST_F(SimNetworkTest, FailsOnceIfNothingListens) {
  server.wire.refuse = true;
  const std::pair<const char*, std::int32_t> addresses[] = {
      {"", 80}, {"peer.example", 0},     {"peer.example", -5}, {"peer.example", 65536}, {"peer.example", 65557},
      {"", 0},  {"unknown.example", 80}, {"peer.example", 22}, {"peer.example", 21},
  };
  for (const auto& [host, port] : addresses) {
    SimRecorder one(sim);
    one.Connect(host, port);
    EXPECT_EQ(one.events, "") << host << port;
    sim.RunUntilIdle();
    EXPECT_EQ(one.events, "F") << host << port;
  }
}

TEST_F(SimNetworkTest, DeliversNothingAfterCloseAtAnyEvent) {
  GreetAndClose("hello");
  for (const char closeAt : {'C', 'D', 'P'}) {
    SimRecorder one(sim);
    one.onEvent = [&](char event) {
      if (event == closeAt) one.connection->Close();
    };
    one.Connect("peer.example", 21);
    sim.RunUntilIdle();
    EXPECT_EQ(one.events.back(), closeAt);
  }
  client.Connect("peer.example", 21);
  client.connection->Close();
  sim.RunUntilIdle();
  EXPECT_EQ(client.events, "");
}

TEST_F(SimNetworkTest, DataAndTheEndWaitWhileReadingIsOff) {
  GreetAndClose("hello");
  client.Connect("peer.example", 21);
  client.connection->SetReading(false);
  sim.RunFor(10'000);
  EXPECT_EQ(client.events, "C");
  client.connection->SetReading(true);
  EXPECT_EQ(client.events, "C");
  sim.RunUntilIdle();
  EXPECT_EQ(client.events, "CDP");
  EXPECT_EQ(client.data, "hello");
}

TEST_F(SimNetworkTest, CutsAtEveryByteOrAtGivenBytes) {
  GreetAndClose("hello world");
  server.wire.cut = SimCut::EveryByte;
  client.Connect("peer.example", 21);
  sim.RunUntilIdle();
  EXPECT_EQ(client.blocks, std::vector<std::size_t>(11, 1));
  server.wire.cut = SimCut::Whole;
  server.wire.splitAt = {3, 4};
  SimRecorder other(sim);
  other.Connect("peer.example", 21);
  sim.RunUntilIdle();
  EXPECT_EQ(other.blocks, (std::vector<std::size_t>{3, 1, 7}));
  EXPECT_EQ(other.data, "hello world");
}

TEST_F(SimNetworkTest, SimultaneousSendsFormOneBlockIfUncut) {
  server.wire.cut = SimCut::Whole;
  server.onConnect = [](SimPeer& peer) {
    peer.Send("230 in\r\n");
    peer.Send("257 \"/\"\r\n");
  };
  client.Connect("peer.example", 21);
  sim.RunUntilIdle();
  EXPECT_EQ(client.blocks, std::vector<std::size_t>{17});
}

TEST_F(SimNetworkTest, DropsAndHangsAfterTheGivenBytes) {
  server.onConnect = [](SimPeer& peer) { peer.Send(std::string(1000, 'x')); };
  server.wireOf[1].dropAfter = 400;
  server.wireOf[2].hangAfter = 300;
  client.Connect("peer.example", 21);
  sim.RunUntilIdle();
  EXPECT_EQ(client.events.back(), 'P');
  EXPECT_EQ(client.data.size(), 400U);
  SimRecorder other(sim);
  other.Connect("peer.example", 21);
  sim.RunFor(600'000);
  EXPECT_FALSE(other.Over());
  EXPECT_EQ(other.data.size(), 300U);
}

TEST_F(SimNetworkTest, SlowLineTakesItsTime) {
  GreetAndClose(std::string(3000, 'x'));
  server.wire.bytesPerSecond = 1000;
  server.wire.latency = 0;
  client.Connect("peer.example", 21);
  sim.RunUntilIdle();
  EXPECT_NEAR(sim.Elapsed(), 3000, 1);
  EXPECT_GE(client.blocks.size(), 30U);
}

TEST_F(SimNetworkTest, ConnectDelayAndLatencyAreExact) {
  GreetAndClose("x");
  server.wire.latency = 50;
  server.wire.connectDelay = 1000;
  client.Connect("peer.example", 21);
  sim.RunUntilIdle();
  ASSERT_EQ(client.events, "CDP");
  EXPECT_EQ(client.times[0], 1100);
}

TEST_F(SimNetworkTest, HalfClosedServerStillReceives) {
  std::string received;
  server.onConnect = [](SimPeer& peer) { peer.Close(); };
  server.onData = [&](SimPeer&, std::string_view bytes) { received += bytes; };
  client.onEvent = [&](char event) {
    if (event == 'P') client.connection->Send("late");
  };
  client.Connect("peer.example", 21);
  sim.RunUntilIdle();
  EXPECT_EQ(client.events, "CP");
  EXPECT_EQ(received, "late");
}

TEST_F(SimNetworkTest, ResetLosesDataInFlight) {
  server.onConnect = [](SimPeer& peer) {
    peer.Send(std::string(1'000'000, 'x'));
    peer.After(20, [](SimPeer& later) { later.Reset(); });
  };
  client.Connect("peer.example", 21);
  sim.RunUntilIdle();
  EXPECT_EQ(client.events.back(), 'P');
  EXPECT_LT(client.data.size(), 1'000'000U);
}

// The hash and every line of a run of several connections.
std::pair<std::uint64_t, std::vector<std::string>> RunOf(std::uint64_t seed) {
  SimPlatform sim({.seed = seed});
  SimScript server;
  sim.network().Serve("peer.example", 21, server);
  server.onConnect = [](SimPeer& peer) {
    peer.Send(SimContent::Generated(300'000), 0, 300'000);
    peer.Close();
  };
  std::deque<SimRecorder> clients;
  for (int i = 0; i < 5; ++i) clients.emplace_back(sim).Connect("peer.example", 21);
  sim.RunUntilIdle();
  return {sim.trace().Hash(), sim.trace().Lines()};
}

TEST(SimRun, EqualSeedsGiveEqualTracesAndOthersDiffer) {
  const auto once = RunOf(7);
  EXPECT_EQ(once, RunOf(7));
  EXPECT_GT(once.second.size(), 50U);
  EXPECT_NE(once.first, RunOf(8).first);
}

TEST(SimContent, BytesAreAFunctionOfTheirOffset) {
  const SimContent content = SimContent::Generated(1000, 3);
  const std::string all = content.All();
  ASSERT_EQ(all.size(), 1000U);
  for (std::uint64_t offset : {0, 1, 7, 8, 9, 500, 993}) {
    EXPECT_EQ(content.Bytes(offset, 7), all.substr(offset, 7)) << offset;
  }
  EXPECT_NE(all, SimContent::Generated(1000, 4).All());
}

TEST(SimContent, SparseBytesAreZerosButForAPatchInEach16MiB) {
  constexpr std::uint64_t kPeriod = std::uint64_t{16} << 20;
  const SimContent content = SimContent::Sparse(300 * kPeriod, 3);
  EXPECT_EQ(content.Length(), 300 * kPeriod);
  for (const std::uint64_t patch : {std::uint64_t{0}, kPeriod, 299 * kPeriod}) {
    EXPECT_EQ(content.Bytes(patch, 8000),
              SimContent::Generated(300 * kPeriod, 3).Bytes(patch, 4096) + std::string(3904, '\0'));
    EXPECT_EQ(content.Bytes(patch + kPeriod - 100, 100), std::string(100, '\0'));
  }
  EXPECT_EQ(content.Bytes(kPeriod - 3, 10).substr(3), content.Bytes(kPeriod, 7));
}

}  // namespace
}  // namespace pellora
