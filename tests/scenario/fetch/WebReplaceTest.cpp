// The file that the user has let a download replace.
#include <gtest/gtest.h>

#include "WebApp.h"
#include "core/WebTexts.h"

namespace pellora {
namespace {

constexpr const char* kUrl = "https://o.example/a.bin";
constexpr const char* kPath = "/home/u/mine.bin";

class WebReplace : public testing::Test, public WebApp {
 protected:
  WebReplace() : origin(sim.network(), "o.example", 443), content(SimContent::Generated(20'000'000, 7)) {
    Serve(origin);
    sim.disk().MakeFolder("/home/u");
    sim.disk().Put(kPath, "mine");
    Start();
    program().settings.SaveAs = true;
    sim.dialogs().AutoSave([](const SaveRequest&) { return std::optional<std::string>(kPath); });
  }
  void Serve(SimHttpServer& server) const {
    server.File("/a.bin", content);
    server.Traits("/a.bin").validators = {{.etag = "\"1\"", .modified = 1'700'000'000}};
  }
  SimHttpServer origin;
  const SimContent content;
};

TEST_F(WebReplace, ConfirmedFileIsReplacedAtTheEnd) {
  Add(kUrl);
  ASSERT_TRUE(RunUntilReceived(5'000'000));
  EXPECT_EQ(sim.disk().Get(kPath), "mine");
  EXPECT_TRUE(sim.disk().Has("/home/u/mine.bin.part"));
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_TRUE(sim.disk().Holds(kPath, content));
  EXPECT_EQ(Record().SavePath, kPath);
  EXPECT_EQ(Web().reason, "");
}

TEST_F(WebReplace, FileThatHasChangedStaysAndTheRowSaysSo) {
  Add(kUrl);
  ASSERT_TRUE(RunUntilReceived(5'000'000));
  sim.disk().Put(kPath, "new");
  ASSERT_TRUE(RunUntilFinished());
  sim.RunFor(1000);
  EXPECT_EQ(sim.disk().Get(kPath), "new");
  EXPECT_TRUE(sim.disk().Holds("/home/u/mine (2).bin", content));
  const std::string& text = TextOf(program(), WebText::ReplacedChanged);
  ASSERT_EQ(window().ListView2.Rows().size(), 1U);
  EXPECT_EQ(window().ListView2.Rows()[0].toolTip, text);
  EXPECT_EQ(app.List().at(0).reason, text);
}

TEST_F(WebReplace, FileThatHasChangedBeforeTheFirstAnswerIsSaidAtOnce) {
  origin.OnConnection(1, {.thinkTime = 5000});
  Add(kUrl);
  sim.RunFor(1000);
  sim.disk().Put(kPath, "new");
  ASSERT_TRUE(RunUntilReceived(1'000'000));
  sim.RunFor(500);
  EXPECT_EQ(Record().FileName, "mine (2).bin");
  EXPECT_EQ(app.List().at(0).reason, TextOf(program(), WebText::ReplacedChanged));
}

TEST_F(WebReplace, ConfirmationSurvivesAKillBeforeTheDownloadBegins) {
  program().settings.MaxSimulDownlads = 0;
  Add(kUrl);
  sim.RunFor(6000);
  ASSERT_EQ(StateWord(), "queued");
  sim.disk().CutNow();
  sim.RunFor(1000);
  WebApp next({.disk = sim.disk().TakeState()});
  SimHttpServer again(next.sim.network(), "o.example", 443);
  Serve(again);
  next.Start();
  ASSERT_TRUE(next.RunUntilFinished());
  EXPECT_TRUE(next.sim.disk().Holds(kPath, content));
}

TEST_F(WebReplace, FileThatCameAfterTheDialogIsNotReplaced) {
  sim.disk().Lose(kPath);
  Add(kUrl);
  ASSERT_TRUE(RunUntilReceived(5'000'000));
  sim.disk().Put(kPath, "new");
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_EQ(sim.disk().Get(kPath), "new");
  EXPECT_TRUE(sim.disk().Holds("/home/u/mine (2).bin", content));
}

}  // namespace
}  // namespace pellora
