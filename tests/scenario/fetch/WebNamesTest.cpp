// What downloads by the web engine are called, and what their part files are.
#include "WebRig.h"
#include "ports/Dialogs.h"

namespace pellora {
namespace {

using Names = std::vector<std::string>;

class WebNames : public testing::Test, public WebRig {
 protected:
  WebNames() : origin(sim.network(), "o.example", 443) {}
  SimContent Serve(const std::string& path, std::uint64_t length, std::uint64_t seed = 7) {
    SimContent content = SimContent::Generated(length, seed);
    origin.File(path, content);
    origin.Traits(path).validators = {{.etag = "\"" + std::to_string(seed) + "\"", .modified = 1'700'000'000}};
    return content;
  }
  SimHttpServer origin;
};

TEST_F(WebNames, AreApartFromTheFirstAnswersOn) {
  const SimContent one = Serve("/1/a.zip", 20'000'000, 1);
  const SimContent two = Serve("/2/a.zip", 20'000'000, 2);
  Start("https://o.example/1/a.zip");
  Start("https://o.example/2/a.zip");
  ASSERT_TRUE(RunUntilReceived(1'000'000, 1));
  ASSERT_TRUE(RunUntilReceived(1'000'000, 2));
  EXPECT_EQ(InFolder(), (Names{"a (2).zip.part", "a.zip.part"}));
  EXPECT_NE(Record(1).FileName, Record(2).FileName);
  ASSERT_TRUE(RunUntilFinished(1));
  ASSERT_TRUE(RunUntilFinished(2));
  EXPECT_EQ(InFolder(), (Names{"a (2).zip", "a.zip"}));
  EXPECT_TRUE(sim.disk().Holds(Record(1).SavePath, one));
  EXPECT_TRUE(sim.disk().Holds(Record(2).SavePath, two));
}

TEST_F(WebNames, OfAPausedDownloadAreNotTaken) {
  Serve("/1/a.zip", 20'000'000, 1);
  Serve("/2/a.zip", 100'000, 2);
  Start("https://o.example/1/a.zip");
  ASSERT_TRUE(RunUntilReceived(1'000'000, 1));
  Pause(1);
  sim.RunFor(3000);
  sim.disk().Lose("/home/u/dl/a.zip.part");
  Start("https://o.example/2/a.zip");
  ASSERT_TRUE(RunUntilFinished(2));
  EXPECT_EQ(InFolder(), Names{"a (2).zip"});
}

TEST_F(WebNames, OfAClassicDownloadAreNotTaken) {
  Serve("/a.zip", 100'000);
  program.ResizeDownloads(1);
  Record(1).InUse = true;
  Record(1).URL = "http://c.example/a.zip";
  Record(1).Port = 80;
  Record(1).FileName = "a.zip";
  Start("https://o.example/a.zip");
  ASSERT_TRUE(RunUntilFinished(2));
  EXPECT_EQ(InFolder(), Names{"a (2).zip"});
}

TEST_F(WebNames, PassOverAFileThatIsThere) {
  Serve("/a.zip", 20'000'000);
  sim.disk().Put("/home/u/dl/a.zip", "mine");
  sim.disk().Put("/home/u/dl/a (2).zip", "mine too");
  Start("https://o.example/a.zip");
  ASSERT_TRUE(RunUntilReceived(1'000'000));
  EXPECT_EQ(Record().FileName, "a (3).zip");
  EXPECT_EQ(InFolder(), (Names{"a (2).zip", "a (3).zip.part", "a.zip"}));
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_EQ(InFolder(), (Names{"a (2).zip", "a (3).zip", "a.zip"}));
}

TEST_F(WebNames, AreCheckedAgainAtTheRename) {
  const SimContent content = Serve("/a.zip", 20'000'000);
  Start("https://o.example/a.zip");
  ASSERT_TRUE(RunUntilReceived(1'000'000));
  sim.disk().Put("/home/u/dl/a.zip", "mine");
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_EQ(sim.disk().Get("/home/u/dl/a.zip"), "mine");
  EXPECT_TRUE(sim.disk().Holds("/home/u/dl/a (2).zip", content));
}

TEST_F(WebNames, StayThoseOfTheFirstAnswer) {
  Serve("/a.zip", 20'000'000);
  origin.Traits("/a.zip").disposition = "attachment; filename=first.zip";
  Start("https://o.example/a.zip");
  ASSERT_TRUE(RunUntilReceived(1'000'000));
  Pause();
  sim.RunFor(3000);
  origin.Traits("/a.zip").disposition = "attachment; filename=second.zip";
  sim.disk().Lose("/home/u/dl/first.zip.part");
  Resume();
  ASSERT_TRUE(RunUntilStopped());  // its part file is gone
  Resume();
  ASSERT_TRUE(RunUntilAsked());
  Answer(true);
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_EQ(InFolder(), Names{"first.zip"});
}

TEST_F(WebNames, StayWhereADownloadBeginsAnew) {
  Serve("/a.zip", 20'000'000, 1);
  Start("https://o.example/a.zip");
  ASSERT_TRUE(RunUntilReceived(1'000'000));
  Pause();
  sim.RunFor(3000);
  const SimContent changed = Serve("/a.zip", 20'000'000, 2);
  Resume();
  ASSERT_TRUE(RunUntilAsked());
  Answer(true);
  ASSERT_TRUE(sim.RunUntil([&] { return InFolder() == Names{"a (2).zip.part", "a.zip.part"}; }));
  EXPECT_EQ(Record().FileName, "a.zip");
  ASSERT_TRUE(RunUntilFinished());
  sim.RunFor(1000);
  EXPECT_EQ(InFolder(), Names{"a.zip"});
  EXPECT_TRUE(sim.disk().Holds("/home/u/dl/a.zip", changed));
}

}  // namespace
}  // namespace pellora
