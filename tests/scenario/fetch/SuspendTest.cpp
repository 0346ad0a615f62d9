// A machine that sleeps for hours: its connections are dead when it wakes up, and all downloads continue.
#include "WebApp.h"
#include "core/ListFile.h"
#include "fetch/JournalCodec.h"

namespace pellora {
namespace {

class Suspend : public testing::TestWithParam<const char*> {};

TEST_P(Suspend, DownloadContinuesByItself) {
  const std::string url = GetParam();
  WebApp run;
  run.program().LangStrings.at(951) = "\"";  // as every language has it
  SimHttpServer classic(run.sim.network(), "o.example", 80);
  SimHttpServer web(run.sim.network(), "o.example", 443);
  const SimContent content = SimContent::Generated(8'000'000, 7);
  for (SimHttpServer* const server : {&classic, &web}) {
    server->File("/a.bin", content);
    server->Traits("/a.bin").validators = {{.etag = "\"1\""}};
    server->Always({.wire = {.bytesPerSecond = 200'000}});
  }
  run.Start();
  run.Add(url);
  ASSERT_TRUE(run.sim.RunUntil([&] { return run.Record().Received > 2'000'000; }, 60'000));
  run.sim.network().SetOnline(false);
  run.sim.Stall(8 * 3'600'000);
  run.sim.network().SetOnline(true);
  ASSERT_TRUE(run.RunUntilFinished()) << run.StateWord();
  EXPECT_TRUE(run.sim.disk().Holds(run.Record().SavePath, content));
  EXPECT_EQ(run.sim.dialogs().OpenCount(), 0U);
}

INSTANTIATE_TEST_SUITE_P(Engines, Suspend, testing::Values("http://o.example/a.bin", "https://o.example/a.bin"));

TEST(Sleep, WaitsUntilTheJournalSaysWhatHasArrived) {
  WebApp run;
  SimHttpServer server(run.sim.network(), "o.example", 443);
  server.File("/a.bin", SimContent::Generated(8'000'000, 7));
  server.Traits("/a.bin").validators = {{.etag = "\"1\""}};
  server.Always({.wire = {.bytesPerSecond = 200'000}});
  run.Start();
  run.Add("https://o.example/a.bin");
  ASSERT_TRUE(run.RunUntilReceived(2'000'000));
  const auto noted = [&] {
    std::int64_t bytes = 0;
    const JournalReading journal = ReadJournal(run.sim.disk().Get(JournalPath(run.program())));
    for (const Range& range : journal.entries.at(0).held.Ranges()) bytes += range.Length();
    return bytes;
  };
  // Some moment between two lines of the journal.
  ASSERT_TRUE(run.sim.RunUntil([&] { return noted() + 300'000 < run.Web().received; }, 10'000));
  const std::int64_t received = run.Web().received;
  bool done = false;
  ASSERT_TRUE(run.sim.inhibit().held);
  run.sim.Do([&] { run.sim.inhibit().onSleep([&done] { done = true; }); });
  ASSERT_TRUE(run.sim.RunUntil([&] { return done; }, 1000));
  EXPECT_GE(noted(), received);
}

TEST(Sleep, WaitsForNothingWhereNoDownloadNotesAnything) {
  WebApp run;
  run.program().LangStrings.at(951) = "\"";
  SimHttpServer server(run.sim.network(), "o.example", 80);
  server.File("/a.bin", SimContent::Generated(8'000'000, 7));
  server.Always({.wire = {.bytesPerSecond = 200'000}});
  run.Start();
  run.Add("http://o.example/a.bin");
  ASSERT_TRUE(run.sim.RunUntil([&] { return run.Record().Received > 2'000'000; }, 60'000));
  bool done = false;
  run.sim.Do([&] { run.sim.inhibit().onSleep([&done] { done = true; }); });
  EXPECT_TRUE(run.sim.RunUntil([&] { return done; }, 1000));
}

}  // namespace
}  // namespace pellora
