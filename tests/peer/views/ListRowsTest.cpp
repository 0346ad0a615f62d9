// Lists: selection, events, and the speed with 32,767 rows.
#include <gtest/gtest.h>

#include <QAction>
#include <QContextMenuEvent>
#include <QElapsedTimer>
#include <QHeaderView>
#include <QMenu>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QRegion>
#include <QScrollBar>
#include <QTest>
#include <QTreeView>
#include <cstdio>

#include "Samples.h"
#include "Stage.h"
#include "desktop/DisplayText.h"

namespace pellora {

namespace {

using namespace testing_views;

class ListRows : public testing::Test {
 protected:
  ListRows() : window(std::make_shared<SampleMain>(stage.platform)) {
    window->Fill();
    window->Show();
    Stage::Settle();
    view = Stage::Form(*window)->findChild<QTreeView*>(QStringLiteral("ListView1"));
  }
  ~ListRows() override {
    window->Unload();
    Stage::Settle();
  }

  static std::vector<ListRow> Many(int count, int salt = 0) {
    std::vector<ListRow> rows;
    for (int i = 0; i < count; ++i) {
      ListRow row;
      row.key = "http://h/" + std::to_string(i);
      row.text = "file" + std::to_string(i) + ".zip";
      row.icon = "down";
      row.subItems = {"h", std::to_string(i + salt) + " kb", "Stopped (0.0%)", "1/1/2026", ""};
      rows.push_back(row);
    }
    return rows;
  }
  QString Cell(int row, int column) const { return view->model()->index(row, column).data().toString(); }
  QPoint Centre(int row) const { return view->visualRect(view->model()->index(row, 1)).center(); }
  static double Milliseconds(const QElapsedTimer& timer) { return static_cast<double>(timer.nsecsElapsed()) / 1e6; }

  Stage stage;
  std::shared_ptr<SampleMain> window;
  QTreeView* view = nullptr;
};

TEST_F(ListRows, ShowTheToolTipOfARow) {
  std::vector<ListRow> rows = Many(2);
  rows[1].toolTip = "<b>No room</b> on the disk.";
  window->ListView1.SetRows(rows);
  Stage::Settle();
  const auto tip = [&](int row) { return view->model()->index(row, 2).data(Qt::ToolTipRole); };
  EXPECT_FALSE(tip(0).isValid());
  EXPECT_EQ(tip(1).toString(), PlainTip(QStringLiteral("<b>No room</b> on the disk.")));
}

TEST_F(ListRows, ShowRowsAndColumnHeads) {
  EXPECT_EQ(view->model()->rowCount(), 6);
  EXPECT_EQ(Cell(0, 0), QStringLiteral("archive-2026-11.zip"));
  EXPECT_EQ(Cell(2, 3), QStringLiteral("Stopped (62.1%)"));
  EXPECT_EQ(view->model()->headerData(5, Qt::Horizontal).toString(), QStringLiteral("Est. time"));
  EXPECT_FALSE(view->model()->index(0, 0).data(Qt::DecorationRole).value<QIcon>().isNull());
}

TEST_F(ListRows, UpdateASingleRow) {
  ListRow row = window->ListView1.Rows()[2];
  row.subItems[2] = "Active (62.2%)";
  window->ListView1.SetRow(2, row);
  Stage::Settle();
  EXPECT_EQ(Cell(2, 3), QStringLiteral("Active (62.2%)"));
  EXPECT_TRUE(window->ListView1.ChangedRows().empty());
}

// Collects what is painted of a widget.
class PaintedPart : public QObject {
 public:
  explicit PaintedPart(QWidget& widget) { widget.installEventFilter(this); }
  QRect Bounds() const { return region_.boundingRect(); }

 protected:
  bool eventFilter(QObject*, QEvent* event) override {
    if (event->type() == QEvent::Paint) region_ += static_cast<QPaintEvent*>(event)->region();
    return false;
  }

 private:
  QRegion region_;
};

TEST_F(ListRows, PaintOnlyTheRowThatDiffersFromTheFormerOnes) {
  for (const int at : {0, 2}) {
    const PaintedPart painted(*view->viewport());
    std::vector<ListRow> rows = window->ListView1.Rows();
    ListRow& row = rows[static_cast<std::size_t>(at)];
    row.text = "Renamed.zip";
    row.subItems[2] = "Active (62.3%)";
    window->ListView1.SetRows(rows);
    Stage::Settle();
    const QRect first = view->visualRect(view->model()->index(at, 0));
    EXPECT_EQ(painted.Bounds(), QRect(0, first.y(), view->viewport()->width(), first.height())) << at;
  }
}

TEST_F(ListRows, KeepTheSelectionAcrossARebuild) {
  std::vector<ListRow> rows = window->ListView1.Rows();
  rows.erase(rows.begin());
  window->ListView1.SetRows(rows);
  Stage::Settle();
  EXPECT_EQ(window->ListView1.Selection(), std::vector<std::size_t>{0});
  const QModelIndexList selected = view->selectionModel()->selectedRows();
  ASSERT_EQ(selected.size(), 1);
  EXPECT_EQ(selected.first().data().toString(), QStringLiteral("concert-recording.flac"));
}

TEST_F(ListRows, ReportTheClickBeforeTheDoubleClickEvenIfBothAreQueued) {
  std::string events;
  window->ListView1.OnClick = [&events] { events += "click "; };
  window->ListView1.OnDoubleClick = [&events] { events += "double "; };
  QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, Centre(3));
  QTest::mouseDClick(view->viewport(), Qt::LeftButton, {}, Centre(3));
  Stage::Settle();
  EXPECT_EQ(events, "click double ");
}

TEST_F(ListRows, SurviveUnloadingTheirWindowInADelayedClick) {
  for (const QEvent::Type next : {QEvent::MouseButtonPress, QEvent::MouseButtonDblClick}) {
    window->Unload();
    Stage::Settle();
    window = std::make_shared<SampleMain>(stage.platform);
    window->Fill();
    window->Show();
    Stage::Settle();
    view = Stage::Form(*window)->findChild<QTreeView*>(QStringLiteral("ListView1"));
    int doubleClicks = 0;
    window->ListView1.OnClick = [this] { window->Unload(); };
    window->ListView1.OnDoubleClick = [&doubleClicks] { ++doubleClicks; };
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, Centre(3));
    QMouseEvent event(next, Centre(3), view->viewport()->mapToGlobal(Centre(3)), Qt::LeftButton, Qt::LeftButton, {});
    QCoreApplication::sendEvent(view->viewport(), &event);
    EXPECT_FALSE(window->Loaded());
    EXPECT_EQ(doubleClicks, 0);
    Stage::Settle();
  }
}

TEST_F(ListRows, ReportClicksKeysAndMenus) {
  int clicks = 0;
  int doubleClicks = 0;
  int rightClicks = 0;
  int deletes = 0;
  window->ListView1.OnClick = [&clicks] { ++clicks; };
  window->ListView1.OnDoubleClick = [&doubleClicks] { ++doubleClicks; };
  window->ListView1.OnRightClick = [&rightClicks] { ++rightClicks; };
  window->ListView1.OnDeleteKey = [&deletes] { ++deletes; };
  QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, Centre(3));
  Stage::Settle();
  EXPECT_EQ(clicks, 1);
  EXPECT_EQ(window->ListView1.Selection(), std::vector<std::size_t>{3});
  QTest::mouseDClick(view->viewport(), Qt::LeftButton, {}, Centre(3));
  Stage::Settle();
  EXPECT_EQ(doubleClicks, 1);
  QTest::mouseRelease(view->viewport(), Qt::LeftButton, {}, Centre(3));
  Stage::Settle();
  EXPECT_EQ(clicks, 1);  // the release that ends the double click does not count
  QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, Centre(3));
  Stage::Settle();
  EXPECT_EQ(clicks, 2);
  QTest::keyClick(view, Qt::Key_Return);
  EXPECT_EQ(doubleClicks, 2);
  QTest::keyClick(view, Qt::Key_Delete);
  EXPECT_EQ(deletes, 1);
  QTest::keyClick(view, Qt::Key_Period);
  EXPECT_EQ(deletes, 1);
  window->ListView1.OnRightClick = [&] {
    ++rightClicks;
    window->resumed.Enabled = false;
  };
  QContextMenuEvent event(QContextMenuEvent::Mouse, Centre(4), view->viewport()->mapToGlobal(Centre(4)));
  QApplication::sendEvent(view->viewport(), &event);
  EXPECT_EQ(rightClicks, 1);
  EXPECT_EQ(window->ListView1.Selection(), std::vector<std::size_t>{4});
  auto* menu = Stage::Form(*window)->findChild<QMenu*>(QStringLiteral("popup"));
  EXPECT_TRUE(menu->isVisible());
  EXPECT_FALSE(Stage::Form(*window)->findChild<QAction*>(QStringLiteral("resumed"))->isEnabled());
  menu->close();
}

TEST_F(ListRows, OpenTheFinishedFilesMenuEvenWithoutARow) {
  auto* second = Stage::Form(*window)->findChild<QTreeView*>(QStringLiteral("ListView2"));
  auto* menu = Stage::Form(*window)->findChild<QMenu*>(QStringLiteral("pop2"));
  window->ListView2.SetRows({});
  Stage::Settle();
  const QPoint empty = second->viewport()->rect().center();
  ASSERT_FALSE(second->indexAt(empty).isValid());
  QContextMenuEvent mouse(QContextMenuEvent::Mouse, empty, second->viewport()->mapToGlobal(empty));
  QApplication::sendEvent(second->viewport(), &mouse);
  EXPECT_TRUE(menu->isVisible());
  menu->close();
  // The menu key goes to the widget with the focus, which is the view and not its viewport.
  QContextMenuEvent key(QContextMenuEvent::Keyboard, empty, second->mapToGlobal(empty));
  QApplication::sendEvent(second, &key);
  EXPECT_TRUE(menu->isVisible());
  EXPECT_TRUE(second->rect().contains(second->mapFromGlobal(menu->pos())));
  menu->close();
}

TEST_F(ListRows, TreatARightClickOnEmptySpaceAsNoRow) {
  auto* second = Stage::Form(*window)->findChild<QTreeView*>(QStringLiteral("ListView2"));
  window->ListView2.Select({0});
  Stage::Settle();
  ASSERT_EQ(second->selectionModel()->selectedRows().size(), 1);
  std::vector<std::size_t> seen{99};
  window->ListView2.OnRightClick = [&] {
    seen = window->ListView2.Selection();
    window->openfile2.Enabled = false;
  };
  const QPoint empty(5, second->viewport()->height() - 2);
  ASSERT_FALSE(second->indexAt(empty).isValid());
  QContextMenuEvent mouse(QContextMenuEvent::Mouse, empty, second->viewport()->mapToGlobal(empty));
  QApplication::sendEvent(second->viewport(), &mouse);
  EXPECT_TRUE(seen.empty());
  EXPECT_FALSE(Stage::Form(*window)->findChild<QAction*>(QStringLiteral("openfile2"))->isEnabled());
  Stage::Form(*window)->findChild<QMenu*>(QStringLiteral("pop2"))->close();
}

TEST_F(ListRows, OpenTheCurrentDownloadsMenuOnlyOnARow) {
  auto* menu = Stage::Form(*window)->findChild<QMenu*>(QStringLiteral("popup"));
  const QPoint empty(5, view->viewport()->height() - 2);
  ASSERT_FALSE(view->indexAt(empty).isValid());
  QContextMenuEvent mouse(QContextMenuEvent::Mouse, empty, view->viewport()->mapToGlobal(empty));
  QApplication::sendEvent(view->viewport(), &mouse);
  EXPECT_FALSE(menu->isVisible());
  QContextMenuEvent key(QContextMenuEvent::Keyboard, empty, view->mapToGlobal(empty));
  QApplication::sendEvent(view, &key);
  EXPECT_TRUE(menu->isVisible());
  menu->close();
  window->ListView1.Select({});
  Stage::Settle();
  QApplication::sendEvent(view, &key);
  EXPECT_FALSE(menu->isVisible());
}

TEST_F(ListRows, DoubleClickOnlyWithTheLeftButton) {
  int doubleClicks = 0;
  window->ListView1.OnDoubleClick = [&doubleClicks] { ++doubleClicks; };
  for (const Qt::MouseButton button : {Qt::RightButton, Qt::MiddleButton, Qt::BackButton}) {
    // A double click counts if the same row was pressed before.
    QTest::mouseClick(view->viewport(), button, {}, Centre(3));
    QTest::mouseDClick(view->viewport(), button, {}, Centre(3));
    Stage::Settle();
    EXPECT_EQ(doubleClicks, 0) << button;
  }
  QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, Centre(3));
  QTest::mouseDClick(view->viewport(), Qt::LeftButton, {}, Centre(3));
  Stage::Settle();
  EXPECT_EQ(doubleClicks, 1);
}

TEST_F(ListRows, DivideTheViewAmongColumnsInFixedShares) {
  auto* second = Stage::Form(*window)->findChild<QTreeView*>(QStringLiteral("ListView2"));
  const QHeaderView* header = second->header();
  int sum = 0;
  for (int at = 0; at < header->count(); ++at) sum += header->sectionSize(at);
  EXPECT_EQ(sum, second->viewport()->width());
  EXPECT_NEAR(header->sectionSize(0), header->sectionSize(2), 8);
  EXPECT_GT(header->sectionSize(0), header->sectionSize(1) * 2);
}

TEST_F(ListRows, StayFastWith32767Rows) {
  const std::vector<ListRow> rows = Many(32767);
  const std::vector<ListRow> others = Many(32767, 7);
  window->ListView1.SetRows(rows);
  QElapsedTimer timer;
  timer.start();
  Stage::Settle();
  const double first = Milliseconds(timer);
  window->ListView1.Select({32000});
  window->ListView1.SetRows(others);
  timer.restart();
  Stage::Settle();
  const double rebuild = Milliseconds(timer);
  window->ListView1.SetRow(20000, rows[0]);
  timer.restart();
  Stage::Settle();
  const double single = Milliseconds(timer);
  timer.restart();
  for (int step = 0; step < 20; ++step) {
    view->verticalScrollBar()->setValue(view->verticalScrollBar()->maximum() * step / 20);
    QCoreApplication::processEvents();
  }
  const double scroll = Milliseconds(timer) / 20;
  std::printf("32767 rows: first %.1f ms, rebuild %.1f ms, single row %.1f ms, scroll step %.1f ms\n", first, rebuild,
              single, scroll);
  EXPECT_EQ(view->model()->rowCount(), 32767);
  EXPECT_EQ(Cell(32766, 2), QStringLiteral("32773 kb"));
  EXPECT_EQ(view->selectionModel()->selectedRows().size(), 1);
  // Generous for a debug build on a busy machine; one item per cell would take far longer.
  EXPECT_LT(first, 500);
  EXPECT_LT(rebuild, 500);
  EXPECT_LT(single, 100);
}

}  // namespace

}  // namespace pellora
