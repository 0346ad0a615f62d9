// Downloads by ftps whose servers say little.
#include "SimFileServer.h"
#include "WebRig.h"

namespace pellora {
namespace {

constexpr const char* kUrl = "ftps://f.example/a.bin";
constexpr const char* kOutput = "/home/u/dl/a.bin";

class WebFtp : public testing::Test, public WebRig {
 protected:
  WebFtp() : server(sim.network(), "f.example", 990) { server.File("/a.bin", content); }
  void PauseInTheMiddle() {
    Start(kUrl);
    ASSERT_TRUE(RunUntilReceived(3'000'000));
    Pause();
    sim.RunFor(3000);
  }
  void ExpectTheFile() {
    ASSERT_TRUE(RunUntilFinished()) << Web().reason << " " << sim.Replay();
    EXPECT_TRUE(sim.disk().Holds(kOutput, content));
  }

  const SimContent content = SimContent::Generated(8'000'000, 7);
  SimFileServer server;
};

TEST_F(WebFtp, ComesInSeveralPieces) {
  server.Always({.wire = {.bytesPerSecond = 500'000}});
  Start(kUrl);
  ExpectTheFile();
  EXPECT_GE(server.Requests().size(), 4U);
}

TEST_F(WebFtp, ResumesWithoutATimeOfTheFileAfterComparingASample) {
  server.Always({.wire = {.bytesPerSecond = 500'000}, .hidesModified = true});
  PauseInTheMiddle();
  Resume();
  ExpectTheFile();
}

TEST_F(WebFtp, AsksAboutAnotherVersionWithoutATime) {
  server.Always({.wire = {.bytesPerSecond = 500'000}, .hidesModified = true});
  PauseInTheMiddle();
  server.File("/a.bin", SimContent::Generated(8'000'000, 8));
  Resume();
  EXPECT_TRUE(RunUntilAsked());
}

TEST_F(WebFtp, ResumesAFileOfUnknownLength) {
  server.Always({.wire = {.bytesPerSecond = 500'000}, .hidesLength = true});
  PauseInTheMiddle();
  Resume();
  ExpectTheFile();
}

}  // namespace
}  // namespace pellora
