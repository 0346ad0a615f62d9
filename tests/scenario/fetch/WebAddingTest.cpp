// What an add asks for besides the address: place, login, page, begin at a time, quiet.
#include <functional>

#include "WebApp.h"
#include "core/FileNames.h"
#include "core/WebTexts.h"
#include "mainwin/AddDownload.h"

namespace pellora {
namespace {

constexpr const char* kUrl = "https://o.example/a.bin";
constexpr double kHour = 1.0 / 24;

class WebAdding : public testing::Test {
 protected:
  struct Run : WebApp {
    explicit Run(SimOptions options = {}) : WebApp(std::move(options)), origin(sim.network(), "o.example", 443) {
      for (const char* path : {"/a.bin", "/b.bin"}) origin.File(path, SimContent::Generated(100'000, 7));
      Start();
    }
    AddOutcome Ask(AddRequest request) {
      AddOutcome outcome;
      sim.Do([&] { outcome = AddWithoutAsking(program(), request); });
      sim.RunReady();
      return outcome;
    }
    AddOutcome Want(const std::function<void(WebAdd&)>& set, const std::string& url = kUrl) {
      AddRequest request{.url = url};
      set(request.web);
      return Ask(std::move(request));
    }
    AddOutcome BeginLater() {
      return Want([this](WebAdd& web) { web.startAt = Now() + kHour; });
    }
    AddOutcome AddQuiet() {
      return Want([](WebAdd& web) { web.quiet = true; });
    }
    std::string Journal() { return sim.disk().Get("/prog/Pellora.fetch"); }
    double Now() { return sim.loop().Now(); }
    bool Begun() { return !origin.Requests().empty(); }
    SimHttpServer origin;
  };
  static std::unique_ptr<Run> Restart(Run& run) {
    run.sim.RunFor(100);  // the journal's line reaches the disk
    run.sim.Do([&] { run.app.SaveAndQuit(); });
    run.sim.RunFor(2000);
    return Again(run);
  }
  static std::unique_ptr<Run> Again(Run& run) {
    const double now = run.Now();
    return std::make_unique<Run>(SimOptions{.startSerial = now, .disk = run.sim.disk().TakeState()});
  }
};

TEST_F(WebAdding, SavesUnderTheNameAndInTheFolderAskedFor) {
  Run run;
  run.sim.platform().files.CreateFolder("/home/u/other");
  EXPECT_EQ(run.Ask({.url = kUrl, .folder = "/home/u/other", .name = "mine.iso"}).reason, "");
  EXPECT_EQ(run.Record().FileName, "mine.iso");
  ASSERT_TRUE(run.RunUntilFinished()) << run.Web().reason;
  EXPECT_EQ(run.Record().SavePath, "/home/u/other/mine.iso");
  EXPECT_TRUE(run.sim.disk().Holds("/home/u/other/mine.iso", SimContent::Generated(100'000, 7)));
}

TEST_F(WebAdding, NameAloneGoesIntoTheFolderOfTheSettings) {
  Run run;
  run.Ask({.url = kUrl, .name = "mine.iso"});
  ASSERT_TRUE(run.RunUntilFinished());
  EXPECT_EQ(run.Record().SavePath, JoinFolder(run.Folder(), "mine.iso"));
}

TEST_F(WebAdding, FolderAloneKeepsTheServersNameAfterARestartToo) {
  Run first;
  first.sim.platform().files.CreateFolder("/home/u/other");
  first.origin.Always({.wire = {.bytesPerSecond = 20'000}});
  first.program().settings.MaxSimulDownlads = 0;  // it is queued
  first.Ask({.url = kUrl, .folder = "/home/u/other"});
  EXPECT_FALSE(first.Begun());
  const auto next = Restart(first);
  ASSERT_TRUE(next->RunUntilFinished()) << next->StateWord();
  EXPECT_EQ(next->Record().SavePath, "/home/u/other/a.bin");
}

TEST_F(WebAdding, PlaceThatIsNoneIsRefused) {
  Run run;
  for (const char* name : {"a/b", ".", ".."}) EXPECT_NE(run.Ask({.url = kUrl, .name = name}).reason, "") << name;
  EXPECT_NE(run.Ask({.url = kUrl, .folder = "relative"}).reason, "");
  EXPECT_NE(run.Ask({.url = kUrl, .name = std::string("a\0b", 3)}).reason, "");
  EXPECT_EQ(run.program().DownloadCount, 0);
}

TEST_F(WebAdding, LoginIsSentAndNotWritten) {
  Run run;
  run.Want([](WebAdd& web) {
    web.user = "bob";
    web.password = "s3cret";
  });
  ASSERT_TRUE(run.RunUntilFinished());
  EXPECT_TRUE(run.origin.Requests().at(0).Header("Authorization"));
  run.sim.RunFor(6000);
  for (const std::string& path : run.sim.disk().Paths()) {
    EXPECT_EQ(run.sim.disk().Get(path).find("s3cret"), std::string::npos) << path;
  }
}

TEST_F(WebAdding, JournalKeepsWhatWasAskedFor) {
  Run run;
  const std::string md5(32, 'a');
  run.program().settings.MaxSimulDownlads = 0;
  run.Want([&](WebAdd& web) {
    web.handOver.referrer = "https://page.example/";
    web.checksum = ParseChecksum(md5);
    web.speedLimit = 102400;
  });
  run.sim.RunFor(100);
  for (const std::string& part : {"checksum=md5:" + md5, std::string("limit=102400"), std::string("referrer=1")}) {
    EXPECT_NE(run.Journal().find(part), std::string::npos) << part << "\n" << run.Journal();
  }
  EXPECT_EQ(run.Journal().find("page.example"), std::string::npos) << run.Journal();
}

TEST_F(WebAdding, BeginsAtItsTimeAndNotBefore) {
  Run run;
  run.BeginLater();
  EXPECT_EQ(run.StateWord(), "queued");
  EXPECT_NE(run.Web().reason, "");
  run.sim.RunFor(3'590'000);
  EXPECT_FALSE(run.Begun());
  run.sim.RunFor(20'000);
  EXPECT_TRUE(run.Begun());
  EXPECT_TRUE(run.RunUntilFinished());
}

TEST_F(WebAdding, OthersAreNotHeldUpByWhatBeginsLater) {
  Run run;
  run.program().settings.MaxSimulDownlads = 1;
  run.BeginLater();
  run.Ask({.url = "https://o.example/b.bin"});
  EXPECT_TRUE(run.RunUntilFinished(2, 60'000));
}

TEST_F(WebAdding, AddOutlivesAQuitInTheSameMoment) {
  Run first;
  first.sim.background().SetMaxDelay(500);
  const std::string md5(32, 'a');
  first.sim.Do([&] {
    AddRequest request{.url = kUrl};
    request.web.startAt = first.Now() + kHour;
    request.web.checksum = ParseChecksum(md5);
    EXPECT_EQ(AddWithoutAsking(first.program(), request).reason, "");
    first.app.SaveAndQuit();
  });
  EXPECT_TRUE(first.sim.Ended());
  const auto next = Again(first);
  ASSERT_EQ(next->program().DownloadCount, 1);
  EXPECT_EQ(next->StateWord(), "queued");
  EXPECT_NE(next->Journal().find("checksum=md5:" + md5), std::string::npos) << next->Journal();
}

TEST_F(WebAdding, DeletionOutlivesAQuitInTheSameMoment) {
  Run first;
  first.origin.Always({.wire = {.bytesPerSecond = 5'000}});
  first.Ask({.url = kUrl});
  ASSERT_TRUE(first.RunUntilReceived(20'000));
  first.sim.RunFor(6000);
  first.sim.background().SetMaxDelay(500);
  first.sim.Do([&] {
    first.window().RemoveRecord(1);
    first.app.SaveAndQuit();
  });
  const auto next = Again(first);
  EXPECT_EQ(next->app.List().size(), 0U);
  EXPECT_FALSE(next->sim.disk().Has(next->Folder() + "/a.bin.part"));
}

TEST_F(WebAdding, TimeToBeginOutlivesAQuit) {
  Run first;
  first.BeginLater();
  const auto next = Restart(first);
  EXPECT_EQ(next->StateWord(), "queued");
  next->sim.RunFor(1'800'000);
  EXPECT_FALSE(next->Begun());
  next->sim.RunFor(1'900'000);
  EXPECT_TRUE(next->Begun());
}

TEST_F(WebAdding, TimeToBeginOutlivesAKillBeforeTheListWasSaved) {
  Run first;
  first.sim.RunFor(6000);
  first.BeginLater();
  first.sim.RunFor(50);
  const auto next = Again(first);
  ASSERT_EQ(next->program().DownloadCount, 1);
  EXPECT_EQ(next->StateWord(), "queued");
  next->sim.RunFor(3'700'000);
  EXPECT_TRUE(next->Begun());
}

TEST_F(WebAdding, ResumeAllLeavesWhatBeginsLaterAndTheUserMayStartItNow) {
  Run run;
  run.BeginLater();
  run.sim.Do([&] { run.app.ResumeAll(); });
  run.sim.RunFor(5000);
  EXPECT_FALSE(run.Begun());
  run.sim.Do([&] { run.sim.tasks().Spawn(run.window().Restart(1)); });
  EXPECT_TRUE(run.RunUntilFinished(1, 60'000));
}

TEST_F(WebAdding, BegunBeforeItsTimeItNeverWaitsForItAgain) {
  Run first;
  first.origin.Always({.wire = {.bytesPerSecond = 5'000}});
  first.BeginLater();
  first.sim.Do([&] { first.sim.tasks().Spawn(first.window().Restart(1)); });
  ASSERT_TRUE(first.RunUntilReceived(10'000));
  first.sim.RunFor(5000);
  EXPECT_EQ(first.Journal().substr(first.Journal().rfind("url=")).find("startat"), std::string::npos);
  const auto next = Restart(first);
  EXPECT_EQ(next->StateWord(), "paused");
}

TEST_F(WebAdding, QuietOnesOpenNoWindowUntilTheUserAsks) {
  Run run;
  run.origin.Always({.wire = {.bytesPerSecond = 5'000}});
  run.AddQuiet();
  run.Ask({.url = "https://o.example/b.bin"});
  run.sim.RunFor(5000);
  ASSERT_NE(run.WindowOf(1), nullptr);
  EXPECT_FALSE(run.WindowOf(1)->Loaded());
  EXPECT_TRUE(run.WindowOf(2)->Visible());
  run.sim.Do([&] { run.sim.tasks().Spawn(run.window().Restart(1)); });
  run.sim.RunFor(1000);
  EXPECT_TRUE(run.WindowOf(1)->Visible());
  EXPECT_EQ(run.WindowOf(1)->Label3.Caption(), kUrl);
}

TEST_F(WebAdding, QuietStaysQuietAfterARestart) {
  Run first;
  first.origin.Always({.wire = {.bytesPerSecond = 5'000}});
  first.AddQuiet();
  first.sim.RunFor(5000);
  const auto next = Restart(first);
  next->sim.Do([&] { next->app.ResumeAll(); });
  next->sim.RunFor(1000);
  ASSERT_NE(next->WindowOf(), nullptr);
  EXPECT_FALSE(next->WindowOf()->Visible());
  EXPECT_TRUE(next->RunUntilFinished());
  EXPECT_FALSE(next->WindowOf()->Visible());
}

TEST_F(WebAdding, WindowClosesItselfAtTheEndIfItIsSoSet) {
  Run run;
  run.program().settings.CloseFinishedWindows = true;
  run.AddQuiet();
  const std::shared_ptr<TransferWindow> window = run.WindowOf();
  ASSERT_NE(window, nullptr);
  run.sim.Do([&] { window->ShowWindow(); });
  ASSERT_TRUE(run.RunUntilFinished());
  run.sim.RunFor(1000);
  EXPECT_FALSE(window->Loaded());
  EXPECT_EQ(run.WindowOf(), nullptr);
  EXPECT_EQ(run.StateWord(), "finished");
}

TEST_F(WebAdding, WindowOfAFailedDownloadStaysThen) {
  Run run;
  run.program().settings.CloseFinishedWindows = true;
  run.Want([](WebAdd& web) { web.quiet = true; }, "https://o.example/missing.bin");
  run.sim.Do([&] { run.WindowOf()->ShowWindow(); });
  run.sim.RunFor(5000);
  ASSERT_EQ(run.StateWord(), "failed");
  EXPECT_TRUE(run.WindowOf()->Visible());
}

TEST_F(WebAdding, WindowBuiltLateShowsWhatWasFinishedBefore) {
  Run run;
  run.AddQuiet();
  ASSERT_TRUE(run.RunUntilFinished());
  run.sim.RunFor(1000);
  run.sim.Do([&] { run.WindowOf()->ShowWindow(); });
  EXPECT_EQ(run.WindowOf()->Command1.Caption(), "Open File");
  EXPECT_EQ(run.WindowOf()->Command3.Caption(), "Open Folder");
  EXPECT_EQ(run.WindowOf()->FinishedMode, 1);
}

}  // namespace
}  // namespace pellora
