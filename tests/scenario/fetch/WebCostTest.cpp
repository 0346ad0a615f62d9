// What downloads cost the disk: calls that must grow neither with the list nor, on a slow disk, with each file.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "WebApp.h"
#include "mainwin/ScriptedAdd.h"

namespace pellora {
namespace {

constexpr const char* kList = "/prog/Pellora.dat";
constexpr const char* kJournal = "/prog/Pellora.fetch";
const SimContent kContent = SimContent::Generated(20'000, 7);

class Costs : public WebApp {
 public:
  explicit Costs(SimOptions options = {}, bool headless = false)
      : WebApp(std::move(options)), origin(sim.network(), "o.example", 443) {
    if (headless) app.SetHeadless();
    sim.settings().values[{"Pellora", "HideTransferWindows"}] = "True";
    sim.settings().values[{"Pellora", "MaxSimulDownlads"}] = "10";
    Start();
    sim.disk().FailWhere([this](DiskCall call, const std::string& path) {
      ++calls_[{call, path}];
      return false;
    });
  }
  void AddMany(int from, int count, bool later) {
    for (int i = from; i < from + count; ++i) AddOne("/f" + std::to_string(i) + ".bin", later);
  }
  void AddOne(const std::string& path, bool later) {
    origin.File(path, kContent);
    sim.Do([&] { AddForScript(program(), {.url = "https://o.example" + path, .later = later, .quiet = true}); });
  }
  bool RunUntilAllFinished(int first) {
    return sim.RunUntil([&] {
      for (int i = first; i <= program().DownloadCount; ++i) {
        if (!Record(i).Finished) return false;
      }
      return true;
    });
  }
  // Adds one whose server stops sending. True: the journal knows its part file, and the list on the disk lacks it.
  bool BeginBetweenSaves() {
    origin.OnEach([](const HttpRequest&) -> std::optional<HttpFault> { return HttpFault{.hangInBody = 10'000}; });
    sim.RunFor(1000);
    Forget();
    AddMany(0, 1, false);
    const auto begun = [this] {
      return sim.disk().Has(kJournal) && sim.disk().Get(kJournal).find("f0.bin.part") != std::string::npos;
    };
    return sim.RunUntil(begun) && Calls(DiskCall::Write, kList) == 0;
  }
  int Calls(DiskCall call, const std::string& path) { return calls_[{call, path}]; }
  void Forget() { calls_.clear(); }

  SimHttpServer origin;

 private:
  std::map<std::pair<DiskCall, std::string>, int> calls_;
};

TEST(WebCost, TheListIsNotSavedForEachFileThatBeginsOrEnds) {
  Costs run;
  run.AddMany(0, 100, false);
  ASSERT_TRUE(run.RunUntilAllFinished(1));
  // Adds that come while others run may cost one save each, and every fifth second does.
  const auto seconds = static_cast<int>(run.sim.loop().Time() / SimLoop::kSecond);
  EXPECT_LE(run.Calls(DiskCall::Write, kList), 3 + seconds / 5);
}

TEST(WebCost, TheListIsNotSavedForEachFileThatIsAddedWhileOthersRun) {
  Costs run;
  const std::int64_t began = run.sim.loop().Time();
  for (int i = 0; i < 100; ++i) {
    run.AddMany(i, 1, false);
    run.sim.RunFor(50);
  }
  ASSERT_TRUE(run.RunUntilAllFinished(1));
  const auto ticks = static_cast<int>((run.sim.loop().Time() - began) / (SimLoop::kSecond / 2));
  EXPECT_LE(run.Calls(DiskCall::Write, kList), ticks + 2);
}

TEST(WebCost, TheListIsNotSavedForEachOfManyFilesWithTheSameName) {
  Costs run;
  const std::int64_t began = run.sim.loop().Time();
  for (int i = 0; i < 50; ++i) run.AddOne("/" + std::to_string(i) + "/f.bin", false);
  ASSERT_TRUE(run.RunUntilAllFinished(1));
  const auto ticks = static_cast<int>((run.sim.loop().Time() - began) / (SimLoop::kSecond / 2));
  EXPECT_LE(run.Calls(DiskCall::Write, kList), ticks + 2);
}

// The list on the disk lacks what was added a moment ago.
TEST(WebCost, WhatBeganRightBeforeAKillComesBackAlthoughTheListLacksIt) {
  Costs run;
  ASSERT_TRUE(run.BeginBetweenSaves());
  run.sim.disk().CutNow();
  run.sim.RunFor(1000);
  Costs next({.disk = run.sim.disk().TakeState()});
  ASSERT_EQ(next.program().DownloadCount, 1);
  EXPECT_EQ(next.Record(1).FileName, "f0.bin");
  EXPECT_EQ(next.StateWord(1), "paused");
}

TEST(WebCost, WhatBeganRightBeforeAKillContinuesWithoutWindows) {
  Costs run({}, true);
  ASSERT_TRUE(run.BeginBetweenSaves());
  run.sim.disk().CutNow();
  run.sim.RunFor(1000);
  Costs next({.disk = run.sim.disk().TakeState()}, true);
  ASSERT_EQ(next.program().DownloadCount, 1);
  EXPECT_EQ(next.origin.Requests().size(), 1U);
}

// Its line in the journal goes although no list on the disk has ever had it.
TEST(WebCost, WhatBeganAndWasRemovedBeforeAnySaveDoesNotComeBack) {
  Costs run;
  ASSERT_TRUE(run.BeginBetweenSaves());
  run.sim.Do([&] { run.window().RemoveRecord(1); });
  run.sim.RunFor(6000);
  run.sim.disk().CutNow();
  run.sim.RunFor(1000);
  Costs next({.disk = run.sim.disk().TakeState()});
  EXPECT_EQ(next.StateWord(1), "");
}

TEST(WebCost, WhatWasRemovedAMomentAgoGivesItsNameBack) {
  Costs run;
  run.origin.OnEach([](const HttpRequest&) -> std::optional<HttpFault> { return HttpFault{.hangInBody = 10'000}; });
  const auto parts = [&] { return run.sim.platform().files.FilesIn(run.program().settings.DownloadFolder); };
  run.AddMany(0, 1, false);
  ASSERT_TRUE(run.sim.RunUntil([&] { return parts() == std::vector<std::string>{"f0.bin.part"}; }));
  run.sim.RunFor(1000);
  run.sim.Do([&] { run.window().RemoveRecord(1); });
  run.AddMany(0, 1, false);
  run.sim.RunFor(2000);
  EXPECT_EQ(parts(), std::vector<std::string>{"f0.bin.part"});
  EXPECT_EQ(run.Record(1).FileName, "f0.bin");
}

TEST(WebCost, OnASlowDiskLinesOfManyDownloadsAreFlushedTogether) {
  Costs run;
  run.sim.background().SetMaxDelay(100);
  run.AddMany(0, 100, false);
  ASSERT_TRUE(run.RunUntilAllFinished(1));
  EXPECT_LE(run.Calls(DiskCall::Flush, kJournal), 220);  // of some 300 lines
  EXPECT_LE(run.Calls(DiskCall::FlushFolder, "/home/u/dl"), 60);
}

TEST(WebCost, OfADownloadDoesNotDependOnTheLengthOfTheList) {
  const auto costs = [](int listed) {
    Costs run;
    run.AddMany(1000, listed, true);
    run.sim.RunFor(6000);
    run.Forget();
    run.AddMany(0, 5, false);
    EXPECT_TRUE(run.RunUntilAllFinished(listed + 1));
    return std::pair(run.Calls(DiskCall::Write, kList) <= 6, run.Calls(DiskCall::Flush, kJournal) <= 15);
  };
  EXPECT_EQ(costs(0), std::pair(true, true));
  EXPECT_EQ(costs(300), std::pair(true, true));
}

// The list on the disk may still have it in the queue.
TEST(WebCost, WhatRanAtAKillComesBackPausedAlthoughTheListIsOlder) {
  Costs run;
  run.program().settings.MaxSimulDownlads = 1;
  run.AddMany(0, 2, false);
  run.origin.OnEach([](const HttpRequest& request) -> std::optional<HttpFault> {
    if (request.target == "/f1.bin") return HttpFault{.hangInBody = 10'000};
    return std::nullopt;
  });
  const auto begun = [&] {
    return run.sim.disk().Has(kJournal) && run.sim.disk().Get(kJournal).find("f1.bin.part") != std::string::npos;
  };
  ASSERT_TRUE(run.sim.RunUntil(begun));
  run.sim.disk().CutNow();
  run.sim.RunFor(1000);
  Costs next({.disk = run.sim.disk().TakeState()});
  EXPECT_EQ(next.StateWord(1), "finished");
  EXPECT_EQ(next.StateWord(2), "paused");
  EXPECT_EQ(next.Record(1).Queued, 0);
}

}  // namespace
}  // namespace pellora
