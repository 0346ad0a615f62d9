// A download that a browser has begun is taken over only once the web engine has got the same answer.
#include "WebApp.h"

namespace pellora {
namespace {

constexpr const char* kUrl = "https://o.example/a.bin";
constexpr const char* kPage = "https://o.example/files";
constexpr const char* kBrowser = "Mozilla/5.0 (X11; Linux x86_64) Test/1.0";
constexpr std::int64_t kSize = 3'000'000;

class WebTakeOver : public testing::Test {
 protected:
  struct Run : WebApp {
    explicit Run(SimOptions options = {}) : WebApp(std::move(options)), origin(sim.network(), "o.example", 443) {
      origin.File("/a.bin", SimContent::Generated(kSize, 7));
      origin.Traits("/a.bin").validators = {{.etag = "\"1\"", .modified = 1'700'000'000}};
      origin.Always({.wire = {.bytesPerSecond = 100'000}});
      Start();
    }
    // The browser hands over what it has got.
    void HandOver(std::int64_t size = kSize, const std::string& type = "application/octet-stream",
                  const std::string& url = kUrl) {
      const ScriptedAdd wanted{.url = url,
                               .referrer = kPage,
                               .cookies = "session=secret",
                               .userAgent = kBrowser,
                               .expected = ExpectedAnswer{size, type},
                               .caller = ":1.7"};
      answers = 0;
      sim.Do([&] {
        app.TakeOver(wanted, [this](const AddAnswer& given) {
          ++answers;
          answer = given;
        });
      });
    }
    bool RunUntilAnswered() {
      return sim.RunUntil([&] { return answers > 0; }, 60'000);
    }
    // Nothing is left of what the browser keeps.
    void ExpectGivenBack(const std::string& reason) {
      ASSERT_TRUE(RunUntilAnswered());
      EXPECT_EQ(answer.id, "");
      EXPECT_EQ(answer.reason, reason);
      sim.RunFor(30'000);
      EXPECT_EQ(answers, 1);
      ExpectNothingLeft();
    }
    void ExpectNothingLeft() {
      EXPECT_EQ(app.List().size(), 0U);
      EXPECT_EQ(sim.dialogs().OpenCount(), 0U);
      for (const std::string& path : sim.disk().Paths()) EXPECT_FALSE(path.starts_with(Folder() + "/")) << path;
    }
    SimHttpServer origin;
    AddAnswer answer;
    int answers = 0;
  };
};

TEST_F(WebTakeOver, IsAnsweredOnceTheSameAnswerHasCome) {
  Run run;
  run.origin.Traits("/a.bin").cookie = "session=secret";
  run.HandOver();
  EXPECT_EQ(run.answers, 0);
  ASSERT_TRUE(run.RunUntilAnswered());
  EXPECT_EQ(run.answer.reason, "");
  ASSERT_EQ(run.app.List().size(), 1U);
  EXPECT_EQ(run.answer.id, run.app.List().front().id);
  EXPECT_FALSE(run.Record().Finished);
  ASSERT_TRUE(run.RunUntilFinished()) << run.Web().reason;
  EXPECT_TRUE(run.sim.disk().Holds(run.Record().SavePath, SimContent::Generated(kSize, 7)));
  EXPECT_EQ(run.answers, 1);
}

TEST_F(WebTakeOver, EveryRequestLooksLikeTheBrowsers) {
  Run run;
  run.HandOver();
  ASSERT_TRUE(run.RunUntilFinished());
  ASSERT_GT(run.origin.Requests().size(), 1U);
  for (const HttpRequest& request : run.origin.Requests()) {
    EXPECT_EQ(request.Header("User-Agent"), kBrowser);
    EXPECT_EQ(request.Header("Cookie"), "session=secret");
    EXPECT_EQ(request.Header("Referer"), kPage);
  }
}

TEST_F(WebTakeOver, OtherDownloadsKeepPellorasUserAgent) {
  Run run;
  run.origin.File("/b.bin", SimContent::Generated(1000, 7));
  run.HandOver();
  run.Add("https://o.example/b.bin");
  ASSERT_TRUE(run.RunUntilFinished(2));
  for (const HttpRequest& request : run.origin.Requests()) {
    if (request.target == "/b.bin") {
      EXPECT_TRUE(request.Header("User-Agent")->starts_with("Pellora/"));
    }
  }
}

TEST_F(WebTakeOver, OtherLengthOrTypeGivesItBack) {
  for (const bool otherType : {false, true}) {
    Run run;
    otherType ? run.HandOver(kSize, "text/html") : run.HandOver(kSize + 1);
    run.ExpectGivenBack(TextOf(run.program(), WebText::OtherThanBrowsers));
  }
}

TEST_F(WebTakeOver, ParametersAndCaseOfTheTypeDoNotCount) {
  Run run;
  run.origin.File("/a.bin", SimContent::Generated(kSize, 7), "Text/CSV; charset=utf-8");
  run.HandOver(kSize, "text/csv");
  ASSERT_TRUE(run.RunUntilAnswered());
  EXPECT_NE(run.answer.id, "") << run.answer.reason;
}

TEST_F(WebTakeOver, RefusalOfTheServerGivesItBack) {
  Run run;
  run.origin.Traits("/a.bin").cookie = "session=other";
  run.HandOver();
  run.ExpectGivenBack(FillText(TextOf(run.program(), WebText::Refused), {"403"}));
}

TEST_F(WebTakeOver, DemandForALoginGivesItBackWithoutAQuestion) {
  Run run;
  run.origin.Traits("/a.bin").login = "joe:pw";
  run.HandOver();
  ASSERT_TRUE(run.RunUntilAnswered());
  EXPECT_EQ(run.answer.id, "");
  EXPECT_NE(run.answer.reason, "");
  EXPECT_EQ(run.app.List().size(), 0U);
}

TEST_F(WebTakeOver, ServerThatDoesNotAnswerGivesItBackAfterTwentySeconds) {
  Run run;
  run.origin.Always({.dropInHeader = 0, .thinkTime = 60'000});
  run.HandOver();
  run.sim.RunFor(19'000);
  EXPECT_EQ(run.answers, 0);
  run.sim.RunFor(1'500);
  ASSERT_EQ(run.answers, 1);
  run.ExpectGivenBack(run.answer.reason);
  EXPECT_NE(run.answer.reason, "");
}

TEST_F(WebTakeOver, BrowserThatWaitsNoMoreKeepsItsOwn) {
  Run run;
  run.origin.Always({.dropInHeader = 0, .thinkTime = 5'000});
  run.HandOver();
  run.sim.RunFor(1'000);
  run.sim.Do([&] { run.app.CallerGone(":1.8"); });
  run.sim.RunFor(1'000);
  EXPECT_EQ(run.app.List().size(), 1U);
  run.sim.Do([&] { run.app.CallerGone(":1.7"); });
  run.ExpectGivenBack("The browser waits no more.");
}

TEST_F(WebTakeOver, StaysWhenTheCallerGoesAfterItsAnswer) {
  Run run;
  run.HandOver();
  ASSERT_TRUE(run.RunUntilAnswered());
  run.sim.Do([&] { run.app.CallerGone(":1.7"); });
  ASSERT_TRUE(run.RunUntilFinished()) << run.Web().reason;
}

TEST_F(WebTakeOver, FullDiskGivesItBack) {
  Run run;
  run.sim.downloadFiles().SetRoom(kSize / 2);
  run.HandOver();
  ASSERT_TRUE(run.RunUntilAnswered());
  EXPECT_EQ(run.answer.id, "");
  EXPECT_NE(run.answer.reason, "");
  EXPECT_EQ(run.app.List().size(), 0U);
}

TEST_F(WebTakeOver, ListedDownloadsStayAsTheyAre) {
  Run run;
  run.Add(kUrl);
  ASSERT_TRUE(run.RunUntilReceived(500'000));
  run.HandOver();
  ASSERT_TRUE(run.RunUntilAnswered());
  EXPECT_EQ(run.answer.id, "");
  EXPECT_EQ(run.answer.reason, "It is in the list already.");
  EXPECT_EQ(run.app.List().size(), 1U);
  EXPECT_TRUE(run.RunUntilFinished());
}

TEST_F(WebTakeOver, AddressesOfTheClassicEngineStayWithTheBrowser) {
  Run run;
  run.HandOver(kSize, "application/octet-stream", "http://o.example/a.bin");
  ASSERT_TRUE(run.RunUntilAnswered());
  EXPECT_TRUE(run.answer.reason.starts_with("Pellora takes over no downloads of such addresses")) << run.answer.reason;
  EXPECT_EQ(run.app.List().size(), 0U);
}

TEST_F(WebTakeOver, IsRefusedWhileAllPlacesAreTaken) {
  Run run;
  run.program().settings.MaxSimulDownlads = 1;
  run.origin.File("/b.bin", SimContent::Generated(kSize, 7));
  run.Add("https://o.example/b.bin");
  run.HandOver();
  ASSERT_TRUE(run.RunUntilAnswered());
  EXPECT_EQ(run.answer.reason, "As many downloads are running as may.");
  EXPECT_EQ(run.app.List().size(), 1U);
}

TEST_F(WebTakeOver, IsRefusedIfTheUserRemovesItMeanwhile) {
  Run run;
  run.origin.Always({.thinkTime = 5'000});
  run.HandOver();
  run.sim.RunFor(1000);
  ASSERT_EQ(run.app.List().size(), 1U);
  run.sim.Do([&] { run.app.Remove(run.app.List().front().id); });
  run.ExpectGivenBack("It was removed from the list.");
}

TEST_F(WebTakeOver, IsNotInTheListAfterAQuitThatLeavesItToTheBrowser) {
  Run run;
  run.origin.Always({.dropInHeader = 0, .thinkTime = 60'000});
  run.Add("https://o.example/listed.bin");
  run.HandOver();
  run.sim.RunFor(10'000);  // the list is saved every five seconds
  EXPECT_EQ(run.app.List().size(), 2U);
  run.sim.Do([&] { run.app.SaveAndQuit(); });
  EXPECT_TRUE(run.sim.Ended());
  Run next(SimOptions{.disk = run.sim.disk().TakeState()});
  ASSERT_EQ(next.app.List().size(), 1U);
  EXPECT_EQ(next.app.List().front().url, "https://o.example/listed.bin");
}

TEST_F(WebTakeOver, IsNotInTheListAfterAKillThatLeavesItToTheBrowser) {
  Run run;
  run.origin.Always({.wire = {.bytesPerSecond = 100'000}, .dropInHeader = 0, .thinkTime = 60'000});
  run.Add("https://o.example/listed.bin");
  run.HandOver();
  run.sim.RunFor(10'000);  // the list is saved every five seconds
  EXPECT_EQ(run.app.List().size(), 2U);
  run.sim.disk().CutNow();
  Run next(SimOptions{.disk = run.sim.disk().TakeState()});
  ASSERT_EQ(next.app.List().size(), 1U);
  EXPECT_EQ(next.app.List().front().url, "https://o.example/listed.bin");
}

TEST_F(WebTakeOver, IsInTheListAfterAKillOnceTheBrowserHasTheAnswer) {
  Run run;
  run.HandOver();
  ASSERT_TRUE(run.RunUntilAnswered());
  run.sim.disk().CutNow();
  Run next(SimOptions{.disk = run.sim.disk().TakeState()});
  ASSERT_EQ(next.app.List().size(), 1U);
  EXPECT_EQ(next.app.List().front().id, run.answer.id);
}

// The list is never flushed: a power cut may leave any of its bytes, or none.
TEST_F(WebTakeOver, IsInTheListAfterAPowerCutOnceTheBrowserHasTheAnswer) {
  for (std::uint64_t calls = 0; calls < 60; ++calls) {
    Run run;
    run.HandOver();
    ASSERT_TRUE(run.RunUntilAnswered());
    ASSERT_NE(run.answer.id, "");
    if (calls > 0) {
      run.sim.disk().CutAt(run.sim.disk().Calls() + calls);
      run.sim.RunFor(20'000);
    }
    run.sim.disk().PowerCut(calls);
    Run next(SimOptions{.disk = run.sim.disk().TakeState()});
    ASSERT_EQ(next.app.List().size(), 1U) << calls;
    EXPECT_EQ(next.app.List().front().id, run.answer.id) << calls;
    EXPECT_EQ(next.app.List().front().url, kUrl) << calls;
  }
}

TEST_F(WebTakeOver, IsTakenEvenIfTheJournalCannotBeWritten) {
  Run run;
  run.origin.Always({.wire = {.bytesPerSecond = 100'000}, .thinkTime = 3'000});
  run.HandOver();
  run.sim.RunFor(2000);
  run.sim.disk().FailWhere(
      [](DiskCall call, const std::string& path) {
        return path == "/prog/Pellora.fetch" && (call == DiskCall::Flush || call == DiskCall::Replace);
      },
      1, true);
  ASSERT_TRUE(run.RunUntilAnswered());
  EXPECT_NE(run.answer.id, "") << run.answer.reason;
  EXPECT_EQ(run.app.List().size(), 1U);
}

TEST_F(WebTakeOver, LeavesNothingIfTheUserHasCancelledItInTheBrowser) {
  Run run;
  run.HandOver();
  ASSERT_TRUE(run.RunUntilAnswered());
  run.sim.RunFor(500);
  std::string reason = "none";
  run.sim.Do([&] { reason = run.app.Release(run.answer.id); });
  EXPECT_EQ(reason, "");
  run.sim.RunFor(30'000);
  run.ExpectNothingLeft();
}

TEST_F(WebTakeOver, ReleasesOnlyWhatWasTakenOverAndLeftAlone) {
  Run run;
  EXPECT_EQ(run.app.Release("1-2-3"), "There is no such download.");
  run.origin.File("/b.bin", SimContent::Generated(kSize, 7));
  run.Add("https://o.example/b.bin");
  EXPECT_EQ(run.app.Release(run.app.List().front().id), "It was not taken over.");
  run.HandOver();
  ASSERT_TRUE(run.RunUntilAnswered());
  const std::string id = run.answer.id;
  run.sim.Do([&] { run.app.Pause(id); });
  run.sim.RunFor(1000);
  EXPECT_EQ(run.app.Release(id), "It was paused.");
  run.sim.Do([&] { run.app.Resume(id); });
  ASSERT_TRUE(run.RunUntilFinished(2));
  EXPECT_EQ(run.app.Release(id), "It is finished.");
  EXPECT_EQ(run.app.List().size(), 2U);
}

TEST_F(WebTakeOver, ShowsItsWindowOnlyWhenItIsTaken) {
  Run run;
  run.program().ShowTransferWindow = true;
  run.origin.Always({.wire = {.bytesPerSecond = 100'000}, .thinkTime = 3'000});
  run.HandOver();
  run.sim.RunFor(2000);
  ASSERT_TRUE(run.WindowOf());
  EXPECT_FALSE(run.WindowOf()->Visible());
  ASSERT_TRUE(run.RunUntilAnswered());
  EXPECT_TRUE(run.WindowOf()->Visible());
}

TEST_F(WebTakeOver, LaterVersionsNeedNotBeWhatTheBrowserGot) {
  Run run;
  run.HandOver();
  ASSERT_TRUE(run.RunUntilReceived(500'000));
  run.sim.Do([&] { run.app.Pause(run.answer.id); });
  run.origin.File("/a.bin", SimContent::Generated(kSize + 7, 8), "application/zip");
  run.origin.Traits("/a.bin").validators = {{.etag = "\"2\"", .modified = 1'700'000'100}};
  run.sim.Do([&] { run.app.Resume(run.answer.id); });
  ASSERT_TRUE(run.sim.RunUntil([&] { return run.WindowOf()->Asks(); }, 60'000)) << run.StateWord();
  run.Decide(true);
  ASSERT_TRUE(run.RunUntilFinished()) << run.Web().reason;
  EXPECT_TRUE(run.sim.disk().Holds(run.Record().SavePath, SimContent::Generated(kSize + 7, 8)));
}

}  // namespace
}  // namespace pellora
