// What the user arranges in the windows: columns, order, filter, places; and what of it is remembered.
#include <gtest/gtest.h>

#include <QAccessible>
#include <QAction>
#include <QContextMenuEvent>
#include <QHeaderView>
#include <QLineEdit>
#include <QMenu>
#include <QMimeData>
#include <QScreen>
#include <QSplitter>
#include <QTest>
#include <QTreeView>
#include <memory>

#include "AppStage.h"
#include "app/NewTransferWindow.h"
#include "desktop/views/Charts.h"
#include "desktop/views/ViewMemory.h"
#include "transferwin/TransferWindow.h"

namespace pellora {
namespace {

using namespace testing_views;

class ArrangeView : public testing::Test {
 protected:
  // A run of the program with three downloads and two finished files.
  void Run() {
    stage = std::make_unique<AppStage>(&memory);
    Program& program = stage->app->program();
    program.settings.MaxSimulDownlads = 0;
    program.settings.CheckClipboard = false;
    List("c.zip", 10, false);
    List("a.zip", 30, false);
    List("b.zip", 20, false);
    List("z \xC3\xA9\xFF#.iso", 1, true);
    List("gone.iso", 1, true);
    stage->sim.disk().Put("/d/z \xC3\xA9\xFF#.iso", SimContent(std::string("x")));
    stage->Do([&] {
      stage->Main().RefreshRows(kAllRows, kForced);
      stage->Main().RefreshDownList();
    });
    form = stage->Form(stage->Main());
    form->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(form));
    list = stage->Find<QTreeView>(stage->Main(), "ListView1");
    finished = stage->Find<QTreeView>(stage->Main(), "ListView2");
    ASSERT_NE(list, nullptr);
    ASSERT_NE(finished, nullptr);
  }
  void RunAgain() {
    stage.reset();
    Run();
  }
  void List(const std::string& name, std::int32_t size, bool done) {
    Program& program = stage->app->program();
    const auto index = static_cast<std::int16_t>(program.DownloadCount + 1);
    program.ResizeDownloads(index);
    DownloadRecord& record = program.Download(index);
    record.Segments.resize(1);
    record.URL = "http://h/" + name;
    record.FileName = name;
    record.SavePath = "/d/" + name;
    record.FileSize = size;
    record.InUse = record.Valid = true;
    record.Finished = done;
    program.RaiseSerial(index);
  }
  QStringList Shown(const QTreeView& view) const {
    QStringList names;
    for (int row = 0; row < view.model()->rowCount(); ++row)
      names.append(view.model()->index(row, 0).data().toString());
    return names;
  }
  QPoint Heading(int column) const {
    const QHeaderView& header = *list->header();
    return {header.sectionViewportPosition(column) + header.sectionSize(column) / 2, header.height() / 2};
  }
  void ClickHeading(int column) {
    stage->Do([&] { QTest::mouseClick(list->header()->viewport(), Qt::LeftButton, {}, Heading(column)); });
  }
  void Press(QWidget& widget, Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
    stage->Do([&] { QTest::keyClick(&widget, key, modifiers); });
  }
  // Drags the right edge of a column.
  void Widen(int column, int by) {
    QHeaderView& header = *list->header();
    const QPoint edge(header.sectionViewportPosition(column) + header.sectionSize(column) - 1, header.height() / 2);
    stage->Do([&] {
      QTest::mousePress(header.viewport(), Qt::LeftButton, {}, edge);
      QTest::mouseMove(header.viewport(), edge + QPoint(by / 2, 0));
      QTest::mouseMove(header.viewport(), edge + QPoint(by, 0));
      QTest::mouseRelease(header.viewport(), Qt::LeftButton, {}, edge + QPoint(by, 0));
    });
  }
  // A key at the headings of the upper list, which get the focus for it.
  void PressAtHeadings(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
    list->header()->setFocus();
    Press(*list->header(), key, modifiers);
  }
  std::string Kept(const std::string& key) { return memory.Get(key).value_or(""); }

  SimPlatform machine;  // whose settings' store keeps the memory
  ViewMemory memory{machine.settings()};
  std::unique_ptr<AppStage> stage;
  QWidget* form = nullptr;
  QTreeView* list = nullptr;
  QTreeView* finished = nullptr;
};

TEST_F(ArrangeView, ClicksOnAHeadingSortAndThenRestoreTheList) {
  Run();
  EXPECT_FALSE(list->header()->isSortIndicatorShown());
  ClickHeading(0);
  EXPECT_EQ(Shown(*list), (QStringList{"a.zip", "b.zip", "c.zip"}));
  EXPECT_TRUE(list->header()->isSortIndicatorShown());
  EXPECT_EQ(list->header()->sortIndicatorOrder(), Qt::AscendingOrder);
  ClickHeading(0);
  EXPECT_EQ(Shown(*list), (QStringList{"c.zip", "b.zip", "a.zip"}));
  ClickHeading(0);
  EXPECT_EQ(Shown(*list), (QStringList{"c.zip", "a.zip", "b.zip"}));
  EXPECT_FALSE(list->header()->isSortIndicatorShown());
}

TEST_F(ArrangeView, ClickOnASortedRowSelectsItsRecord) {
  Run();
  ClickHeading(0);
  const QRect row = list->visualRect(list->model()->index(1, 0));
  stage->Do([&] { QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, row.center()); });
  const ListView& model = stage->Main().ListView1;
  ASSERT_EQ(model.Selection().size(), 1U);
  EXPECT_EQ(model.Rows()[model.Selection()[0]].text, "b.zip");
  ClickHeading(0);
  EXPECT_EQ(list->selectionModel()->selectedRows().value(0).data().toString(), QStringLiteral("b.zip"));
  EXPECT_EQ(model.Rows()[model.Selection()[0]].text, "b.zip");
}

TEST_F(ArrangeView, SortIsRemembered) {
  Run();
  ClickHeading(2);
  ClickHeading(2);
  RunAgain();
  EXPECT_EQ(Shown(*list), (QStringList{"a.zip", "b.zip", "c.zip"}));
  EXPECT_EQ(list->header()->sortIndicatorSection(), 2);
  EXPECT_EQ(list->header()->sortIndicatorOrder(), Qt::DescendingOrder);
}

TEST_F(ArrangeView, FilterOpensByItsKeyAndClosesByEscape) {
  Run();
  auto* const field = stage->Find<QLineEdit>(stage->Main(), "FilterText");
  ASSERT_NE(field, nullptr);
  EXPECT_FALSE(field->isVisible());
  list->setFocus();
  Press(*list, Qt::Key_F, Qt::ControlModifier);
  EXPECT_TRUE(field->isVisible());
  EXPECT_TRUE(field->hasFocus());
  stage->Do([&] { QTest::keyClicks(field, QStringLiteral("B.Z")); });
  EXPECT_EQ(Shown(*list), (QStringList{"b.zip"}));
  EXPECT_EQ(Shown(*finished), QStringList());
  Press(*field, Qt::Key_Escape);
  EXPECT_FALSE(field->isVisible());
  EXPECT_EQ(Shown(*list).size(), 3);
  EXPECT_TRUE(list->hasFocus());
  EXPECT_TRUE(form->isVisible());
}

TEST_F(ArrangeView, SelectionInAFilteredListIsThatOfItsRecord) {
  Run();
  stage->Do([&] { stage->Main().FilterText.SetByUser("b"); });
  stage->Do([&] { list->setCurrentIndex(list->model()->index(0, 0)); });
  const ListView& model = stage->Main().ListView1;
  ASSERT_EQ(model.Selection().size(), 1U);
  EXPECT_EQ(model.Rows()[model.Selection()[0]].text, "b.zip");
}

TEST_F(ArrangeView, SizeOfAColumnStaysAndIsRemembered) {
  Run();
  const int before = list->header()->sectionSize(0);
  const int other = list->header()->sectionSize(1);
  Widen(0, 60);
  EXPECT_EQ(list->header()->sectionSize(0), before + 60);
  EXPECT_EQ(list->header()->sectionSize(1), other);
  form->resize(form->width() + 100, form->height());
  Stage::Settle();
  EXPECT_EQ(list->header()->sectionSize(0), before + 60);
  RunAgain();
  EXPECT_EQ(list->header()->sectionSize(0), before + 60);
  EXPECT_EQ(list->header()->sectionSize(1), other);
}

TEST_F(ArrangeView, ColumnsFillTheViewUntilOneIsSized) {
  Run();
  const int before = list->header()->sectionSize(0);
  ClickHeading(0);
  form->resize(form->width() + 200, form->height());
  Stage::Settle();
  EXPECT_GT(list->header()->sectionSize(0), before);
  EXPECT_EQ(Kept("MainWindow.ListView1.columns"), "");
}

TEST_F(ArrangeView, MovedColumnStaysInItsPlace) {
  Run();
  list->header()->moveSection(0, 2);
  Stage::Settle();
  RunAgain();
  EXPECT_EQ(list->header()->visualIndex(0), 2);
  EXPECT_EQ(list->header()->visualIndex(1), 0);
  EXPECT_EQ(finished->header()->visualIndex(0), 0);
  ClickHeading(0);
  EXPECT_EQ(Shown(*list), (QStringList{"a.zip", "b.zip", "c.zip"}));
}

TEST_F(ArrangeView, MenuOfTheHeadingsRestoresTheColumnsOfItsList) {
  Run();
  const int before = list->header()->sectionSize(0);
  Widen(0, 60);
  list->header()->moveSection(0, 2);
  finished->header()->moveSection(0, 1);
  ClickHeading(1);
  QContextMenuEvent click(QContextMenuEvent::Mouse, QPoint(5, 5), list->header()->mapToGlobal(QPoint(5, 5)));
  QApplication::sendEvent(list->header()->viewport(), &click);
  auto* const menu = stage->Find<QMenu>(stage->Main(), "headings");
  ASSERT_TRUE(menu->isVisible());
  EXPECT_EQ(menu->actions().first()->text(), QStringLiteral("&Filter..."));
  menu->close();
  stage->Do([&] { stage->Find<QAction>(stage->Main(), "owncolumns")->trigger(); });
  EXPECT_EQ(list->header()->visualIndex(0), 0);
  EXPECT_EQ(list->header()->sectionSize(0), before);
  EXPECT_EQ(finished->header()->visualIndex(0), 1);
  EXPECT_EQ(Shown(*list), (QStringList{"c.zip", "a.zip", "b.zip"}));
  EXPECT_EQ(Kept("MainWindow.ListView1.columns"), "");
  EXPECT_EQ(Kept("MainWindow.ListView1.order"), "");
}

TEST_F(ArrangeView, HeadingsAreReachedByTheTabKeyAfterTheirList) {
  Run();
  for (QTreeView* const view : {list, finished}) {
    view->setFocus();
    Press(*view, Qt::Key_Tab);
    EXPECT_EQ(QApplication::focusWidget(), view->header());
    Press(*view->header(), Qt::Key_Down);
    EXPECT_EQ(QApplication::focusWidget(), view);
  }
  ClickHeading(0);
  EXPECT_EQ(QApplication::focusWidget(), list);
}

TEST_F(ArrangeView, KeysSortByTheChosenHeading) {
  Run();
  PressAtHeadings(Qt::Key_Space);
  EXPECT_EQ(Shown(*list), (QStringList{"a.zip", "b.zip", "c.zip"}));
  PressAtHeadings(Qt::Key_Right);
  PressAtHeadings(Qt::Key_Right);
  PressAtHeadings(Qt::Key_Return);
  EXPECT_EQ(list->header()->sortIndicatorSection(), 2);
  EXPECT_EQ(Shown(*list), (QStringList{"c.zip", "b.zip", "a.zip"}));
  PressAtHeadings(Qt::Key_Enter, Qt::KeypadModifier);
  EXPECT_EQ(Shown(*list), (QStringList{"a.zip", "b.zip", "c.zip"}));
  PressAtHeadings(Qt::Key_End);
  PressAtHeadings(Qt::Key_Right);  // there is no more
  PressAtHeadings(Qt::Key_Space);
  EXPECT_EQ(list->header()->sortIndicatorSection(), 5);
  PressAtHeadings(Qt::Key_Home);
  PressAtHeadings(Qt::Key_Left);
  PressAtHeadings(Qt::Key_Space);
  EXPECT_EQ(list->header()->sortIndicatorSection(), 0);
  EXPECT_TRUE(list->header()->hasFocus());
}

TEST_F(ArrangeView, KeysSizeAColumnAndItIsRemembered) {
  Run();
  const QHeaderView* header = list->header();
  const int first = header->sectionSize(0);
  const int second = header->sectionSize(1);
  PressAtHeadings(Qt::Key_Right);
  for (int times = 0; times < 3; ++times) PressAtHeadings(Qt::Key_Right, Qt::AltModifier);
  PressAtHeadings(Qt::Key_Left, Qt::AltModifier);
  EXPECT_EQ(header->sectionSize(0), first);
  EXPECT_EQ(header->sectionSize(1), second + 20);
  form->resize(form->width() + 100, form->height());
  Stage::Settle();
  EXPECT_EQ(header->sectionSize(1), second + 20);
  RunAgain();
  EXPECT_EQ(list->header()->sectionSize(1), second + 20);
  for (int times = 0; times < 100; ++times) PressAtHeadings(Qt::Key_Left, Qt::AltModifier);
  EXPECT_EQ(list->header()->sectionSize(0), list->header()->minimumSectionSize());
}

TEST_F(ArrangeView, KeysMoveAColumnAndItIsRemembered) {
  Run();
  PressAtHeadings(Qt::Key_Left, Qt::ControlModifier);  // there is no more room
  EXPECT_EQ(Kept("MainWindow.ListView1.columns"), "");
  PressAtHeadings(Qt::Key_Right, Qt::ControlModifier);
  PressAtHeadings(Qt::Key_Right, Qt::ControlModifier);
  EXPECT_EQ(list->header()->visualIndex(0), 2);
  EXPECT_EQ(list->header()->visualIndex(1), 0);
  PressAtHeadings(Qt::Key_Space);  // still by the same column
  EXPECT_EQ(list->header()->sortIndicatorSection(), 0);
  RunAgain();
  EXPECT_EQ(list->header()->visualIndex(0), 2);
  for (int times = 0; times < 9; ++times) PressAtHeadings(Qt::Key_Right, Qt::ControlModifier);
  EXPECT_EQ(list->header()->visualIndex(1), 5);
}

TEST_F(ArrangeView, ChosenHeadingIsScrolledIntoView) {
  Run();
  for (int times = 0; times < 80; ++times) PressAtHeadings(Qt::Key_Right, Qt::AltModifier);
  PressAtHeadings(Qt::Key_End);
  const QHeaderView& header = *list->header();
  const int end = header.sectionViewportPosition(5) + header.sectionSize(5);
  EXPECT_LE(end, header.viewport()->width());
  PressAtHeadings(Qt::Key_Home);
  EXPECT_EQ(header.sectionViewportPosition(0), 0);
}

TEST_F(ArrangeView, ArrowsAtTheHeadingsFollowTheEyeFromRightToLeft) {
  Run();
  QGuiApplication::setLayoutDirection(Qt::RightToLeft);
  PressAtHeadings(Qt::Key_Left);
  PressAtHeadings(Qt::Key_Space);
  EXPECT_EQ(list->header()->sortIndicatorSection(), 1);
  PressAtHeadings(Qt::Key_Left, Qt::ControlModifier);
  EXPECT_EQ(list->header()->visualIndex(1), 2);
  QGuiApplication::setLayoutDirection(Qt::LeftToRight);
}

TEST_F(ArrangeView, MenuKeyAtTheHeadingsOpensTheirMenu) {
  Run();
  const int before = list->header()->sectionSize(0);
  list->setCurrentIndex(list->model()->index(0, 0));
  PressAtHeadings(Qt::Key_Right, Qt::AltModifier);
  QContextMenuEvent key(QContextMenuEvent::Keyboard, QPoint(), QPoint());
  QApplication::sendEvent(list->header(), &key);
  auto* const menu = stage->Find<QMenu>(stage->Main(), "headings");
  ASSERT_TRUE(menu->isVisible());
  EXPECT_FALSE(stage->Find<QMenu>(stage->Main(), "popup")->isVisible());
  const QPoint corner = list->header()->mapFromGlobal(menu->pos());
  EXPECT_NEAR(corner.y(), list->header()->height(), 2);
  menu->close();
  stage->Do([&] { stage->Find<QAction>(stage->Main(), "owncolumns")->trigger(); });
  EXPECT_EQ(list->header()->sectionSize(0), before);
}

TEST_F(ArrangeView, KeysAtTheHeadingsDoNotReachTheRows) {
  Run();
  stage->Do([&] { list->setCurrentIndex(list->model()->index(0, 0)); });
  PressAtHeadings(Qt::Key_Delete);
  EXPECT_EQ(stage->sim.dialogs().OpenCount(), 0U);
  PressAtHeadings(Qt::Key_Space);
  EXPECT_EQ(stage->app->program().Download(1).Queued, 0);
  PressAtHeadings(Qt::Key_Up);
  PressAtHeadings(Qt::Key_End, Qt::AltModifier);
  EXPECT_EQ(list->currentIndex().data().toString(), QStringLiteral("c.zip"));
}

TEST_F(ArrangeView, FirstColumnIsMovedByTheMouseToo) {
  Run();
  QWidget* const ground = list->header()->viewport();
  stage->Do([&] {
    QTest::mousePress(ground, Qt::LeftButton, {}, Heading(0));
    QTest::mouseMove(ground, Heading(0) + QPoint(30, 0));
    QTest::mouseMove(ground, Heading(1) + QPoint(30, 0));
    QTest::mouseRelease(ground, Qt::LeftButton, {}, Heading(1) + QPoint(30, 0));
  });
  EXPECT_EQ(list->header()->visualIndex(0), 1);
}

TEST_F(ArrangeView, AssistiveTechnologySeesTheChosenHeading) {
  Run();
  PressAtHeadings(Qt::Key_Right);
  QAccessibleInterface* const headings = QAccessible::queryAccessibleInterface(list->header());
  EXPECT_EQ(headings->text(QAccessible::Name), QStringLiteral("Current Downloads :"));
  ASSERT_EQ(headings->childCount(), 6);
  QAccessibleInterface* const server = headings->focusChild();
  ASSERT_NE(server, nullptr);
  EXPECT_EQ(server->role(), QAccessible::ColumnHeader);
  EXPECT_EQ(server->text(QAccessible::Name), QStringLiteral("Server"));
  EXPECT_TRUE(server->state().focused);
  EXPECT_FALSE(headings->child(0)->state().focused);
  EXPECT_EQ(headings->indexOfChild(server), 1);
  EXPECT_EQ(headings->childAt(server->rect().center().x(), server->rect().center().y()), server);
  QAccessibleEvent event(list->header(), QAccessible::Focus);
  event.setChild(1);
  EXPECT_EQ(event.accessibleInterface(), server);
  PressAtHeadings(Qt::Key_Right, Qt::ControlModifier);
  EXPECT_EQ(headings->indexOfChild(server), 2);
  list->setFocus();
  EXPECT_EQ(headings->focusChild(), nullptr);
}

TEST_F(ArrangeView, AssistiveTechnologyPressesHeadingsAndIsGivenTheOrder) {
  Run();
  QAccessibleInterface* const headings = QAccessible::queryAccessibleInterface(list->header());
  QAccessibleInterface* const size = headings->child(2);
  for (const char* const order : {"ascending", "descending", ""}) {
    stage->Do([&] { size->actionInterface()->doAction(QAccessibleActionInterface::pressAction()); });
    EXPECT_EQ(size->text(QAccessible::Description), QLatin1String(order));
    EXPECT_EQ(headings->child(0)->text(QAccessible::Description), QString());
  }
}

TEST_F(ArrangeView, DamagedMemoryIsIgnored) {
  Run();
  const QSize size = form->size();
  for (const char* const columns : {"0:1", "0:50 0:50 2:1 3:1 4:1 5:1", "9:50 1:1 2:1 3:1 4:1 5:1", "x", "0:-5 1:1"}) {
    memory.Set("MainWindow.ListView1.columns", columns);
    memory.Set("MainWindow.ListView1.order", "77 down");
    memory.Set("MainWindow.place", "1,2,0,x");
    memory.Set("MainWindow.halves", "x y");
    RunAgain();
    for (int at = 0; at < 6; ++at) EXPECT_EQ(list->header()->visualIndex(at), at) << columns;
    EXPECT_FALSE(list->header()->isSortIndicatorShown());
    EXPECT_EQ(form->size(), size) << columns;
  }
}

TEST_F(ArrangeView, DraggedFileIsALinkToIt) {
  Run();
  QAbstractItemModel& rows = *finished->model();
  EXPECT_EQ(finished->dragDropMode(), QAbstractItemView::DragOnly);
  EXPECT_EQ(rows.supportedDragActions(), Qt::CopyAction);
  EXPECT_TRUE(rows.flags(rows.index(0, 0)) & Qt::ItemIsDragEnabled);
  const std::unique_ptr<QMimeData> data(rows.mimeData({rows.index(0, 0), rows.index(0, 1), rows.index(1, 0)}));
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(data->formats(), QStringList{"text/uri-list"});
  EXPECT_EQ(data->data("text/uri-list"), QByteArray("file:///d/z%20%C3%A9%FF%23.iso\r\n"));
}

TEST_F(ArrangeView, FileThatIsGoneAndADownloadCannotBeDragged) {
  Run();
  QAbstractItemModel& rows = *finished->model();
  EXPECT_EQ(rows.mimeData({rows.index(1, 0)}), nullptr);
  EXPECT_FALSE(list->model()->flags(list->model()->index(0, 0)) & Qt::ItemIsDragEnabled);
  EXPECT_EQ(list->model()->mimeData({list->model()->index(0, 0)}), nullptr);
}

TEST_F(ArrangeView, KeysReachTheirCommands) {
  Run();
  QWidget& pane = *stage->Find<QWidget>(stage->Main(), "TabStrip1");
  EXPECT_FALSE(pane.isVisible());
  list->setFocus();
  Press(*list, Qt::Key_F9);
  EXPECT_TRUE(pane.isVisible());
  stage->sim.clipboard().text = "http://h/pasted.zip";
  Press(*list, Qt::Key_V, Qt::ControlModifier);
  EXPECT_EQ(stage->app->program().Download(6).URL, "http://h/pasted.zip");
  Press(*list, Qt::Key_F1);
  ASSERT_EQ(stage->sim.dialogs().OpenCount(), 1U);
  EXPECT_NE(stage->sim.dialogs().Next().text.find("Version"), std::string::npos);
  stage->sim.dialogs().AnswerNext(kAnswerOk);
  stage->Do([] {});
  list->setCurrentIndex(list->model()->index(0, 0));
  Press(*list, Qt::Key_Return, Qt::AltModifier);
  EXPECT_TRUE(stage->Find<QWidget>(stage->Main(), "Details")->isVisible());
  Press(*list, Qt::Key_Space);
  EXPECT_NE(stage->app->program().Download(1).Queued, 0);
}

TEST_F(ArrangeView, WindowReturnsToItsPlace) {
  memory.Set("MainWindow.place", "20,40,740,560");
  memory.Set("MainWindow.halves", "100 300");
  Run();
  EXPECT_EQ(form->size(), QSize(740, 560));
  EXPECT_EQ(form->pos(), QPoint(20, 40));
  const QList<int> halves = stage->Find<QSplitter>(stage->Main(), "halves")->sizes();
  EXPECT_NEAR(static_cast<double>(halves[0]) / halves[1], 1.0 / 3, 0.05);
}

TEST_F(ArrangeView, WindowStaysOnTheScreen) {
  const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
  memory.Set("MainWindow.place", "-200," + std::to_string(screen.bottom() - 50) + ",740,5000");
  Run();
  EXPECT_TRUE(screen.contains(form->frameGeometry())) << form->y() << " " << form->height();
  EXPECT_EQ(form->width(), 740);
  memory.Set("MainWindow.place", "20000,20000,750,560");
  RunAgain();
  EXPECT_TRUE(screen.contains(form->pos()));
  EXPECT_EQ(form->size(), QSize(750, 560));
  // Smaller than a window can be, as one of another language or scale may have been.
  const QPoint corner = screen.bottomRight() - QPoint(300, 200);
  memory.Set("MainWindow.place", std::to_string(corner.x()) + "," + std::to_string(corner.y()) + ",200,100");
  RunAgain();
  EXPECT_GT(form->width(), 600);
  EXPECT_TRUE(screen.contains(form->frameGeometry())) << form->x() << "," << form->y();
}

TEST_F(ArrangeView, PlaceIsRememberedOnceTheUserChangesIt) {
  Run();
  EXPECT_EQ(Kept("MainWindow.place"), "");
  QTest::qWait(1100);
  EXPECT_EQ(Kept("MainWindow.place"), "");
  form->move(30, 20);
  form->resize(740, 570);
  Stage::Settle();
  EXPECT_EQ(Kept("MainWindow.place"), "30,20,740,570");
  form->setWindowState(Qt::WindowMaximized);
  Stage::Settle();
  EXPECT_EQ(Kept("MainWindow.place"), "30,20,740,570,maximised");
  RunAgain();
  EXPECT_TRUE(form->isMaximized());
  memory.Write();
  EXPECT_EQ(machine.settings().Get("Windows", "MainWindow.place"), "30,20,740,570,maximised");
}

TEST_F(ArrangeView, TransferWindowKeepsItsWidthAlone) {
  Run();
  memory.Set("TransferWindow.place", "70,60,640,100");
  const auto first = NewTransferWindow(stage->app->program(), 0);
  stage->Do([&] { first->Show(); });
  EXPECT_EQ(stage->Form(*first)->width(), 640);
  stage->Do([&] { first->Unload(); });
}

TEST_F(ArrangeView, GraphIsShownByThePopupAndRemembered) {
  Run();
  auto window = NewTransferWindow(stage->app->program(), 0);
  stage->Do([&] { window->Show(); });
  QWidget* transfer = stage->Form(*window);
  auto* graph = transfer->findChild<SpeedGraph*>();
  ASSERT_NE(graph, nullptr);
  EXPECT_FALSE(graph->isVisible());
  EXPECT_FALSE(transfer->findChild<FileMapBar*>()->isVisible());
  const int before = transfer->height();
  QContextMenuEvent click(QContextMenuEvent::Mouse, QPoint(5, 5), transfer->mapToGlobal(QPoint(5, 5)));
  QApplication::sendEvent(transfer, &click);
  auto* const menu = transfer->findChild<QMenu*>(QStringLiteral("popup"));
  ASSERT_TRUE(menu->isVisible());
  ASSERT_EQ(menu->actions().size(), 1);
  EXPECT_EQ(menu->actions()[0]->text(), QStringLiteral("Graph"));
  stage->Do([&] { menu->actions()[0]->trigger(); });
  menu->close();
  EXPECT_TRUE(graph->isVisible());
  EXPECT_TRUE(menu->actions()[0]->isChecked());
  EXPECT_GT(transfer->height(), before);
  EXPECT_FALSE(graph->accessibleName().isEmpty());
  EXPECT_EQ(stage->sim.settings().Get("Pellora", "ShowGraph"), "True");
  stage->Do([&] { window->Unload(); });
  window = NewTransferWindow(stage->app->program(), 0);
  stage->Do([&] { window->Show(); });
  EXPECT_TRUE(stage->Form(*window)->findChild<SpeedGraph*>()->isVisible());
  stage->Do([&] { window->Unload(); });
}

}  // namespace
}  // namespace pellora
