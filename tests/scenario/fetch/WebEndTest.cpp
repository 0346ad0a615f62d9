// The end of a download: pausing, deleting, killing and quitting around flush and rename, and what the lists do.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "WebApp.h"

namespace pellora {
namespace {

using Names = std::vector<std::string>;
constexpr const char* kUrl = "https://o.example/a.bin";
constexpr std::uint32_t kSlow = 400;  // ms of a disk that takes its time
const SimContent kContent = SimContent::Generated(300'000, 7);

// One download on a slow disk, `after` ms after the journal knows its part file.
class Ending : public WebApp {
 public:
  explicit Ending(SimOptions options = {}) : WebApp(std::move(options)), origin(sim.network(), "o.example", 443) {
    origin.File("/a.bin", kContent);
    origin.Traits("/a.bin").validators = {{.etag = "\"1\"", .modified = 1'700'000'000}};
    Start();
  }
  void RunToTheEnd(std::uint64_t after) {
    Add(kUrl);
    sim.background().SetMaxDelay(kSlow);
    ASSERT_TRUE(sim.RunUntil([&] { return JournalHas("a.bin.part"); }));
    sim.RunFor(after);
  }
  bool JournalHas(const std::string& text) {
    constexpr const char* kJournal = "/prog/Pellora.fetch";
    return sim.disk().Has(kJournal) && sim.disk().Get(kJournal).find(text) != std::string::npos;
  }
  Names InFolder() { return sim.platform().files.FilesIn(Folder()); }
  std::string Id() { return app.List().empty() ? "" : app.List().front().id; }
  SimHttpServer origin;
};

constexpr std::uint64_t kLast = 6000;  // ms; the end is over by then
constexpr std::uint64_t kStep = 75;

TEST(WebEnd, DeletedDownloadLeavesNothingOrItsWholeFile) {
  std::set<Names> seen;
  for (std::uint64_t after = 0; after <= kLast; after += kStep) {
    Ending run;
    run.RunToTheEnd(after);
    run.sim.Do([&] { EXPECT_EQ(run.app.Remove(run.Id()), ""); });
    run.sim.RunFor(20'000);
    const Names left = run.InFolder();
    ASSERT_TRUE(left.empty() || left == Names{"a.bin"}) << after << " " << left.front();
    if (!left.empty()) {
      ASSERT_TRUE(run.sim.disk().Holds(run.Folder() + "a.bin", kContent)) << after;
    }
    ASSERT_TRUE(run.app.List().empty());
    seen.insert(left);
  }
  EXPECT_EQ(seen.size(), 2U);
}

TEST(WebEnd, ResetListLeavesNothingOrTheWholeFile) {
  std::set<Names> seen;
  for (std::uint64_t after = 0; after <= kLast; after += kStep) {
    Ending run;
    run.RunToTheEnd(after);
    run.sim.Do([&] { run.window().RunAction(MainWindow::kResetList); });
    run.sim.RunReady();
    if (run.sim.dialogs().OpenCount() > 0) run.Answer(kAnswerYes);
    run.sim.RunFor(20'000);
    const Names left = run.InFolder();
    ASSERT_TRUE(left.empty() || left == Names{"a.bin"}) << after << " " << left.front();
    seen.insert(left);
  }
  EXPECT_EQ(seen.size(), 2U);
}

// The window's button cannot stop a rename either.
TEST(WebEnd, CancelNeverLeavesADownloadThatNothingFetches) {
  std::set<bool> finished;
  for (std::uint64_t after = 0; after <= kLast; after += kStep) {
    Ending run;
    run.RunToTheEnd(after);
    const auto window = run.WindowOf();
    ASSERT_TRUE(window);
    run.sim.Do([&] { window->Command2.Click(); });
    run.sim.RunFor(20'000);
    ASSERT_FALSE(run.Record().Active) << after;
    finished.insert(run.Record().Finished);
    if (run.Record().Finished) continue;
    run.sim.Do([&] { run.app.ResumeAll(); });
    ASSERT_TRUE(run.RunUntilFinished()) << after;
    ASSERT_EQ(run.InFolder(), Names{"a.bin"}) << after;
  }
  EXPECT_EQ(finished.size(), 2U);
}

TEST(WebEnd, PauseNeverStopsARename) {
  std::set<std::string> seen;
  for (std::uint64_t after = 0; after <= kLast; after += kStep) {
    Ending run;
    run.RunToTheEnd(after);
    run.sim.Do([&] { (void)run.app.Pause(run.Id()); });
    seen.insert(run.StateWord());
    run.sim.RunFor(5000);
    ASSERT_NE(run.StateWord(), "active") << after;
    run.sim.Do([&] { run.app.ResumeAll(); });
    ASSERT_TRUE(run.RunUntilFinished()) << after;
    run.sim.RunFor(5000);
    ASSERT_EQ(run.InFolder(), Names{"a.bin"}) << after;
  }
  EXPECT_EQ(seen, (std::set<std::string>{"active", "finished", "paused"}));
}

TEST(WebEnd, PausedAndKilledIsNotFetchedAgain) {
  for (std::uint64_t after = 0; after <= kLast; after += 2 * kStep) {
    for (const std::uint64_t later : {0U, 60U, 200U, 500U}) {
      Ending run;
      run.RunToTheEnd(after);
      run.sim.Do([&] { (void)run.app.Pause(run.Id()); });
      run.sim.RunFor(later);
      run.sim.disk().CutNow();
      run.sim.RunFor(1000);
      Ending next({.disk = run.sim.disk().TakeState()});
      next.sim.Do([&] { next.app.ResumeAll(); });
      ASSERT_TRUE(next.RunUntilFinished()) << after << " " << later;
      next.sim.RunFor(10'000);
      ASSERT_EQ(next.InFolder(), Names{"a.bin"}) << after << " " << later;
    }
  }
}

TEST(WebEnd, ManyFinishedShareOneRebuildOfTheLists) {
  WebApp run;
  SimHttpServer origin(run.sim.network(), "o.example", 443);
  run.Start();
  constexpr int kMany = 50;
  run.program().settings.MaxSimulDownlads = kMany;
  for (int i = 0; i < kMany; ++i) {
    const std::string path = "/" + std::to_string(i) + ".bin";
    origin.File(path, kContent);
    run.Add("https://o.example" + path);
  }
  run.sim.disk().KeepLog();
  for (int i = 1; i <= kMany; ++i) ASSERT_TRUE(run.RunUntilFinished(i));
  run.sim.RunFor(2000);
  EXPECT_EQ(run.window().ListView2.Rows().size(), static_cast<std::size_t>(kMany));
  EXPECT_TRUE(run.window().ListView1.Rows().empty());
  const std::vector<std::string>& log = run.sim.disk().Log();
  const auto looks =
      std::count_if(log.begin(), log.end(), [](const std::string& line) { return line.starts_with("disk length of"); });
  EXPECT_LT(looks, 6 * kMany);  // each completion would look for all before it: 1275
}

TEST(WebEnd, QuittingWaitsForNoDisk) {
  for (std::uint64_t after = 0; after <= kLast; after += 4 * kStep) {
    Ending run;
    run.RunToTheEnd(after);
    run.sim.background().SetMaxDelay(600'000);  // it hangs
    run.sim.RunFor(1000);
    run.sim.Do([&] { run.app.SaveAndQuit(); });
    ASSERT_TRUE(run.sim.Ended()) << after;
  }
}

TEST(WebEnd, FileIsClosedOutsideOfTheEventLoop) {
  Ending run;
  run.origin.File("/b.bin", SimContent::Generated(40'000'000, 3));
  run.Add("https://o.example/b.bin");
  ASSERT_TRUE(run.RunUntilReceived(1'000'000));
  ASSERT_EQ(run.sim.downloadFiles().Locked(), 1U);
  const std::string id = run.Id();
  run.sim.Do([&] {
    EXPECT_EQ(run.app.Remove(id), "");
    EXPECT_EQ(run.sim.downloadFiles().Locked(), 1U);
  });
  run.sim.RunFor(1000);
  EXPECT_EQ(run.sim.downloadFiles().Locked(), 0U);
}

// It has its name, but a power cut may undo that.
TEST(WebEnd, FileWhoseNameCannotBeFlushedIsFinishedOnceItCan) {
  Ending run;
  run.Add(kUrl);
  run.sim.disk().FailWhere([](DiskCall call, const std::string&) { return call == DiskCall::FlushFolder; }, 1, true);
  const auto resume = [&run] {
    run.sim.Do([&] { run.app.ResumeAll(); });
    run.sim.RunFor(10'000);
  };
  run.sim.RunFor(10'000);
  EXPECT_EQ(run.StateWord(), "failed");
  resume();
  EXPECT_EQ(run.StateWord(), "failed");
  run.sim.disk().NoFaults();
  resume();
  EXPECT_EQ(run.StateWord(), "finished");
  EXPECT_EQ(run.InFolder(), Names{"a.bin"});
}

}  // namespace
}  // namespace pellora
