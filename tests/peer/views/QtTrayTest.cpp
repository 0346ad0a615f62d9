// The tray icon's menu, which follows its window with or without a notification area, and the icon's clicks.
#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QMenu>
#include <QMetaObject>
#include <memory>
#include <string>
#include <vector>

#include "SimPlatform.h"
#include "Stage.h"
#include "app/App.h"
#include "capture/PelloraCatcher.h"
#include "desktop/DisplayText.h"
#include "desktop/views/QtTray.h"
#include "mainwin/MainWindow.h"

namespace pellora {

namespace {

using testing_views::Stage;

// Records the mouse messages of the icon.
class Clicks final : public TrayEvents {
 public:
  void TrayMouseEvent(int message) override { messages.push_back(message); }
  std::vector<int> messages;
};

// The desktop decides which click activates an item; an icon on an X tray gets the clicks themselves.
TEST(TrayClicks, ActivateAnItemAtOnceAndAnIconByTwo) {
  SimPlatform sim;
  QtWindowSystem windows(sim.gate());
  for (const bool onX : {false, true}) {
    QtTray tray(windows, sim.gate());
    Clicks clicks;
    tray.Add("program", "tip", clicks);
    ASSERT_TRUE(QMetaObject::invokeMethod(&tray, onX ? "MakeXIcon" : "MakeIcon", Qt::DirectConnection));
    const auto report = [&](QSystemTrayIcon::ActivationReason reason) {
      ASSERT_TRUE(QMetaObject::invokeMethod(&tray, "Activated", Qt::DirectConnection,
                                            Q_ARG(QSystemTrayIcon::ActivationReason, reason)));
    };
    report(QSystemTrayIcon::Trigger);
    EXPECT_EQ(clicks.messages, std::vector<int>{onX ? kTrayLeftDown : kTrayLeftDoubleClick});
    report(QSystemTrayIcon::DoubleClick);
    EXPECT_EQ(clicks.messages.back(), kTrayLeftDoubleClick);
    tray.Delete();
  }
}

TEST(XTrayTip, IsAlwaysPlainText) {
  SimPlatform sim;
  QtWindowSystem windows(sim.gate());
  for (const bool onX : {false, true}) {
    QtTray tray(windows, sim.gate());
    Clicks clicks;
    tray.Add("program", "0 <u>kb</u>/s", clicks);
    ASSERT_TRUE(QMetaObject::invokeMethod(&tray, onX ? "MakeXIcon" : "MakeIcon", Qt::DirectConnection));
    const auto* const icon = tray.findChild<QSystemTrayIcon*>();
    ASSERT_NE(icon, nullptr);
    EXPECT_EQ(icon->toolTip(), onX ? PlainTip("0 <u>kb</u>/s") : QStringLiteral("0 <u>kb</u>/s"));
    tray.SetTip("1 <u>kb</u>/s");
    EXPECT_EQ(icon->toolTip(), onX ? PlainTip("1 <u>kb</u>/s") : QStringLiteral("1 <u>kb</u>/s"));
    tray.Delete();
  }
}

class TrayMenu : public ::testing::Test {
 protected:
  TrayMenu()
      : windows(sim.gate()),
        tray(windows, sim.gate()),
        platform{sim.gate(),     sim.loop(),      sim.tasks(),   sim.loop(),      sim.network(), sim.disk(),
                 sim.settings(), sim.clipboard(), sim.dialogs(), sim.shell(),     sim.machine(), sim.locale(),
                 tray,           windows,         sim.media(),   sim.background()},
        app(std::make_unique<App>(platform)) {
    sim.disk().Put("/prog/english.txt", SimContent(std::string("700=&Open\n701=&Pause\n702=&Resume\n703=&Exit\n"
                                                               "704=Pellora!\n805=&Close\n")));
    sim.Do([&] { app->Start(); });
    sim.RunFor(1);
    Stage::Settle();
  }
  ~TrayMenu() override {
    sim.DropProgram();
    sim.gate().LetGoOfAll();
    app.reset();
    Stage::Settle();
  }
  // The entries that are shown; empty if there is no menu.
  static QStringList Captions() {
    QStringList captions;
    for (QWidget* const widget : QApplication::allWidgets()) {
      auto* const menu = qobject_cast<QMenu*>(widget);
      if (menu == nullptr || menu->defaultAction() == nullptr) continue;
      if (menu->defaultAction()->objectName() != QLatin1String("openwin")) continue;
      for (const QAction* const action : menu->actions()) {
        if (action->isVisible()) captions << (action->isSeparator() ? QStringLiteral("-") : action->text());
      }
    }
    return captions;
  }

  SimPlatform sim;
  QtWindowSystem windows;
  QtTray tray;
  Platform platform;
  std::unique_ptr<App> app;
};

TEST_F(TrayMenu, ShowsItsWindowsEntriesWithoutCloseBasket) {
  EXPECT_EQ(Captions(), (QStringList{"&Open", "&Pause", "&Resume", "-", "&Exit"}));
}

TEST_F(TrayMenu, FollowsLanguageChanges) {
  app->catcher().openwin.Caption = "Ö&ffnen";
  Stage::Settle();
  EXPECT_EQ(Captions().value(0), QStringLiteral("Ö&ffnen"));
}

TEST_F(TrayMenu, NeverShowsCloseBasketEvenWhileThePopupDoes) {
  sim.Do([&] { app->catcher().ShowPopupOfBasket(); });
  ASSERT_NE(QApplication::activePopupWidget(), nullptr);
  QApplication::activePopupWidget()->close();
  Stage::Settle();
  EXPECT_EQ(Captions(), (QStringList{"&Open", "&Pause", "&Resume", "-", "&Exit"}));
}

TEST_F(TrayMenu, IsEmptyAfterExitEndedTheProgram) {
  for (QWidget* const widget : QApplication::allWidgets()) {
    auto* const menu = qobject_cast<QMenu*>(widget);
    if (menu == nullptr || menu->defaultAction() == nullptr || menu->actions().size() != 7) continue;
    menu->actions().back()->trigger();
    break;
  }
  Stage::Settle();
  EXPECT_EQ(sim.machine().endCode, 0);
  EXPECT_EQ(Captions(), QStringList());
}

}  // namespace

}  // namespace pellora
