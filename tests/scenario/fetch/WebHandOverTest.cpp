// Cookies and the page that a browser hands over with an address.
#include "WebApp.h"
#include "core/WebTexts.h"
#include "fetch/JournalCodec.h"

namespace pellora {
namespace {

constexpr const char* kUrl = "https://o.example/a.bin";
constexpr const char* kPage = "https://o.example/list?of=files";
constexpr const char* kJournal = "/prog/Pellora.fetch";
constexpr const char* kCookies = "session=secret; theme=dark";

class WebHandOver : public testing::Test {
 protected:
  struct Run : WebApp {
    explicit Run(SimOptions options = {}) : WebApp(std::move(options)), origin(sim.network(), "o.example", 443) {
      origin.File("/a.bin", SimContent::Generated(8'000'000, 7));
      HttpTraits& traits = origin.Traits("/a.bin");
      traits.validators = {{.etag = "\"1\"", .modified = 1'700'000'000}};
      traits.cookie = "session=secret";
      origin.Always({.wire = {.bytesPerSecond = 100'000}});
      Start();
    }
    void HandOver(const std::string& url = kUrl, const std::string& cookies = kCookies) {
      sim.Do([&] { app.MenuURL(url, kPage, cookies); });
      sim.RunReady();
    }
    // As a script does. Returns the reason of a refusal.
    std::string AddAs(const ScriptedAdd& wanted) {
      std::string reason = "no answer";
      sim.Do([&] { app.Add(wanted, [&reason](const AddAnswer& answer) { reason = answer.reason; }); });
      sim.RunReady();
      return reason;
    }
    void Resume() {
      sim.Do([&] { app.ResumeAll(); });
    }
    bool RunUntilStopped() {
      return sim.RunUntil([&] { return StateWord() == "failed"; }, 600'000);
    }
    SimHttpServer origin;
  };
  // A part is here, and the program was ended and started again.
  std::unique_ptr<Run> Restarted(const char* cookies = kCookies) {
    Run first;
    if (*cookies == '\0') first.origin.Traits("/a.bin").cookie.clear();
    first.HandOver(kUrl, cookies);
    EXPECT_TRUE(first.RunUntilReceived(2'000'000));
    first.sim.RunFor(5000);
    first.sim.Do([&] { first.app.SaveAndQuit(); });
    first.sim.RunFor(2000);
    return std::make_unique<Run>(SimOptions{.disk = first.sim.disk().TakeState()});
  }
};

TEST_F(WebHandOver, CookiesAndPageReachEveryRequest) {
  Run run;
  run.HandOver();
  ASSERT_TRUE(run.RunUntilFinished()) << run.Web().reason;
  ASSERT_GT(run.origin.Requests().size(), 1U);
  for (const HttpRequest& request : run.origin.Requests()) {
    EXPECT_EQ(request.Header("Cookie"), kCookies);
    EXPECT_EQ(request.Header("Referer"), kPage);
  }
}

TEST_F(WebHandOver, CookiesGoToNoOtherOrigin) {
  Run run;
  SimHttpServer other(run.sim.network(), "other.example", 443);
  other.File("/a.bin", SimContent::Generated(1000, 7));
  run.origin.Redirect("/away", "https://other.example/a.bin");
  run.HandOver("https://o.example/away");
  ASSERT_TRUE(run.RunUntilFinished());
  ASSERT_EQ(other.Requests().size(), 1U);
  EXPECT_FALSE(other.Requests().front().Header("Cookie"));
  EXPECT_EQ(other.Requests().front().Header("Referer"), "https://o.example/");
}

TEST_F(WebHandOver, NoFileOfOursHasCookiesOrPage) {
  const std::unique_ptr<Run> next = Restarted();
  for (const std::string& path : next->sim.disk().Paths()) {
    EXPECT_EQ(next->sim.disk().Get(path).find("secret"), std::string::npos) << path;
    EXPECT_EQ(next->sim.disk().Get(path).find("of=files"), std::string::npos) << path;
  }
}

TEST_F(WebHandOver, RestartedDownloadIsTriedWithoutThePage) {
  const std::unique_ptr<Run> next = Restarted("");
  next->origin.Traits("/a.bin").cookie.clear();
  next->Resume();
  ASSERT_TRUE(next->RunUntilFinished()) << next->Web().reason;
  for (const HttpRequest& request : next->origin.Requests()) EXPECT_FALSE(request.Header("Referer"));
  EXPECT_TRUE(next->sim.disk().Holds(next->Record().SavePath, SimContent::Generated(8'000'000, 7)));
}

TEST_F(WebHandOver, ServerThatRequiresThePageGetsItByANewHandOver) {
  const std::unique_ptr<Run> next = Restarted("");
  next->origin.Traits("/a.bin").cookie.clear();
  next->origin.Traits("/a.bin").referrer = kPage;
  const std::int64_t had = next->Web().received;
  next->Resume();
  ASSERT_TRUE(next->RunUntilStopped()) << next->StateWord();
  EXPECT_EQ(next->Web().reason, FillText(TextOf(next->program(), WebText::PageGone), {"403"}));
  EXPECT_EQ(next->Web().received, had);
  next->HandOver(kUrl, "");
  EXPECT_EQ(next->sim.dialogs().OpenCount(), 0U);
  ASSERT_TRUE(next->RunUntilFinished()) << next->Web().reason;
  EXPECT_EQ(next->program().DownloadCount, 1);
  EXPECT_TRUE(next->sim.disk().Holds(next->Record().SavePath, SimContent::Generated(8'000'000, 7)));
}

TEST_F(WebHandOver, RefusalForAnotherReasonIsNotBlamedOnThePage) {
  const std::unique_ptr<Run> next = Restarted("");
  next->origin.Remove("/a.bin");
  next->Resume();
  ASSERT_TRUE(next->RunUntilStopped()) << next->StateWord();
  EXPECT_EQ(next->Web().reason, TextOf(next->program(), WebText::NotFound));
}

// Nearly every download of a browser has a page, and some have a login as well.
TEST_F(WebHandOver, DemandForALoginNamesThePageAndStillTakesTheLogin) {
  for (const bool byHandOver : {true, false}) {
    const std::unique_ptr<Run> next = Restarted("");
    HttpTraits& traits = next->origin.Traits("/a.bin");
    traits.cookie.clear();
    traits.login = "joe:pw";
    next->Resume();
    ASSERT_TRUE(next->sim.RunUntil([&] { return next->WindowOf()->Asks(); }, 60'000)) << next->StateWord();
    EXPECT_EQ(next->Web().reason, FillText(TextOf(next->program(), WebText::PageGone), {"401"}));
    if (byHandOver) {
      traits.login.clear();
      traits.referrer = kPage;
      next->HandOver(kUrl, "");
      EXPECT_EQ(next->sim.dialogs().OpenCount(), 0U);
    } else {
      next->sim.secrets().stored[{"https", "o.example", 443, traits.realm}] = {{"joe", "pw"}};
      next->Resume();
    }
    ASSERT_TRUE(next->RunUntilFinished()) << next->Web().reason;
    EXPECT_EQ(next->program().DownloadCount, 1);
  }
}

TEST_F(WebHandOver, PageInAnEarlierJournalCountsOnlyAsHavingBeenThere) {
  Run first;
  first.origin.Traits("/a.bin").cookie.clear();
  first.HandOver(kUrl, "");
  ASSERT_TRUE(first.RunUntilReceived(2'000'000));
  first.sim.RunFor(5000);
  first.sim.Do([&] { first.app.SaveAndQuit(); });
  first.sim.RunFor(2000);
  JournalEntry entry = ReadJournal(first.sim.disk().Get(kJournal)).entries.at(0);
  entry.hadPage = false;
  entry.others.emplace_back("referrer", kPage);
  first.sim.disk().Put(kJournal, JournalLine(entry));
  Run next({.disk = first.sim.disk().TakeState()});
  EXPECT_EQ(next.sim.disk().Get(kJournal).find("of=files"), std::string::npos);
  next.origin.Traits("/a.bin").cookie.clear();
  next.origin.Traits("/a.bin").referrer = kPage;
  next.Resume();
  ASSERT_TRUE(next.RunUntilStopped()) << next.StateWord();
  EXPECT_FALSE(next.origin.Requests().back().Header("Referer"));
  next.HandOver(kUrl, "");
  ASSERT_TRUE(next.RunUntilFinished()) << next.Web().reason;
  EXPECT_EQ(next.program().DownloadCount, 1);
}

TEST_F(WebHandOver, RestartedDownloadAsksForANewHandOverAndContinuesWithIt) {
  const std::unique_ptr<Run> next = Restarted();
  const std::int64_t had = next->Web().received;
  EXPECT_GE(had, 2'000'000);
  next->Resume();
  ASSERT_TRUE(next->RunUntilStopped()) << next->StateWord();
  EXPECT_EQ(next->Web().reason, TextOf(next->program(), WebText::CookiesGone));
  next->HandOver();
  EXPECT_EQ(next->sim.dialogs().OpenCount(), 0U);
  ASSERT_TRUE(next->RunUntilFinished()) << next->Web().reason;
  EXPECT_EQ(next->program().DownloadCount, 1);
  EXPECT_TRUE(next->sim.disk().Holds(next->Record().SavePath, SimContent::Generated(8'000'000, 7)));
}

TEST_F(WebHandOver, ScriptHandsOverCookiesAndPage) {
  Run run;
  EXPECT_EQ(run.AddAs({.url = kUrl, .referrer = kPage, .cookies = kCookies}), "");
  ASSERT_TRUE(run.RunUntilFinished()) << run.Web().reason;
  for (const HttpRequest& request : run.origin.Requests()) {
    EXPECT_EQ(request.Header("Cookie"), kCookies);
    EXPECT_EQ(request.Header("Referer"), kPage);
  }
  EXPECT_EQ(run.AddAs({.url = kUrl, .cookies = kCookies}), "It is in the list already.");
}

TEST_F(WebHandOver, RestartedDownloadContinuesWithTheCookiesOfAScript) {
  const std::unique_ptr<Run> next = Restarted();
  next->Resume();
  ASSERT_TRUE(next->RunUntilStopped()) << next->StateWord();
  const std::string id = next->app.List().at(0).id;
  EXPECT_EQ(next->AddAs({.url = kUrl, .cookies = kCookies}), "");
  EXPECT_EQ(next->app.List().at(0).id, id);
  ASSERT_TRUE(next->RunUntilFinished()) << next->Web().reason;
  EXPECT_EQ(next->program().DownloadCount, 1);
  EXPECT_TRUE(next->sim.disk().Holds(next->Record().SavePath, SimContent::Generated(8'000'000, 7)));
}

TEST_F(WebHandOver, LoginPageInsteadOfTheFileIsNoNewVersion) {
  const std::unique_ptr<Run> next = Restarted();
  next->origin.Traits("/a.bin").withoutCookie = 200;
  next->Resume();
  ASSERT_TRUE(next->RunUntilStopped()) << next->StateWord();
  EXPECT_EQ(next->Web().reason, TextOf(next->program(), WebText::CookiesGone));
  EXPECT_FALSE(next->WindowOf()->Asks());
  next->HandOver();
  ASSERT_TRUE(next->RunUntilFinished());
  EXPECT_TRUE(next->sim.disk().Holds(next->Record().SavePath, SimContent::Generated(8'000'000, 7)));
}

TEST_F(WebHandOver, ListedDownloadThatRunsIsAskedAboutAsEver) {
  Run run;
  run.HandOver();
  ASSERT_TRUE(run.RunUntilReceived(1'000'000));
  run.HandOver();
  EXPECT_EQ(run.sim.dialogs().OpenCount(), 1U);
}

TEST_F(WebHandOver, ClassicEngineSendsNothingOfIt) {
  Run run;
  run.program().LangStrings.at(951) = "\"";  // as every language has it
  SimHttpServer plain(run.sim.network(), "p.example", 80);
  plain.File("/a.bin", SimContent::Generated(1000, 7));
  run.HandOver("http://p.example/a.bin");
  ASSERT_TRUE(run.RunUntilFinished());
  for (const HttpRequest& request : plain.Requests()) {
    EXPECT_FALSE(request.Header("Cookie"));
    EXPECT_EQ(request.bytes.find("o.example"), std::string::npos);
  }
}

}  // namespace
}  // namespace pellora
