// The archive viewer and its dialog as the user sees and operates them.
#include <gtest/gtest.h>

#include <QAccessible>
#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QListView>
#include <QPushButton>
#include <QRadioButton>
#include <QStackedWidget>
#include <QTest>
#include <QTreeView>

#include "ZipStage.h"
#include "desktop/views/ObjectNames.h"
#include "zipview/Extract.h"

namespace pellora::testing_views {
namespace {

class ZipWindow : public ::testing::Test {
 protected:
  ZipWindow() { stage.List(SampleMembers()); }

  QTreeView& Report() { return *stage.Find<QTreeView>("report"); }
  QListView& Icons() { return *stage.Find<QListView>("icons"); }
  QStackedWidget& Stack() { return *stage.Find<QStackedWidget>("ListView1"); }
  void Click(const char* name) {
    stage.Find<QAbstractButton>(name)->click();
    Stage::Settle();
  }
  static QString Text(const QAbstractItemView& view, int row, int column = 0) {
    return view.model()->index(row, column).data().toString();
  }
  static void DoubleClick(QAbstractItemView& view, int row) {
    const QPoint place = view.visualRect(view.model()->index(row, 0)).center();
    QTest::mouseClick(view.viewport(), Qt::LeftButton, Qt::NoModifier, place);
    QTest::mouseDClick(view.viewport(), Qt::LeftButton, Qt::NoModifier, place);
    Stage::Settle();
  }
  static int RowOf(const QAbstractItemView& view, const QString& text) {
    for (int row = 0; row < view.model()->rowCount(); ++row) {
      if (Text(view, row) == text) return row;
    }
    return -1;
  }

  ZipStage stage;
};

TEST_F(ZipWindow, IsAWindowWithItsTitleToAssistiveTechnology) {
  QAccessibleInterface* seen = QAccessible::queryAccessibleInterface(stage.Form());
  ASSERT_NE(seen, nullptr);
  EXPECT_EQ(seen->role(), QAccessible::Window);
  stage.Form()->showMinimized();
  Stage::Settle();
  EXPECT_EQ(seen->text(QAccessible::Name), "OnLine-Zip Viewer & Extractor");
}

TEST_F(ZipWindow, HasAWidgetForEveryControl) {
  for (const Control* const control : stage.viewer->Controls()) {
    if (control->Name == "pic16" || control->Name == "pic32") continue;  // never shown
    EXPECT_NE(stage.Find<QObject>(control->Name.c_str()), nullptr) << control->Name;
  }
  EXPECT_EQ(stage.Form()->windowTitle(), "OnLine-Zip Viewer & Extractor");
  EXPECT_EQ(stage.Find<QLabel>("Label2")->text(), "http://files.example.com/pub/archive.zip");
  EXPECT_EQ(stage.Find<QPushButton>("Command1")->toolTip().contains("extracts all"), true);
}

TEST_F(ZipWindow, ShowsRowsWithRightAlignedFigures) {
  ASSERT_EQ(Report().model()->rowCount(), 13);
  EXPECT_TRUE(Report().isVisible());
  EXPECT_EQ(Text(Report(), RowOf(Report(), "setup.exe"), 2), "3411968");
  for (const int column : {1, 2, 3}) {
    const auto side = Report().model()->index(0, column).data(Qt::TextAlignmentRole).toInt();
    EXPECT_TRUE((static_cast<unsigned>(side) & Qt::AlignRight) != 0U) << column;
  }
}

TEST_F(ZipWindow, SortsOnAHeadingClickAndShowsTheOrder) {
  QHeaderView& header = *Report().header();
  EXPECT_TRUE(header.isSortIndicatorShown());
  const auto click = [&](int column) {
    const QPoint place(header.sectionViewportPosition(column) + 10, header.height() / 2);
    QTest::mouseClick(header.viewport(), Qt::LeftButton, Qt::NoModifier, place);
    Stage::Settle();
  };
  const QString first = Text(Report(), 0);
  click(0);
  EXPECT_EQ(Text(Report(), 12), first);
  EXPECT_EQ(header.sortIndicatorOrder(), Qt::DescendingOrder);
  click(4);
  EXPECT_EQ(header.sortIndicatorSection(), 4);
  EXPECT_EQ(Text(Report(), 0, 4), "pellora-5.2/src");
}

TEST_F(ZipWindow, OpensFoldersOnDoubleClickInReportAndIconViews) {
  Click("Option1");
  DoubleClick(Report(), RowOf(Report(), "+pellora-5.2"));
  EXPECT_EQ(stage.viewer->CurrentFolder, "pellora-5.2");
  Click("Option5");
  EXPECT_EQ(Stack().currentWidget(), &Icons());
  DoubleClick(Icons(), RowOf(Icons(), "+docs"));
  EXPECT_EQ(stage.viewer->CurrentFolder, "pellora-5.2/docs");
  EXPECT_EQ(Stack().currentWidget(), &Report());  // a new listing is shown as a report
  Click("Command4");
  EXPECT_EQ(stage.viewer->CurrentFolder, "pellora-5.2");
}

TEST_F(ZipWindow, SwitchesBetweenFourViewsOfTheSameRows) {
  Click("Option5");
  EXPECT_EQ(Icons().flow(), QListView::LeftToRight);
  EXPECT_EQ(Icons().iconSize(), QSize(32, 32));
  const QRect first = Icons().visualRect(Icons().model()->index(0, 0));
  const QRect second = Icons().visualRect(Icons().model()->index(1, 0));
  EXPECT_EQ(first.top(), second.top());
  EXPECT_FALSE(first.intersects(second));
  Click("Option3");
  EXPECT_EQ(Icons().flow(), QListView::TopToBottom);
  EXPECT_EQ(Icons().iconSize(), QSize(16, 16));
  Click("Option6");
  EXPECT_EQ(Icons().flow(), QListView::LeftToRight);
  EXPECT_EQ(Icons().model()->rowCount(), 13);
  Click("Option4");
  EXPECT_TRUE(Report().isVisible());
  EXPECT_FALSE(Icons().isVisible());
  EXPECT_TRUE(stage.Find<QRadioButton>("Option4")->isChecked());
  EXPECT_FALSE(stage.Find<QRadioButton>("Option6")->isChecked());
  EXPECT_TRUE(stage.Find<QRadioButton>("Option2")->isChecked());  // the other pair is a separate group
}

TEST_F(ZipWindow, SharesTheSelectionBetweenViews) {
  Report().selectionModel()->select(Report().model()->index(2, 0),
                                    QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
  Click("Option5");
  EXPECT_TRUE(Icons().selectionModel()->isSelected(Icons().model()->index(2, 0)));
  const QPoint place = Icons().visualRect(Icons().model()->index(0, 0)).center();
  QTest::mouseClick(Icons().viewport(), Qt::LeftButton, Qt::NoModifier, place);
  Stage::Settle();
  EXPECT_EQ(stage.viewer->ListView1.Selection(), std::vector<std::size_t>{0});
}

TEST_F(ZipWindow, ShowsNamesCutInIconViewInToolTips) {
  Click("Option5");
  const int row = RowOf(Icons(), "a-name-that-is-rather-longer-than-most-columns-of-a-list-are-wide.txt");
  ASSERT_GE(row, 0);
  EXPECT_TRUE(Icons().model()->index(row, 0).data(Qt::ToolTipRole).toString().contains("rather-longer"));
}

TEST_F(ZipWindow, ClosesByFrameAndButton) {
  stage.Form()->close();
  Stage::Settle();
  EXPECT_EQ(stage.Form(), nullptr);
  EXPECT_FALSE(stage.viewer->Loaded());
}

TEST_F(ZipWindow, OffersFoldersInASeparateDialog) {
  Click("Command1");
  const std::shared_ptr<Extract> dialog = stage.viewer->ExtractDialog;
  ASSERT_TRUE(dialog);
  QWidget* const form = Stage::Form(*dialog);
  ASSERT_NE(form, nullptr);
  EXPECT_FALSE(form->isModal());
  for (const Control* const control : dialog->Controls()) {
    EXPECT_NE(form->findChild<QObject*>(ObjectName(control->Name)), nullptr) << control->Name;
  }
  auto& folders = *form->findChild<QTreeView*>(QStringLiteral("Dir1"));
  EXPECT_EQ(folders.model()->headerData(0, Qt::Horizontal).toString(), "/home/u");
  DoubleClick(folders, 0);
  EXPECT_EQ(dialog->Path(), "/home");
  EXPECT_EQ(form->findChild<QComboBox*>(QStringLiteral("Combo1"))->currentText(), "Combo1");
  EXPECT_EQ(form->findChild<QLabel*>(QStringLiteral("label_Extract"))->text(), "0 files to be extracted");
  auto& drives = *form->findChild<QComboBox*>(QStringLiteral("Drive1"));
  QTest::keyClick(&drives, Qt::Key_Down);
  Stage::Settle();
  stage.sim.RunReady();
  EXPECT_EQ(stage.sim.dialogs().OpenCount(), 1U);
  form->findChild<QPushButton*>(QStringLiteral("Command1"))->click();
  Stage::Settle();
  EXPECT_EQ(dialog->TargetFolder, "/home");
  EXPECT_FALSE(dialog->Loaded());
}

}  // namespace
}  // namespace pellora::testing_views
