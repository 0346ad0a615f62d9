#include <gtest/gtest.h>

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
