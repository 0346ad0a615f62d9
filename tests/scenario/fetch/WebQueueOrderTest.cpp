// The order of the queue over restarts, for both engines, and what the journal makes of records that it only orders.
#include "WebApp.h"
#include "core/EngineChoice.h"
#include "core/ListFile.h"
#include "core/QueueOrder.h"
#include "mainwin/ScriptedAdd.h"

namespace pellora {
namespace {

constexpr const char* kJournal = "/prog/Pellora.fetch";

class WebQueueOrder : public testing::Test {
 protected:
  struct Run : WebApp {
    explicit Run(SimOptions options = {})
        : WebApp(std::move(options)), web(sim.network(), "w.example", 443), classic(sim.network(), "c.example", 80) {
      for (SimHttpServer* const server : {&web, &classic}) {
        for (const char* path : {"/0.bin", "/1.bin", "/2.bin", "/3.bin"}) {
          server->File(path, SimContent::Generated(3'000'000, 7));
          server->Traits(path).validators = {{.etag = "\"1\""}};
        }
        server->Always({.wire = {.bytesPerSecond = 100'000}});
      }
      sim.settings().values[{"Pellora", "MaxSimulDownlads"}] = "1";
      program().LangStrings.at(951) = "\"";  // as every language has it
      Start();
    }
    // 1 runs; 2 and 4 are queued for the classic engine, 3 and 5 for the web engine.
    void FillQueue() {
      for (const char* url : {"https://w.example/0.bin", "http://c.example/1.bin", "https://w.example/1.bin",
                              "http://c.example/2.bin", "https://w.example/2.bin"}) {
        Add(url);
      }
    }
    bool Move(std::int16_t index, QueueMove move) {
      bool moved = false;
      sim.Do([&] { moved = QueueOrder(program()).Move(index, move); });
      return moved;
    }
    // 5, which has begun.
    void PauseTheFirstOfTheQueue() {
      FillQueue();
      Move(5, QueueMove::First);
      sim.Do([&] { WindowOf(1)->PauseDownload(); });
      ASSERT_TRUE(RunUntilReceived(300'000, 5));
      sim.Do([&] { WindowOf(5)->PauseDownload(); });
      Save();
    }
    std::vector<std::int16_t> Queued() { return QueueOrder(program()).Queued(); }
    void Save() {
      sim.RunFor(1000);
      sim.Do([&] { SaveList(program()); });
      sim.RunFor(1000);
    }
    // What a kill leaves, and its list is lost.
    SimDiskState WithoutList() {
      SimPlatform editor({.disk = sim.disk().TakeState()});
      editor.disk().Lose("/prog/Pellora.dat");
      return editor.disk().TakeState();
    }
    bool JournalHas(const std::string& text) { return sim.disk().Get(kJournal).find(text) != std::string::npos; }

    SimHttpServer web, classic;
  };
  using Line = std::vector<std::int16_t>;
};

TEST_F(WebQueueOrder, IsKeptOverAKillForBothEngines) {
  Run first;
  first.FillQueue();
  ASSERT_EQ(first.Queued(), (Line{2, 3, 4, 5}));
  EXPECT_TRUE(first.Move(5, QueueMove::First));
  EXPECT_TRUE(first.Move(2, QueueMove::Last));
  ASSERT_EQ(first.Queued(), (Line{5, 3, 4, 2}));
  first.Save();

  Run next({.disk = first.sim.disk().TakeState()});
  next.sim.Do([&] { next.app.ResumeAll(); });
  // The first has begun.
  EXPECT_TRUE(next.Record(5).Active);
  EXPECT_EQ(next.Queued(), (Line{1, 3, 4, 2}));
}

TEST_F(WebQueueOrder, MakesNoClassicRecordOneOfTheWebEngine) {
  Run first;
  first.FillQueue();
  first.Move(4, QueueMove::First);
  first.Move(2, QueueMove::Down);
  first.Save();
  ASSERT_TRUE(first.JournalHas("state=listed"));
  EXPECT_FALSE(IsWebRecord(first.program(), 4));

  Run next({.disk = first.sim.disk().TakeState()});
  for (const int index : {2, 4}) {
    EXPECT_FALSE(IsWebRecord(next.program(), index)) << index;
    EXPECT_EQ(next.program().Web(index), nullptr) << index;
    EXPECT_EQ(ChooseEngine(next.program(), index).engine, EngineName::Classic) << index;
  }
  EXPECT_EQ(next.program().DownloadCount, 5);
  next.sim.Do([&] { next.app.ResumeAll(); });
  EXPECT_TRUE(next.sim.RunUntil([&] { return next.Record(4).Finished; }));
  EXPECT_GE(next.Record(4).SegmentCount, 1);
  EXPECT_FALSE(next.classic.Requests().empty());
}

TEST_F(WebQueueOrder, EntriesLeaveTheJournalWithTheirRecords) {
  Run run;
  run.FillQueue();
  run.Move(4, QueueMove::First);
  run.Save();
  ASSERT_TRUE(run.JournalHas("state=listed"));
  run.sim.Do([&] { run.window().RemoveRecord(4); });
  run.Save();
  Run next({.disk = run.sim.disk().TakeState()});
  next.Save();
  EXPECT_EQ(next.program().HasQueuePlaces(), false);
  EXPECT_FALSE(next.JournalHas("state=listed"));
  EXPECT_FALSE(next.JournalHas("c.example/2.bin"));
}

TEST_F(WebQueueOrder, EntriesOfFinishedClassicDownloadsLeaveTheJournal) {
  Run run;
  run.FillQueue();
  run.Move(2, QueueMove::Last);
  run.Move(4, QueueMove::First);
  for (int i = 1; i <= 5; ++i) ASSERT_TRUE(run.RunUntilFinished(i, 3'600'000)) << i;
  run.Save();
  Run next({.disk = run.sim.disk().TakeState()});
  EXPECT_FALSE(next.JournalHas("state=listed"));
  EXPECT_EQ(next.program().DownloadCount, 5);
  for (int i = 1; i <= 5; ++i) EXPECT_TRUE(next.Record(i).Finished) << i;
}

TEST_F(WebQueueOrder, EntryWithoutItsRecordMakesNone) {
  Run first;
  first.FillQueue();
  first.Move(4, QueueMove::First);
  first.sim.RunFor(1000);
  // A kill came before it was saved, or an older one was put back.
  Run next({.disk = first.WithoutList()});
  for (int i = 1; i <= next.program().DownloadCount; ++i) {
    EXPECT_EQ(next.Record(i).URL.find("c.example"), std::string::npos) << next.Record(i).URL;
  }
  next.Save();
  Run last({.disk = next.sim.disk().TakeState()});
  EXPECT_FALSE(last.JournalHas("c.example/2.bin"));
}

TEST_F(WebQueueOrder, IsKeptByADownloadThatTheWebEngineBeginsAndPauses) {
  Run first;
  first.PauseTheFirstOfTheQueue();
  Run next({.disk = first.sim.disk().TakeState()});
  next.sim.Do([&] { next.app.ResumeAll(); });
  EXPECT_TRUE(next.program().QueuePlace(5).has_value());
  EXPECT_EQ(next.StateWord(5), "queued");
  EXPECT_EQ(next.Queued().front(), 5);
}

TEST_F(WebQueueOrder, IsKeptByADownloadThatTheListHasLost) {
  Run first;
  first.PauseTheFirstOfTheQueue();
  const std::optional<std::int64_t> place = first.program().QueuePlace(5);
  ASSERT_TRUE(place);

  Run next({.disk = first.WithoutList()});
  ASSERT_EQ(next.program().DownloadCount, 2);
  ASSERT_EQ(next.Record(2).URL, "https://w.example/2.bin");
  EXPECT_EQ(next.program().QueuePlace(2), place);
}

TEST_F(WebQueueOrder, DownloadThatWaitsInItIsStillQueuedIfTheListHasLostIt) {
  Run first;
  first.Add("https://w.example/0.bin");
  for (const char* const name : {"1.bin", "2.bin"}) {
    const std::string url = std::string("https://w.example/") + name;
    first.sim.Do([&] { AddForScript(first.program(), {.url = url, .later = name[0] == '2', .quiet = true}); });
  }
  ASSERT_EQ(first.Queued(), Line{2});
  first.sim.RunFor(1000);

  Run next({.disk = first.WithoutList()});
  ASSERT_TRUE(next.RunUntilReceived(1, 2));
  EXPECT_EQ(next.Record(1).URL, "https://w.example/0.bin");
  EXPECT_EQ(next.StateWord(1), "paused");  // it ran
  EXPECT_EQ(next.Record(2).URL, "https://w.example/1.bin");
  EXPECT_EQ(next.Record(3).URL, "https://w.example/2.bin");
  EXPECT_EQ(next.StateWord(3), "paused");
}

TEST_F(WebQueueOrder, WritesNothingBeforeTheFirstMove) {
  Run run;
  run.FillQueue();
  run.Save();
  EXPECT_FALSE(run.JournalHas("state=listed"));
  EXPECT_FALSE(run.JournalHas("place="));
}

}  // namespace
}  // namespace pellora
