// What lists, status bar, information pane and scripts show of the web engine's downloads.
#include "WebFixture.h"
#include "transferwin/TransferWindow.h"

namespace pellora {
namespace {

constexpr std::int64_t kGibibyte = std::int64_t{1} << 30;

class WebRows : public WebFixture {
 protected:
  WebRows() {
    Start();
    Add("https://h.example/d/a.zip");
    Settle();
  }
  const std::string& Status() { return CurrentRow(1).subItems.at(2); }
  // Both ways of drawing a row must show the same.
  void Both(const std::function<void()>& check) {
    for (const std::int16_t index : {std::int16_t{1}, kAllRows}) {
      Do([&] { window().RefreshRows(index, kForced); });
      check();
    }
  }
  FakeEngine& Engine() { return *engines.at(0); }
};

TEST_F(WebRows, ShowTheHostAndNoFiguresUntilTheServerReplies) {
  Both([&] {
    EXPECT_EQ(CurrentRow(1).text, "h.example");
    EXPECT_EQ(CurrentRow(1).subItems,
              (std::vector<std::string>{"h.example", "", Text(301), CurrentRow(1).subItems[3], ""}));
    EXPECT_EQ(CurrentRow(1).icon, "stop");
  });
}

TEST_F(WebRows, NameTheHostInTheTitleOfTheWindowToo) {
  auto& transfer = dynamic_cast<TransferWindow&>(*program().TransferWindowAt(1));
  Do([&] { transfer.DoRefresh(); });
  EXPECT_EQ(transfer.Caption(), "0.0% of h.example downloaded.");
  Rec(1).FileName = "a.zip";
  Do([&] { transfer.DoRefresh(); });
  EXPECT_EQ(transfer.Caption(), "0.0% of a.zip downloaded.");
}

TEST_F(WebRows, ShowSizesIn64Bits) {
  Engine().Receive(5 * kGibibyte, 10 * kGibibyte);
  Rec(1).FileName = "a.zip";
  Rec(1).FileSize = Rec(1).Received = 2147483647;
  Both([&] {
    EXPECT_EQ(CurrentRow(1).text, "a.zip");
    EXPECT_EQ(CurrentRow(1).subItems.at(1), "10 gb");
    EXPECT_EQ(Status(), Text(301) + " (50.0%)");
  });
}

TEST_F(WebRows, ShowAStopWithItsReason) {
  Engine().Receive(10, 40);
  Do([&] { Engine().Stop("The server does not have this file."); });
  Both([&] {
    EXPECT_EQ(Status(), Text(303) + " (25.0%)");
    EXPECT_EQ(CurrentRow(1).icon, "wrong");
    EXPECT_EQ(CurrentRow(1).toolTip, "The server does not have this file.");
  });
}

TEST_F(WebRows, ShowPausedQueuedAndScheduledAlikeInBothDrawings) {
  Do([&] { Engine().PauseDownload(); });
  Both([&] {
    EXPECT_EQ(Status(), Text(303));
    EXPECT_EQ(CurrentRow(1).icon, "down");
    EXPECT_EQ(CurrentRow(1).toolTip, "");
  });
  Rec(1).Scheduled = 1;
  Both([&] { EXPECT_EQ(CurrentRow(1).icon, "shed"); });
  program().settings.MaxSimulDownlads = 0;
  Rec(1).Queued = 1;
  Both([&] { EXPECT_EQ(Status(), Text(302)); });
}

TEST_F(WebRows, ShowWhatARunningDownloadWaitsFor) {
  program().AddWeb(1).reason = "The server asks for no further request before noon.";
  Both([&] {
    EXPECT_EQ(CurrentRow(1).toolTip, "The server asks for no further request before noon.");
    EXPECT_EQ(CurrentRow(1).icon, "stop");
  });
}

TEST_F(WebRows, ShowWhyARecordCannotBeStarted) {
  Record("sftp://h/b", [](auto& r) { r.FileName.clear(); });
  program().settings.WebEngine = kWebEngineOff;
  Do([&] { window().RefreshRows(kAllRows, kForced); });
  EXPECT_EQ(CurrentRow(2).icon, "wrong");
  EXPECT_EQ(CurrentRow(2).toolTip, Text(820));
}

TEST_F(WebRows, ShowAFinishedFileInItsWholeSize) {
  sim.disk().Put("/d/a.zip", SimContent(std::string("x")));
  Rec(1).FileSize = 2147483647;
  Do([&] { Engine().Finish("/d/a.zip", 10 * kGibibyte); });
  Settle();
  EXPECT_TRUE(window().ListView1.Rows().empty());
  const ListRow* const row = Row(window().ListView2, 1);
  ASSERT_NE(row, nullptr);
  EXPECT_EQ(row->subItems.at(0), "10 gb");
}

TEST_F(WebRows, FillTheInformationPaneAtAClick) {
  Do([&] { Engine().Stop("The server does not have this file."); });
  Settle();
  ASSERT_TRUE(Select(window().ListView1, 1));
  Do([&] { window().ListView1.Click(); });
  EXPECT_EQ(window().Info(2).Caption(), "https://h.example/d/a.zip");
  EXPECT_EQ(window().InfoCaption(5).Caption(), Text(205));
  EXPECT_EQ(window().Info(5).Caption(), "The server does not have this file.");
}

TEST_F(WebRows, LeaveTheInformationPaneAtAClickOnAClassicRow) {
  Record("http://h/b");
  Do([&] { window().RefreshRows(kAllRows, kForced); });
  Do([&] { window().Info(2).Caption = "before"; });
  ASSERT_TRUE(Select(window().ListView1, 2));
  Do([&] { window().ListView1.Click(); });
  EXPECT_EQ(window().Info(2).Caption(), "before");
}

TEST_F(WebRows, CountInTheStatusBarIn64Bits) {
  program().CountWebReceived(10 * kGibibyte);
  sim.RunFor(500);
  EXPECT_EQ(Panel(3), "Total downloaded : 10 gb  ");
}

TEST_F(WebRows, GiveScriptsWholeFiguresStatesAndReasons) {
  Engine().Receive(5 * kGibibyte, 10 * kGibibyte);
  program().AddWeb(1).bytesPerSecond = 1e9;
  DownloadInfo info = InfoOf(1);
  EXPECT_EQ(info.state, "active");
  EXPECT_EQ(info.received, 5 * kGibibyte);
  EXPECT_EQ(info.size, 10 * kGibibyte);
  EXPECT_EQ(info.bytesPerSecond, 1e9);
  EXPECT_EQ(info.reason, "");
  program().AddWeb(1).reason = "Waiting.";
  EXPECT_EQ(InfoOf(1).state, "active");
  EXPECT_EQ(InfoOf(1).reason, "Waiting.");
  Do([&] { Engine().Stop("Gone."); });
  info = InfoOf(1);
  EXPECT_EQ(info.state, "failed");
  EXPECT_EQ(info.reason, "Gone.");
  EXPECT_FALSE(info.bytesPerSecond);
  Rec(1).Queued = 1;
  EXPECT_EQ(InfoOf(1).state, "queued");
}

}  // namespace
}  // namespace pellora
