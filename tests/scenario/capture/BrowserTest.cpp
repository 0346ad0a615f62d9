// The automation class and the browsers' menu entry.
#include "MainWindowFixture.h"

namespace pellora {
namespace {

using BrowserCapture = MainWindowFixture;

TEST_F(BrowserCapture, AddsItsMenuEntryAtAStartWithTheSettingOn) {
  sim.settings().values[{"Pellora", "BrowserIngeration"}] = "True";
  Start();
  EXPECT_TRUE(sim.browserMenu().entry);
  EXPECT_EQ(sim.browserMenu().calls, 1);
}

TEST_F(BrowserCapture, RemovesItsMenuEntryAtAStartWithTheSettingOff) {
  sim.browserMenu().entry = true;
  sim.settings().values[{"Pellora", "BrowserIngeration"}] = "False";
  Start();
  EXPECT_FALSE(sim.browserMenu().entry);
}

TEST_F(BrowserCapture, KeepsItsMenuEntryUntilTheNextStart) {
  sim.settings().values[{"Pellora", "BrowserIngeration"}] = "True";
  Start();
  program().settings.BrowserIngeration = false;
  Do([&] { SaveSettings(program().settings, sim.settings()); });
  sim.RunFor(60000);
  EXPECT_TRUE(sim.browserMenu().entry);
  EXPECT_EQ(sim.browserMenu().calls, 1);

  OtherRun next;
  next.sim.settings().values = sim.settings().values;
  next.sim.browserMenu().entry = true;
  next.Start();
  EXPECT_FALSE(next.sim.browserMenu().entry);
}

TEST_F(BrowserCapture, StartsQuietlyWithoutABrowser) {
  sim.settings().values[{"Pellora", "BrowserIngeration"}] = "True";
  sim.browserMenu().parentMissing = true;
  Start();
  EXPECT_FALSE(sim.browserMenu().entry);
  EXPECT_TRUE(sim.dialogs().Boxes().empty());
  EXPECT_TRUE(window().Visible());
}

TEST_F(BrowserCapture, LeechUrlAddsAndChangesNothing) {
  Start();
  sim.RunFor(6000);
  const std::string list = sim.disk().Get("/prog/Pellora.dat");
  for (const char* text : {"", "http://origin.example/a.zip", "nonsense"}) {
    Do([&] { app->LeechURL(text, "http://origin.example/"); });
  }
  sim.RunFor(10000);
  EXPECT_EQ(program().DownloadCount, 0);
  EXPECT_EQ(sim.disk().Get("/prog/Pellora.dat"), list);
  EXPECT_TRUE(sim.dialogs().Boxes().empty());
}

TEST_F(BrowserCapture, MenuUrlIgnoresPageAndCookie) {
  std::vector<DownloadRecord> records;
  for (const bool filled : {false, true}) {
    SimPlatform one;
    App program(one.platform());
    program.program().newTransferWindow = [&](std::int16_t) {
      return std::make_shared<FakeTransfer>(program.program());
    };
    one.Do([&] { program.Start(); });
    one.RunFor(1);
    one.Do([&] {
      program.MenuURL("http://origin.example/a.zip", filled ? "http://page.example/" : "", filled ? "k=v" : "");
    });
    one.RunReady();
    ASSERT_EQ(program.program().DownloadCount, 1);
    records.push_back(program.program().Download(1));
    one.DropProgram();
  }
  EXPECT_EQ(records[1].Referer, "");
  EXPECT_TRUE(records[0] == records[1]);
}

TEST_F(BrowserCapture, MenuUrlStartsAtOnceOrQueuesWhileAllSlotsAreBusy) {
  sim.settings().values[{"Pellora", "MaxSimulDownlads"}] = "1";
  Start();
  Add("http://origin.example/a.zip");
  ASSERT_NE(InSlot(1), nullptr);
  EXPECT_EQ(InSlot(1)->probes, 1);
  Rec(1).Active = true;
  Add("http://origin.example/b.zip");
  EXPECT_EQ(Rec(2).Queued, 1);
}

TEST_F(BrowserCapture, BadUrlShowsAMessageButNoErrorToTheCaller) {
  Start();
  EXPECT_NO_THROW(Add("https://origin.example/a.zip"));
  EXPECT_EQ(Box(), Text(400));
  EXPECT_EQ(program().DownloadCount, 0);
}

}  // namespace
}  // namespace pellora
