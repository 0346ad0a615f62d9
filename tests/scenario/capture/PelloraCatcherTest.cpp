#include "MainWindowFixture.h"
#include "capture/DownloadBasket.h"
#include "capture/PelloraCatcher.h"
#include "lang/Language.h"

namespace pellora {
namespace {

class TrayIcon : public MainWindowFixture {
 protected:
  PelloraCatcher& catcher() { return app->catcher(); }
  std::vector<WindowState> States() { return sim.windows().Record(window()).states; }
};

TEST_F(TrayIcon, AppearsAtLoadWithItsCaptionAndPicture) {
  Start();
  EXPECT_EQ(sim.tray().added, 1);
  EXPECT_TRUE(sim.tray().Shown());
  EXPECT_EQ(sim.tray().tip, "Pellora!");
  EXPECT_EQ(sim.tray().picture, "program");
  EXPECT_TRUE(catcher().Loaded());
  EXPECT_FALSE(catcher().Visible());
}

TEST_F(TrayIcon, IsTranslatedButNotShownBeforeStart) {
  Do([&] { LoadLanguage(program(), "english"); });
  EXPECT_EQ(catcher().openwin.Caption(), Text(700));
  EXPECT_FALSE(catcher().Loaded());
  EXPECT_EQ(sim.tray().added, 0);
}

TEST_F(TrayIcon, IsRemovedOnceAtTheEnd) {
  Start();
  Do([&] { app->SaveAndQuit(); });
  EXPECT_EQ(sim.tray().deleted, 1);
  EXPECT_FALSE(sim.tray().Shown());
  EXPECT_EQ(sim.windows().Count("DownloadBasket"), 0U);  // does not create one to close it
}

TEST_F(TrayIcon, CutsATipOf64CharactersOrMore) {
  Start();
  for (const std::size_t length : {1U, 63U, 64U, 65U, 200U}) {
    Do([&] { catcher().refreshMessage(std::string(length, 'x')); });
    EXPECT_EQ(sim.tray().tip, std::string(std::min<std::size_t>(length, 64), 'x')) << length;
  }
}

TEST_F(TrayIcon, ShowsTheProgramsIconAgainAtLevelNone) {
  Start();
  const std::vector<std::pair<int, std::string>> pictures = {
      {1, "tray-1"}, {2, "tray-2"}, {3, "tray-3"}, {4, "tray-4"}, {0, "program"}, {9, "tray-4"}, {-1, "program"}};
  for (const auto& [level, picture] : pictures) {
    Do([&, at = level] { catcher().refreshIcon(at); });
    EXPECT_EQ(sim.tray().picture, picture) << level;
  }
}

TEST_F(TrayIcon, IsUpdatedOnEachTick) {
  Start();
  sim.RunFor(2500);
  EXPECT_EQ(sim.tray().tips.size(), 5U);
  EXPECT_EQ(sim.tray().pictures.size(), 5U);
  EXPECT_EQ(sim.tray().tip, "Pellora! Downloads(0) Speed : 0 " + Text(1) + "/s ");
}

TEST_F(TrayIcon, OpensTheWindowOnDoubleClickOnly) {
  Start();
  Do([&] { window().ViewClosed(); });
  for (const int message : {0, 511, 512, 513, 514, 517, 518, 519, 1024, -515}) {
    Do([&] { sim.tray().Mouse(message); });
    EXPECT_FALSE(window().Visible()) << message;
    EXPECT_TRUE(sim.windows().popups.empty()) << message;
  }
  Do([&] { sim.tray().Mouse(kTrayLeftDoubleClick); });
  EXPECT_TRUE(window().Visible());
  EXPECT_EQ(States(), std::vector<WindowState>{WindowState::Normal});
}

TEST_F(TrayIcon, RestoresAMinimisedWindow) {
  Start();
  Do([&] { window().ViewStateChanged(WindowState::Minimised); });
  Do([&] { catcher().openwin.Click(); });
  EXPECT_EQ(window().State(), WindowState::Normal);
  EXPECT_EQ(States(), std::vector<WindowState>{WindowState::Normal});
  EXPECT_EQ(sim.windows().Record(window()).raised, 1);
}

TEST_F(TrayIcon, OpensItsMenuOnRightClickWithoutCloseBasket) {
  Start();
  Do([&] { sim.tray().Mouse(kTrayRightDown); });
  ASSERT_EQ(sim.windows().popups.size(), 1U);
  EXPECT_EQ(sim.windows().popups[0].captions, (std::vector<std::string>{"&Open Pellora!", "&Pause all downloads",
                                                                        "&Resume all downloads", "-", "&Exit"}));
  EXPECT_EQ(sim.windows().popups[0].standard, "openwin");
}

TEST_F(TrayIcon, OffersToLimitTheSpeedOnceThereWasALimit) {
  Start();
  sim.RunFor(1000);
  EXPECT_FALSE(catcher().limitspeed.Visible());
  program().settings.SpeedLimit = 300;
  sim.RunFor(1000);
  EXPECT_TRUE(catcher().limitspeed.Visible());
  EXPECT_TRUE(catcher().limitspeed.Checked());
  Do([&] { catcher().limitspeed.Click(); });
  EXPECT_EQ(program().settings.SpeedLimit, 0);
  EXPECT_FALSE(catcher().limitspeed.Checked());
  Do([&] { catcher().limitspeed.Click(); });
  EXPECT_EQ(sim.settings().Get("Pellora", "SpeedLimit"), "300");
  EXPECT_EQ(program().settings.SpeedLimit, 300);
  EXPECT_TRUE(catcher().limitspeed.Checked());
  Do([&] { sim.tray().Mouse(kTrayRightDown); });
  EXPECT_EQ(sim.windows().popups.back().captions,
            (std::vector<std::string>{"&Open Pellora!", "&Pause all downloads", "&Resume all downloads", Text(874), "-",
                                      "&Exit"}));
}

TEST_F(TrayIcon, KnowsTheFormerLimitOfSpeedInTheNextRun) {
  sim.settings().values[{"Pellora", "SpeedLimit"}] = "300";
  Start();
  sim.RunFor(1000);
  Do([&] { catcher().limitspeed.Click(); });
  EXPECT_EQ(sim.settings().Get("Pellora", "SpeedLimit"), "0");
  EXPECT_EQ(sim.settings().Get("Pellora", "FormerSpeedLimit"), "300");
}

TEST_F(TrayIcon, OffersTheLimitOfSpeedOfTheFormerRun) {
  sim.settings().values[{"Pellora", "FormerSpeedLimit"}] = "300";
  Start();
  sim.RunFor(1000);
  EXPECT_TRUE(catcher().limitspeed.Visible());
  EXPECT_FALSE(catcher().limitspeed.Checked());
  Do([&] { catcher().limitspeed.Click(); });
  EXPECT_EQ(program().settings.SpeedLimit, 300);
}

TEST_F(TrayIcon, SaysThatTheLimitOfSpeedCannotBeStored) {
  sim.settings().values[{"Pellora", "SpeedLimit"}] = "300";
  Start();
  sim.RunFor(1000);
  sim.settings().failWrites = true;
  Do([&] { catcher().limitspeed.Click(); });
  EXPECT_EQ(program().settings.SpeedLimit, 0);
  EXPECT_TRUE(sim.dialogs().WasShown("The limit of speed applies, but cannot be stored: "));
}

TEST_F(TrayIcon, ShowsItsMenuInTheChosenLanguage) {
  sim.settings().values[{"Pellora", "Language"}] = "other";
  sim.disk().Put("/prog/other.txt", SimContent(std::string("700=Auf\n703=Ende\n704=Anderer Titel\n")));
  Start();
  EXPECT_EQ(sim.tray().tip, "Anderer Titel");
  Do([&] { sim.tray().Mouse(kTrayRightDown); });
  ASSERT_EQ(sim.windows().popups.size(), 1U);
  EXPECT_EQ(sim.windows().popups[0].captions.front(), "Auf");
  EXPECT_EQ(sim.windows().popups[0].captions.back(), "Ende");
}

TEST_F(TrayIcon, PausesAndResumesAll) {
  Start();
  FakeTransfer& first = Transferring(Record("http://h/a"));
  FakeTransfer& second = Transferring(Record("http://h/b"));
  Do([&] { catcher().pauseall.Click(); });
  EXPECT_EQ(first.pauses, 1);
  EXPECT_EQ(second.pauses, 1);
  Do([&] { catcher().resumeall.Click(); });
  EXPECT_EQ(first.resumes, 1);
  EXPECT_EQ(second.resumes, 1);
}

TEST_F(TrayIcon, ExitAsksNothingEvenDuringAQuestion) {
  Start();
  FakeTransfer& transfer = Transferring(Record("http://h/a"));
  Do([&] { window().RunAction(MainWindow::kQuit); });
  ASSERT_EQ(sim.dialogs().OpenCount(), 1U);
  Do([&] { catcher().exitmenu.Click(); });
  EXPECT_EQ(sim.dialogs().Boxes().size(), 1U);
  EXPECT_EQ(transfer.pauses, 1);
  EXPECT_EQ(sim.machine().endCode, 0);
}

TEST_F(TrayIcon, ClosesANeverOpenedBasketWithoutShowingIt) {
  Start();
  Do([&] { catcher().closebasket.Click(); });
  sim.RunFor(1000);
  EXPECT_FALSE(app->basket().Visible());
  EXPECT_EQ(sim.windows().Record(app->basket()).shown, 0);
  EXPECT_FALSE(window().sdb.Checked);
}

}  // namespace
}  // namespace pellora
