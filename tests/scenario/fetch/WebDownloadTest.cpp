// Downloads by the web engine from servers that do as they should.
#include "WebRig.h"

namespace pellora {
namespace {

constexpr const char* kUrl = "https://o.example/a.bin";

class WebDownload : public testing::Test, public WebRig {
 protected:
  WebDownload() : origin(sim.network(), "o.example", 443) {}
  SimContent Serve(const std::string& path, std::uint64_t length) {
    SimContent content = SimContent::Generated(length, 7);
    origin.File(path, content);
    origin.Traits(path).validators = {{.etag = "\"1\"", .modified = 1'700'000'000}};
    return content;
  }
  SimHttpServer origin;
};

TEST_F(WebDownload, SmallFileIsOneRequest) {
  const SimContent content = Serve("/a.bin", 100'000);
  Start(kUrl);
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(sim.disk().Get("/home/u/dl/a.bin"), content.All());
  EXPECT_EQ(origin.Requests().size(), 1U);
  EXPECT_EQ(InFolder(), std::vector<std::string>{"a.bin"});
  EXPECT_EQ(Record().SavePath, "/home/u/dl/a.bin");
  EXPECT_EQ(Web().received, 100'000);
  EXPECT_EQ(Web().size, 100'000);
  EXPECT_EQ(Web().standing, WebStanding::Finished);
}

TEST_F(WebDownload, LargeFileComesOnAllLanesAtOnce) {
  const SimContent content = Serve("/a.bin", 20'000'000);
  Start(kUrl);
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_TRUE(sim.disk().Holds("/home/u/dl/a.bin", content));
  EXPECT_GE(origin.Connections(), 4);
  EXPECT_EQ(origin.Requests().at(0).Header("Range"), "bytes=0-");
}

TEST_F(WebDownload, RowsOfAFinishedFileAreComplete) {
  Serve("/a.bin", 20'000'000);
  Start(kUrl);
  ASSERT_TRUE(RunUntilReceived(5'000'000));
  const auto window = WindowOf();
  EXPECT_EQ(window->StateS(3).Caption(), "text526");
  ASSERT_TRUE(RunUntilFinished());
  sim.RunFor(1000);
  for (int row = 0; row < 4; ++row) {
    EXPECT_EQ(window->StateS(row).Caption(), "text527") << row;
    EXPECT_DOUBLE_EQ(window->Prog(row).Width(), 2500.0) << row;
  }
  EXPECT_NE(window->Speed.Caption().substr(0, 2), "0 ");
}

TEST_F(WebDownload, RowOfAServerThatRefusesSaysWhenItTriesAgain) {
  origin.Misbehave("refuses connections");
  Start(kUrl);
  ASSERT_TRUE(sim.RunUntil([&] { return WindowOf() && WindowOf()->state.Caption().starts_with("Retry in "); }));
  sim.RunFor(300);
  EXPECT_TRUE(WindowOf()->StateS(0).Caption().starts_with("Retry in "));
  EXPECT_EQ(WindowOf()->Num(0).Caption(), "1");
}

TEST_F(WebDownload, PausedAndResumedFetchesNothingTwice) {
  const SimContent content = Serve("/a.bin", 20'000'000);
  Start(kUrl);
  ASSERT_TRUE(RunUntilReceived(5'000'000));
  Pause();
  EXPECT_TRUE(Record().Paused);
  EXPECT_FALSE(Record().Active);
  sim.RunFor(5000);
  EXPECT_EQ(sim.network().Open(), 0);
  const std::int64_t had = Web().received;
  EXPECT_GE(had, 5'000'000);
  Resume();
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_TRUE(sim.disk().Holds("/home/u/dl/a.bin", content));
}

TEST_F(WebDownload, ServerWithoutRangesGivesTheFileOnOneConnection) {
  const SimContent content = Serve("/a.bin", 5'000'000);
  ASSERT_TRUE(origin.Misbehave("ignores ranges"));
  Start(kUrl);
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_TRUE(sim.disk().Holds("/home/u/dl/a.bin", content));
}

TEST_F(WebDownload, NeverOverAFileThatIsThere) {
  const SimContent content = Serve("/a.bin", 1000);
  sim.disk().Put("/home/u/dl/a.bin", "mine");
  Start(kUrl);
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(sim.disk().Get("/home/u/dl/a.bin"), "mine");
  EXPECT_EQ(sim.disk().Get("/home/u/dl/a (2).bin"), content.All());
}

}  // namespace
}  // namespace pellora
