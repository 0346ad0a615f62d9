// The order of the queue by the popup and the keys of the list of current downloads.
#include <gtest/gtest.h>

#include <QAction>
#include <QMenu>
#include <QTest>
#include <QTreeView>
#include <vector>

#include "AppStage.h"
#include "core/QueueOrder.h"

namespace pellora {
namespace {

using namespace testing_views;

class QueueMenu : public testing::Test {
 protected:
  void SetUp() override {
    Program& program = stage.app->program();
    program.settings.MaxSimulDownlads = 0;  // all stay queued
    program.ResizeDownloads(3);
    for (std::int16_t i = 1; i <= 3; ++i) {
      DownloadRecord& record = program.Download(i);
      record.Segments.resize(1);
      record.URL = record.FileName = std::to_string(i);
      record.InUse = record.Valid = true;
      record.Queued = 1;
      program.RaiseSerial(i);
    }
    stage.Do([&] { stage.Main().RefreshRows(kAllRows, kForced); });
    list = stage.Find<QTreeView>(stage.Main(), "ListView1");
    ASSERT_NE(list, nullptr);
    stage.Form(stage.Main())->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(stage.Form(stage.Main())));
    list->setFocus();
  }
  void Press(int row, Qt::Key key) {
    list->setCurrentIndex(list->model()->index(row, 0));
    stage.Do([&] { QTest::keyClick(list, key, Qt::AltModifier); });
  }
  std::vector<std::int16_t> Queued() { return QueueOrder(stage.app->program()).Queued(); }

  AppStage stage;
  QTreeView* list = nullptr;
};

TEST_F(QueueMenu, KeysMoveTheSelectedRow) {
  Press(2, Qt::Key_Home);
  EXPECT_EQ(Queued(), (std::vector<std::int16_t>{3, 1, 2}));
  Press(0, Qt::Key_End);
  EXPECT_EQ(Queued(), (std::vector<std::int16_t>{3, 2, 1}));
  Press(0, Qt::Key_Up);
  EXPECT_EQ(Queued(), (std::vector<std::int16_t>{3, 1, 2}));
  Press(2, Qt::Key_Down);
  EXPECT_EQ(Queued(), (std::vector<std::int16_t>{1, 3, 2}));
  EXPECT_EQ(list->currentIndex().row(), 2);  // the selection stays
}

TEST_F(QueueMenu, PopupShowsItsEntriesWithTheirKeys) {
  auto* const menu = stage.Find<QMenu>(stage.Main(), "popup");
  ASSERT_NE(menu, nullptr);
  const std::pair<const char*, const char*> kEntries[] = {
      {"queuefirst", "Alt+Home"}, {"queueup", "Alt+Up"}, {"queuedown", "Alt+Down"}, {"queuelast", "Alt+End"}};
  for (const auto& [name, key] : kEntries) {
    auto* const action = stage.Find<QAction>(stage.Main(), name);
    ASSERT_NE(action, nullptr) << name;
    EXPECT_TRUE(menu->actions().contains(action)) << name;
    EXPECT_EQ(action->shortcut().toString(), QLatin1String(key)) << name;
  }
  list->setCurrentIndex(list->model()->index(1, 0));
  stage.Do([&] { stage.Main().ListView1.RightClick(); });
  stage.Do([&] { stage.Find<QAction>(stage.Main(), "queueup")->trigger(); });
  EXPECT_EQ(Queued(), (std::vector<std::int16_t>{2, 1, 3}));
  EXPECT_FALSE(stage.Find<QAction>(stage.Main(), "changeaddress")->isVisible());
}

}  // namespace
}  // namespace pellora
