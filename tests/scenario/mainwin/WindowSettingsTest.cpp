// The setting that keeps the windows of transfers closed.
#include "MainWindowFixture.h"
#include "options/Options.h"

namespace pellora {
namespace {

class WindowSettings : public MainWindowFixture {
 protected:
  void StartWith(const std::string& hide) {
    sim.settings().Set("Pellora", "HideTransferWindows", hide);
    Start();
    program().settings.CheckClipboard = false;
  }
};

TEST_F(WindowSettings, WindowsOpenByDefault) {
  Start();
  Add("http://h/a.zip");
  ASSERT_EQ(transfers.size(), 1U);
  EXPECT_TRUE(transfers[0]->shown);
  EXPECT_TRUE(window().sdw.Checked());
}

TEST_F(WindowSettings, KeptClosedNoDownloadOpensOne) {
  StartWith("True");
  Add("http://h/a.zip");
  Add("http://h/b.zip");
  Settle();
  ASSERT_EQ(transfers.size(), 2U);
  EXPECT_FALSE(transfers[0]->shown);
  EXPECT_FALSE(transfers[1]->shown);
  EXPECT_FALSE(window().sdw.Checked());
}

TEST_F(WindowSettings, KeptClosedResumeAllOpensNone) {
  StartWith("True");
  const std::int16_t a = Record("http://h/a.zip");
  FakeTransfer& transfer = Transferring(a);
  transfer.PauseDownload();
  Do([&] { window().resumeall(); });
  EXPECT_EQ(transfer.resumes, 1);
  EXPECT_FALSE(transfer.shown);
}

TEST_F(WindowSettings, KeptClosedADoubleClickStillOpensTheWindowOfARunningDownload) {
  StartWith("True");
  const std::int16_t a = Record("http://h/a.zip");
  const FakeTransfer& transfer = Transferring(a);
  Do([&] { window().RefreshRows(0, 1); });
  ASSERT_TRUE(Select(window().ListView1, a));
  Do([&] { window().ListView1.DoubleClick(); });
  EXPECT_TRUE(transfer.shown);
}

TEST_F(WindowSettings, TheMenuEntryOpensWindowsAgainForThisRun) {
  StartWith("True");
  Do([&] { window().sdw.Click(); });
  EXPECT_TRUE(window().sdw.Checked());
  Add("http://h/a.zip");
  EXPECT_TRUE(transfers.at(0)->shown);
  OtherRun next;
  next.sim.settings().Set("Pellora", "HideTransferWindows", "True");
  next.Start();
  EXPECT_FALSE(next.app.mainWindow().sdw.Checked());
}

TEST_F(WindowSettings, MenuEntryFollowsTheOptions) {
  StartWith("False");
  ASSERT_TRUE(window().sdw.Checked());
  options& dialog = *window().optionsWindow;
  const auto choose = [&](bool hidden) {
    Do([&] { window().RunAction(MainWindow::kOptions); });
    Do([&] { dialog.Check16.SetByUser(hidden); });
    Do([&] { dialog.OK.Click(); });
    ASSERT_FALSE(dialog.Loaded()) << Box();
    Settle();
  };
  choose(true);
  EXPECT_TRUE(program().settings.HideTransferWindows);
  EXPECT_FALSE(window().sdw.Checked());
  Do([&] { window().sdw.Click(); });
  choose(true);  // nothing changes about it: the entry stays as the user has set it
  EXPECT_TRUE(window().sdw.Checked());
  choose(false);
  EXPECT_TRUE(window().sdw.Checked());
}

}  // namespace
}  // namespace pellora
