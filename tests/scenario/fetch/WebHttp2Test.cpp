// Servers that speak HTTP/2 alone: they get it, on one connection.
#include "WebRig.h"

namespace pellora {
namespace {

class WebHttp2 : public testing::Test, public WebRig {
 protected:
  WebHttp2() : origin(sim.network(), "o.example", 443) {
    origin.File("/a.bin", content);
    origin.Traits("/a.bin").validators = {{.etag = "\"1\""}};
  }
  const SimContent content = SimContent::Generated(5'000'000, 7);
  SimHttpServer origin;
};

TEST_F(WebHttp2, RefusalInTheHandshakeIsTriedOnceMoreOnOneLane) {
  sim.fetcher().Host("o.example").http2Only = true;
  Start("https://o.example/a.bin");
  ASSERT_TRUE(RunUntilFinished(1, 10'000)) << sim.Replay();
  EXPECT_TRUE(sim.disk().Holds("/home/u/dl/a.bin", content));
  EXPECT_EQ(origin.Requests().size(), 1U);
  EXPECT_EQ(sim.fetcher().Log().size(), 2U);
  EXPECT_FALSE(sim.fetcher().Log().at(0).request.http2);
  EXPECT_TRUE(sim.fetcher().Log().at(1).request.http2);
}

TEST_F(WebHttp2, StatusThatRequiresItIsTriedOnceMoreOnOneLane) {
  for (const int status : {426, 505}) {
    WebRig rig;
    SimHttpServer server(rig.sim.network(), "o.example", 443);
    server.File("/a.bin", content);
    server.OnRequest(1, {.status = status});
    rig.Start("https://o.example/a.bin");
    ASSERT_TRUE(rig.RunUntilFinished(1, 10'000)) << status << rig.sim.Replay();
    EXPECT_TRUE(rig.sim.disk().Holds("/home/u/dl/a.bin", content));
    EXPECT_EQ(server.Requests().size(), 2U);
    EXPECT_TRUE(rig.sim.fetcher().Log().at(1).request.http2);
  }
}

TEST_F(WebHttp2, PausedAndResumedGoesOnFromWhatIsHeld) {
  sim.fetcher().Host("o.example").http2Only = true;
  origin.Always({.wire = {.bytesPerSecond = 1'000'000}});
  Start("https://o.example/a.bin");
  ASSERT_TRUE(RunUntilReceived(2'000'000));
  Pause();
  Resume();
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_TRUE(sim.disk().Holds("/home/u/dl/a.bin", content));
  EXPECT_NE(origin.Requests().back().Header("Range"), "bytes=0-");
}

}  // namespace
}  // namespace pellora
