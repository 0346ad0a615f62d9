// The fold of the add dialog, the window for many addresses, and drops on the main window, with their real widgets.
#include <gtest/gtest.h>

#include <QAccessible>
#include <QCheckBox>
#include <QDropEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QTest>
#include <QTreeView>

#include "AppStage.h"
#include "mainwin/AddList.h"
#include "mainwin/Form1.h"

namespace pellora {
namespace {

using namespace testing_views;

class AddingForms : public testing::Test {
 protected:
  Form1& Dialog() { return *stage.Main().form1; }
  AddList& List() { return *stage.Main().addList; }
  void OpenDialog() {
    stage.Do([&] { stage.Main().RunAction(MainWindow::kAdd); });
  }
  void Offer(int count) {
    std::vector<ListedAdd> adds(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
      adds[static_cast<std::size_t>(i)].request.url = "http://h.example/" + std::to_string(i) + ".zip";
    }
    stage.Do([&] { List().Offer(std::move(adds), false); });
  }
  bool Drop(QWidget& widget, const QMimeData& data) {
    QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(&widget, &enter);
    QDropEvent drop(QPointF(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(&widget, &drop);
    stage.Do([] {});
    return enter.isAccepted() && drop.isAccepted() && drop.dropAction() == Qt::CopyAction;
  }

  AppStage stage;
};

TEST_F(AddingForms, DialogGrowsByItsFoldAndShrinksAgain) {
  OpenDialog();
  QWidget& form = *stage.Form(Dialog());
  const int folded = form.height();
  auto& more = *stage.Find<QCheckBox>(Dialog(), "Check1");
  auto& name = *stage.Find<QLineEdit>(Dialog(), "Text3");
  EXPECT_FALSE(name.isVisible());
  stage.Do([&] { more.click(); });
  EXPECT_TRUE(name.isVisible());
  EXPECT_GT(form.height(), folded + 150);
  EXPECT_LE(form.height(), 556);  // of a screen 600 high, with its frame
  stage.Do([&] { more.click(); });
  EXPECT_FALSE(name.isVisible());
  EXPECT_EQ(form.height(), folded);
}

TEST_F(AddingForms, TabKeyGoesThroughTheFoldInItsOrder) {
  OpenDialog();
  stage.Do([&] { stage.Find<QCheckBox>(Dialog(), "Check1")->click(); });
  stage.Do([&] { stage.Find<QCheckBox>(Dialog(), "Check2")->click(); });
  QWidget& form = *stage.Form(Dialog());
  QWidget* at = stage.Find<QLineEdit>(Dialog(), "Text1");
  QStringList order;
  for (int i = 0; i < 16 && at != nullptr; ++i) {
    if ((at->focusPolicy() & Qt::TabFocus) != 0 && at->isVisible()) order.append(at->objectName());
    do {
      at = at->nextInFocusChain();
    } while (at != nullptr && (at->window() != &form || (at->focusPolicy() & Qt::TabFocus) == 0));
  }
  EXPECT_EQ(order.join(u' ').toStdString(),
            "Text1 Command1 Command2 Command3 Check1 Text2 Command4 Text3 Text4 Text5 Text6 Text7 Text8 Text9 Check2 "
            "Text10");
}

TEST_F(AddingForms, EveryFieldOfTheFoldHasANameAndThePasswordIsMasked) {
  OpenDialog();
  for (const char* field : {"Text2", "Text3", "Text4", "Text5", "Text6", "Text7", "Text8", "Text9", "Text10"}) {
    auto* const edit = stage.Find<QLineEdit>(Dialog(), field);
    EXPECT_FALSE(QAccessible::queryAccessibleInterface(edit)->text(QAccessible::Name).isEmpty()) << field;
  }
  EXPECT_EQ(stage.Find<QLineEdit>(Dialog(), "Text5")->echoMode(), QLineEdit::Password);
}

TEST_F(AddingForms, PastedLinesReachTheList) {
  OpenDialog();
  stage.Do([&] {
    auto& edit = *stage.Find<QLineEdit>(Dialog(), "Text1");
    edit.selectAll();
    edit.insert(QStringLiteral("http://h.example/a.zip\nhttp://h.example/b.zip\n"));
    emit edit.textEdited(edit.text());
  });
  EXPECT_FALSE(Dialog().Visible());
  ASSERT_TRUE(List().Visible());
  EXPECT_EQ(stage.Find<QTreeView>(List(), "ListView1")->model()->rowCount(), 2);
}

TEST_F(AddingForms, CheckMarksFollowTheSpaceBarAndTheModel) {
  Offer(2);
  auto& view = *stage.Find<QTreeView>(List(), "ListView1");
  const QAbstractItemModel& model = *view.model();
  const auto checked = [&](int row) { return model.index(row, 0).data(Qt::CheckStateRole).toInt() == Qt::Checked; };
  EXPECT_TRUE(checked(0) && checked(1));
  EXPECT_FALSE(model.index(0, 1).data(Qt::CheckStateRole).isValid());
  view.setFocus();
  view.setCurrentIndex(model.index(1, 0));
  stage.Do([&] { QTest::keyClick(&view, Qt::Key_Space); });
  EXPECT_TRUE(checked(0));
  EXPECT_FALSE(checked(1));
  EXPECT_EQ(List().ListView1.Rows().at(1).checked, false);
  stage.Do([&] { List().Command3.Click(); });
  EXPECT_TRUE(checked(1));
}

TEST_F(AddingForms, ReturnInTheListDownloads) {
  Offer(2);
  auto& view = *stage.Find<QTreeView>(List(), "ListView1");
  view.setFocus();
  view.setCurrentIndex(view.model()->index(0, 0));
  stage.Do([&] { QTest::keyClick(&view, Qt::Key_Return); });
  stage.sim.RunFor(100);
  EXPECT_EQ(stage.app->program().DownloadCount, 2);
  EXPECT_FALSE(List().Loaded());
}

TEST_F(AddingForms, MainWindowTakesDroppedTextLinksAndNothingElse) {
  QWidget& form = *stage.Form(stage.Main());
  QMimeData text;
  text.setText(QStringLiteral("http://h.example/a.zip\nhttp://h.example/b.zip"));
  EXPECT_TRUE(Drop(form, text));
  EXPECT_TRUE(List().Visible());
  QMimeData link;
  link.setUrls({QUrl(QStringLiteral("http://h.example/c.zip"))});
  EXPECT_TRUE(Drop(form, link));
  EXPECT_EQ(stage.app->program().DownloadCount, 1);
  QMimeData words;
  words.setText(QStringLiteral("no address"));
  EXPECT_FALSE(Drop(form, words));
}

}  // namespace
}  // namespace pellora
