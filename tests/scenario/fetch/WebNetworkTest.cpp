// Networks that go and come back, machines that sleep, servers that are started anew: downloads go on by themselves.
#include "WebRig.h"

namespace pellora {
namespace {

constexpr const char* kUrl = "https://o.example/a.bin";
constexpr const char* kOutput = "/home/u/dl/a.bin";

class WebNetwork : public testing::Test, public WebRig {
 protected:
  WebNetwork() : origin(sim.network(), "o.example", 443) {
    origin.File("/a.bin", content);
    origin.Traits("/a.bin").validators = {{.etag = "\"1\"", .modified = 1'700'000'000}};
    origin.Always({.wire = {.bytesPerSecond = 200'000}});
  }
  void Begin() {
    Start(kUrl);
    ASSERT_TRUE(RunUntilReceived(2'000'000));
  }
  void ExpectTheFile() {
    ASSERT_TRUE(RunUntilFinished(1, 3'600'000)) << Web().reason << " " << sim.Replay();
    EXPECT_TRUE(sim.disk().Holds(kOutput, content));
  }
  // Bytes that the server has sent are at most those of the file and what may have been lost with connections.
  std::uint64_t Delivered() {
    std::uint64_t bytes = 0;
    for (const SimFetchLog& one : sim.fetcher().Log()) bytes += one.delivered;
    return bytes;
  }

  const SimContent content = SimContent::Generated(8'000'000, 7);
  SimHttpServer origin;
};

TEST_F(WebNetwork, NoTryCountsWhileThereIsNoNetwork) {
  Begin();
  sim.network().SetOnline(false);
  sim.RunFor(2 * 3'600'000);
  EXPECT_EQ(Web().standing, WebStanding::Active);
  EXPECT_EQ(Web().reason, "Waiting for the network");
  sim.network().SetOnline(true);
  const std::size_t before = origin.Requests().size();
  sim.RunFor(3000);
  EXPECT_GT(origin.Requests().size(), before);
  ExpectTheFile();
  EXPECT_LE(Delivered(), 8'400'000U);
}

TEST_F(WebNetwork, MachineThatSleptReconnectsAtOnce) {
  Begin();
  const std::size_t before = origin.Requests().size();
  sim.Stall(8 * 3'600'000);
  sim.RunFor(2500);
  EXPECT_GT(origin.Requests().size(), before);
  EXPECT_EQ(Web().standing, WebStanding::Active);
  ExpectTheFile();
}

TEST_F(WebNetwork, ServerThatIsStartedAnewCostsNothingButTheTimeItWasAway) {
  Begin();
  const std::int64_t had = Web().received;
  origin.Restart(5000);
  sim.RunFor(4000);
  EXPECT_GE(Web().received, had);
  EXPECT_TRUE(Web().reason.starts_with("Retry in ")) << Web().reason;
  ExpectTheFile();
  EXPECT_LE(Delivered(), 8'400'000U);
}

TEST_F(WebNetwork, BytesEndTheCountOfTries) {
  origin.Always({.wire = {.bytesPerSecond = 200'000}, .cutBody = 30'000});
  Start(kUrl);
  ExpectTheFile();
  EXPECT_GT(origin.Requests().size(), 100U);
}

}  // namespace
}  // namespace pellora
