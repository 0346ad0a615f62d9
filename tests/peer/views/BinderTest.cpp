// The bindings in both directions, on the program's forms.
#include <gtest/gtest.h>

#include <QAction>
#include <QElapsedTimer>
#include <QEvent>
#include <QHeaderView>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QProgressBar>
#include <QPushButton>
#include <QStatusBar>
#include <QTabBar>
#include <QTest>
#include <QToolBar>
#include <QToolButton>
#include <QTreeView>
#include <QWindow>
#include <algorithm>
#include <chrono>

#include "Samples.h"
#include "Stage.h"
#include "desktop/DisplayText.h"
#include "desktop/views/FormHost.h"
#include "desktop/views/ObjectNames.h"
#include "desktop/views/Widgets.h"
#include "lang/Format.h"

namespace pellora {

namespace {

using namespace testing_views;

template <class WindowType>
class Shown {
 public:
  explicit Shown(std::chrono::milliseconds pace = std::chrono::milliseconds(0))
      : stage(pace), window(std::make_shared<WindowType>(stage.platform)) {
    window->Show();
    Stage::Settle();
    form = Stage::Form(*window);
  }
  ~Shown() {
    window->Unload();
    Stage::Settle();
  }
  template <class Object>
  Object* Find(const char* name) const {
    return form->findChild<Object*>(QLatin1String(name));
  }

  Stage stage;
  std::shared_ptr<WindowType> window;
  QWidget* form = nullptr;
};

class PaintCounter : public QObject {
 public:
  explicit PaintCounter(QWidget& widget) { widget.installEventFilter(this); }
  int Count() const { return count_; }

 protected:
  bool eventFilter(QObject*, QEvent* event) override {
    count_ += event->type() == QEvent::Paint;
    return false;
  }

 private:
  int count_ = 0;
};

template <class WindowType>
void ExpectAllBound(const std::vector<std::string>& without) {
  const Shown<WindowType> shown;
  ASSERT_NE(shown.form, nullptr);
  for (const Control* control : shown.window->Controls()) {
    if (std::find(without.begin(), without.end(), control->Name) != without.end()) continue;
    EXPECT_NE(shown.form->template findChild<QObject*>(ObjectName(control->Name)), nullptr) << control->Name;
  }
}

TEST(Binder, GivesEveryControlAWidget) {
  ExpectAllBound<SampleTransfer>({"List1"});
  ExpectAllBound<SampleMain>({});
  ExpectAllBound<SampleForm1>({});
  ExpectAllBound<SampleWantDown>({});
}

TEST(Binder, ShowsCaptionsAsPlainText) {
  const Shown<SampleTransfer> shown;
  shown.window->Label3.Caption = "http://x/<b>a</b>&amp;.zip";
  shown.window->Caption = "1.0% of <a>";
  Stage::Settle();
  EXPECT_EQ(shown.Find<QLabel>("Label3")->text(), QStringLiteral("http://x/<b>a</b>&amp;.zip"));
  EXPECT_EQ(shown.Find<QLabel>("Label3")->textFormat(), Qt::PlainText);
  EXPECT_EQ(shown.form->windowTitle(), QStringLiteral("1.0% of <a>"));
}

TEST(Binder, AppliesChangesAtItsPace) {
  const Shown<SampleTransfer> shown(std::chrono::seconds(2));
  const auto* const label = shown.Find<QLabel>("state");
  QElapsedTimer since;
  QTest::qWait(2100);  // the pace that began with the showing
  shown.window->state.Caption = "one";
  Stage::Settle();
  EXPECT_EQ(label->text(), QStringLiteral("one"));
  since.restart();
  shown.window->state.Caption = "two";
  Stage::Settle();
  shown.window->state.Caption = "three";
  Stage::Settle();
  if (since.elapsed() < 1900) {
    EXPECT_EQ(label->text(), QStringLiteral("one"));
  }
  EXPECT_TRUE(QTest::qWaitFor([&] { return label->text() == QStringLiteral("three"); }, 10000));
  EXPECT_GE(since.elapsed(), 1900);
}

TEST(Binder, AppliesWaitingChangesBeforeAKeyOrAButtonIsPressed) {
  const Shown<SampleTransfer> shown(std::chrono::hours(1));
  const auto* const label = shown.Find<QLabel>("state");
  shown.window->state.Caption = "one";
  Stage::Settle();
  EXPECT_EQ(label->text(), QStringLiteral("State : Idle"));
  QTest::keyClick(shown.form->windowHandle(), Qt::Key_Shift);
  EXPECT_EQ(label->text(), QStringLiteral("one"));
  shown.window->state.Caption = "two";
  QTest::mouseClick(shown.form->windowHandle(), Qt::LeftButton, {}, QPoint(2, 2));
  EXPECT_EQ(label->text(), QStringLiteral("two"));
}

TEST(Binder, BatchesChangesUntilTheNextLoopTurn) {
  const Shown<SampleTransfer> shown;
  shown.window->state.Caption = "one";
  shown.window->state.Caption = "two";
  EXPECT_EQ(shown.Find<QLabel>("state")->text(), QStringLiteral("State : Idle"));
  Stage::Settle();
  EXPECT_EQ(shown.Find<QLabel>("state")->text(), QStringLiteral("two"));
}

TEST(Binder, ShowsPercentWithOneDecimal) {
  const Shown<SampleTransfer> shown;
  shown.window->PB.Value = 37.5;
  Stage::Settle();
  EXPECT_EQ(shown.Find<QProgressBar>("PB")->value(), 375);
  EXPECT_TRUE(shown.Find<QProgressBar>("PB")->text().startsWith(QStringLiteral("37")));
  shown.window->PB.Value = 1e300;
  Stage::Settle();
  EXPECT_EQ(shown.Find<QProgressBar>("PB")->value(), 1000);
}

TEST(Binder, DrawsABarOnceForItsValueAndItsText) {
  const Shown<SampleTransfer> shown;
  shown.window->PB.Value = 10.0;
  Stage::Settle();
  const PaintCounter painted(*shown.Find<QProgressBar>("PB"));
  shown.window->PB.Value = 60.0;
  Stage::Settle();
  EXPECT_EQ(painted.Count(), 1);
  shown.window->PB.Value = 60.01;
  Stage::Settle();
  EXPECT_EQ(painted.Count(), 1);  // it looks the same
}

TEST(Binder, ShowsNoPercentageOfWhatIsNotKnown) {
  const Shown<SampleTransfer> shown;
  shown.window->PB.Value = -1.0;
  shown.window->PB.Busy = true;
  Stage::Settle();
  const QProgressBar* const bar = shown.Find<QProgressBar>("PB");
  EXPECT_EQ(bar->minimum(), bar->maximum());
  EXPECT_EQ(bar->text(), QString());
  shown.window->PB.Busy = false;
  Stage::Settle();
  EXPECT_EQ(bar->maximum(), 1000);
  EXPECT_EQ(bar->text(), QString());
  shown.window->PB.Value = 50.0;
  Stage::Settle();
  EXPECT_EQ(bar->value(), 500);
  EXPECT_TRUE(bar->text().startsWith(QStringLiteral("50")));
}

TEST(Binder, MovesABlockThroughABarWithoutAnEndTenTimesASecond) {
  const Shown<SampleTransfer> shown;
  shown.window->PB.Value = -1.0;
  shown.window->PB.Busy = true;
  Stage::Settle();
  QProgressBar& bar = *shown.Find<QProgressBar>("PB");
  const QImage before = bar.grab().toImage();
  const PaintCounter painted(bar);
  QTest::qWait(550);
  EXPECT_GE(painted.Count(), 1);
  EXPECT_LE(painted.Count(), 6);
  EXPECT_NE(bar.grab().toImage(), before);
  shown.window->PB.Busy = false;
  QTest::qWait(150);
  const int since = painted.Count();
  QTest::qWait(250);
  EXPECT_EQ(painted.Count(), since);
}

TEST(Binder, RoundsThePercentageLikeCaptions) {
  const Shown<SampleTransfer> shown;
  const std::string point = QLocale::system().decimalPoint().toStdString();
  for (const double percent : {49.15, 49.25, 49.149, 0.04, 99.95, 100.0}) {
    shown.window->PB.Value = percent;
    Stage::Settle();
    EXPECT_EQ(shown.Find<QProgressBar>("PB")->text().toStdString(), FormatPercent(percent, point) + "%");
  }
}

TEST(Binder, ScalesSegmentBarsFromTwips) {
  const Shown<SampleTransfer> shown;
  shown.window->Prog(2).Width = 504;
  Stage::Settle();
  EXPECT_DOUBLE_EQ(shown.Find<SegmentBar>("Prog_2")->Share(), 504.0 / 2500.0);
  // The bar of a complete segment fills its frame.
  shown.window->Prog(2).Width = 2500;
  Stage::Settle();
  EXPECT_DOUBLE_EQ(shown.Find<SegmentBar>("Prog_2")->Share(), 1.0);
  shown.window->Prog(2).Width = 99999;
  Stage::Settle();
  EXPECT_DOUBLE_EQ(shown.Find<SegmentBar>("Prog_2")->Share(), 1.0);
}

TEST(Binder, AppliesVisibleAndEnabled) {
  const Shown<SampleTransfer> shown;
  shown.window->KeepRows(3);
  shown.window->Command3.Enabled = false;
  Stage::Settle();
  EXPECT_TRUE(shown.Find<QLabel>("Num_2")->isVisible());
  EXPECT_FALSE(shown.Find<QLabel>("Num_3")->isVisible());
  EXPECT_FALSE(shown.Find<QPushButton>("Command3")->isEnabled());
}

TEST(Binder, ForwardsClicks) {
  const Shown<SampleTransfer> shown;
  int clicks = 0;
  shown.window->Command2.OnClick = [&clicks] { ++clicks; };
  QTest::mouseClick(shown.Find<QPushButton>("Command2"), Qt::LeftButton);
  EXPECT_EQ(clicks, 1);
}

TEST(Binder, ForwardsDoubleClicksOnALabel) {
  const Shown<SampleMain> shown;
  int clicks = 0;
  shown.window->Label2.OnDoubleClick = [&clicks] { ++clicks; };
  QTest::mouseDClick(shown.Find<QLabel>("Label2"), Qt::LeftButton);
  EXPECT_EQ(clicks, 1);
}

TEST(Binder, ForwardsTypedTextAndShowsProgramText) {
  const Shown<SampleForm1> shown;
  auto* edit = shown.Find<QLineEdit>("Text1");
  EXPECT_EQ(edit->text(), QStringLiteral("http://"));
  shown.window->Text1.SelectAll = 1;
  Stage::Settle();
  EXPECT_EQ(edit->selectedText(), QStringLiteral("http://"));
  QTest::keyClicks(edit, QStringLiteral("ftp://a/b"));
  EXPECT_EQ(shown.window->Text1.Text(), "ftp://a/b");
}

TEST(Binder, LeavesMenuCheckMarksToTheModel) {
  const Shown<SampleMain> shown;
  int clicks = 0;
  shown.window->sdw.OnClick = [&clicks] { ++clicks; };
  shown.window->sdw.Checked = true;
  Stage::Settle();
  auto* action = shown.Find<QAction>("sdw");
  EXPECT_TRUE(action->isChecked());
  action->trigger();
  EXPECT_EQ(clicks, 1);
  EXPECT_TRUE(action->isChecked());
}

TEST(Binder, ForwardsToolbarKeys) {
  const Shown<SampleMain> shown;
  std::string key;
  shown.window->Toolbar1.OnButtonClick = [&key](const std::string& given) { key = given; };
  auto* bar = shown.Find<QToolBar>("Toolbar1");
  ASSERT_EQ(bar->actions().size(), 9);
  bar->actions()[5]->trigger();
  EXPECT_EQ(key, "PauseAll");
  EXPECT_EQ(bar->widgetForAction(bar->actions()[8])->accessibleName(), QStringLiteral("Browser"));
}

TEST(Binder, NamesAndAlignsAToolbarButtonWithoutCaption) {
  const Shown<SampleMain> shown;
  auto* bar = shown.Find<QToolBar>("Toolbar1");
  const QList<QAction*> actions = bar->actions();
  ASSERT_EQ(actions.size(), 9);
  auto* browser = qobject_cast<QToolButton*>(bar->widgetForAction(actions[8]));
  const auto* neighbour = qobject_cast<QToolButton*>(bar->widgetForAction(actions[7]));
  EXPECT_EQ(browser->accessibleName(), QStringLiteral("Browser"));
  EXPECT_EQ(browser->toolTip(), PlainTip(QStringLiteral("Browser")));
  EXPECT_TRUE(browser->text().trimmed().isEmpty());
  // Buttons that do not fit are offered in a menu, by name.
  EXPECT_EQ(actions[8]->text(), QStringLiteral("Browser"));
  EXPECT_EQ(browser->geometry().top(), neighbour->geometry().top());
  EXPECT_EQ(browser->height(), neighbour->height());
  const auto rowsOfDrawing = [](QWidget* button) {
    const QImage picture = button->grab().toImage();
    std::vector<int> rows;
    for (int y = 0; y < picture.height(); ++y) {
      for (int x = 0; x < picture.width(); ++x) {
        if (picture.pixel(x, y) != picture.pixel(0, 0)) {
          rows.push_back(y);
          break;
        }
      }
    }
    return rows;
  };
  // Both buttons show their icon in the same rows, and the one without a caption has nothing below.
  const QIcon drawing = browser->icon();
  actions[7]->setIcon(drawing);
  const std::vector<int> rows = rowsOfDrawing(browser);
  const std::vector<int> besides = rowsOfDrawing(bar->widgetForAction(actions[7]));
  ASSERT_FALSE(rows.empty());
  ASSERT_GT(besides.size(), rows.size());
  EXPECT_TRUE(std::equal(rows.begin(), rows.end(), besides.begin()));
}

TEST(Binder, UsesOnlyTheLastThreePanelsForKeyStates) {
  const Shown<SampleMain> shown;
  shown.window->StatusBar1.SetPanel(1, "NUM");
  shown.window->StatusBar1.SetPanel(3, "INS");
  Stage::Settle();
  const auto labels = shown.Find<QStatusBar>("StatusBar1")->findChildren<QLabel*>();
  ASSERT_EQ(labels.size(), 6);
  QTest::keyClick(shown.form->windowHandle(), Qt::Key_Insert);
  Stage::Settle();
  for (const int at : {0, 1, 2}) {
    EXPECT_TRUE(labels[at]->isEnabled()) << at;
    EXPECT_FALSE(labels[at]->font().bold()) << at;
  }
  EXPECT_TRUE(labels[5]->font().bold());
  EXPECT_TRUE(labels[5]->isEnabled());
  QTest::keyClick(shown.form->windowHandle(), Qt::Key_Insert);
  Stage::Settle();
  EXPECT_FALSE(labels[5]->font().bold());
}

TEST(Binder, UpdatesTabsAndPanels) {
  const Shown<SampleMain> shown;
  int clicks = 0;
  shown.window->TabStrip1.OnClick = [&clicks] { ++clicks; };
  shown.window->TabStrip1.Selected = 1;
  shown.window->StatusBar1.SetPanel(1, "A hint");
  Stage::Settle();
  EXPECT_EQ(shown.Find<QTabBar>("TabStrip1")->currentIndex(), 1);
  EXPECT_EQ(clicks, 0);
  shown.Find<QTabBar>("TabStrip1")->setCurrentIndex(0);
  EXPECT_EQ(clicks, 1);
  EXPECT_EQ(shown.window->TabStrip1.Selected(), 0);
  const auto labels = shown.Find<QStatusBar>("StatusBar1")->findChildren<QLabel*>();
  ASSERT_EQ(labels.size(), 6);
  EXPECT_EQ(labels[0]->text(), QStringLiteral("A hint"));
}

// Tests the initial width of the window and the widths that small screens allow.
TEST(Binder, ShowsAHintInFullAndShrinksPanels) {
  const Shown<SampleMain> shown;
  const std::string hint = "Double click on file to start download or see download details.";
  shown.window->StatusBar1.SetPanel(2, "Speed : 1023.9 kb/s");
  shown.window->StatusBar1.SetPanel(3, "Total downloaded : 999.99 mb");
  const auto labels = shown.Find<QStatusBar>("StatusBar1")->findChildren<QLabel*>();
  ASSERT_EQ(labels.size(), 6);
  for (const int width : {1000, 800, 715, 628}) {
    shown.form->resize(width, 600);
    shown.window->StatusBar1.SetPanel(1, hint);
    Stage::Settle();
    ASSERT_EQ(shown.form->width(), width);
    EXPECT_GE(labels[0]->contentsRect().width(), labels[0]->fontMetrics().horizontalAdvance(labels[0]->text()));
    shown.window->StatusBar1.SetPanel(1, "Pellora v5.2");
    Stage::Settle();
    for (const QLabel* label : labels) {
      EXPECT_TRUE(label->isVisible()) << width;
      EXPECT_GE(label->width(), label->sizeHint().width()) << width;
    }
  }
  // The keys' panels are hidden first, the speed last.
  shown.window->StatusBar1.SetPanel(1, hint);
  shown.form->resize(628, 600);
  Stage::Settle();
  EXPECT_FALSE(labels[5]->isVisible());
  EXPECT_TRUE(labels[1]->isVisible());
}

TEST(Binder, ShowsAUrlOfAnyLengthInFullInTheClipboardQuestion) {
  const Shown<SampleWantDown> shown;
  auto* label = shown.Find<QLabel>("Label2");
  shown.window->Label2.Caption = "http://h/a.zip";
  Stage::Settle();
  const QSize small = shown.form->size();
  EXPECT_LT(label->height(), 2 * label->fontMetrics().lineSpacing());
  shown.window->Label2.Caption = "http://h/" + std::string(350, 'x');
  Stage::Settle();
  const int letters = label->width() / label->fontMetrics().horizontalAdvance(u'x');
  EXPECT_GE(label->height(), (350 / letters + 1) * label->fontMetrics().lineSpacing());
  EXPECT_GT(shown.form->height(), small.height());
  EXPECT_EQ(shown.form->width(), small.width());
  EXPECT_LE(label->geometry().bottom(), shown.Find<QPushButton>("Command1")->geometry().top());
  // Every line contains letters, even the last one.
  const QImage picture = label->grab().toImage();
  const QRect last(0, picture.height() - label->fontMetrics().lineSpacing(), picture.width(),
                   label->fontMetrics().lineSpacing());
  bool drawn = false;
  for (int y = last.top(); y <= last.bottom(); ++y) {
    for (int x = 0; x < last.width(); ++x)
      drawn = drawn || picture.pixel(x, y) != picture.pixel(picture.width() - 1, 0);
  }
  EXPECT_TRUE(drawn);
  shown.window->Label2.Caption = "http://h/a.zip";
  Stage::Settle();
  EXPECT_EQ(shown.form->size(), small);
}

const std::string kEndless = [] {
  std::string text = "e";
  for (int i = 0; i < 16384; ++i) text += "\xCC\x81";  // combining marks
  return text;
}();

TEST(Binder, ColumnsBesideOneThatIsTooWideHaveTheirLeastWidth) {
  const auto widthWith = [](double width) {
    const Shown<SampleMain> shown;
    SampleMain& window = *shown.window;
    std::vector<ControlPart> columns = window.ListView1.Columns;
    for (ControlPart& column : columns) column.width = width;
    columns[0].width = 100;
    columns[0].caption = std::string(500, 'W');
    window.ListView1.Columns = columns;
    Stage::Settle();
    return shown.Find<QTreeView>("ListView1")->header()->sectionSize(1);
  };
  EXPECT_EQ(widthWith(0), widthWith(1));
}

TEST(Binder, CutsDrawnTextButNotTheModel) {
  const Shown<SampleMain> shown;
  SampleMain& window = *shown.window;
  window.Caption = kEndless;
  window.Label5.Caption = kEndless;
  window.Label5.ToolTipText = kEndless;
  window.Command4.ToolTipText = kEndless;
  window.Command2.Caption = kEndless;
  window.mFile.Caption = kEndless;
  window.sdw.Caption = kEndless;
  window.StatusBar1.SetPanel(1, kEndless);
  window.StatusBar1.SetPanel(2, kEndless);
  std::vector<ControlPart> tabs = window.TabStrip1.Tabs;
  tabs[0].caption = kEndless;
  window.TabStrip1.Tabs = tabs;
  std::vector<ControlPart> buttons = window.Toolbar1.Buttons;
  buttons[0].caption = buttons[0].toolTip = kEndless;
  window.Toolbar1.Buttons = buttons;
  std::vector<ControlPart> columns = window.ListView1.Columns;
  columns[0].caption = kEndless;
  window.ListView1.Columns = columns;
  ListRow row;
  row.key = row.text = row.icon = kEndless;
  row.subItems = {kEndless, kEndless};
  window.ListView1.SetRows({row});
  Stage::Settle();
  std::vector<QString> drawn{shown.form->windowTitle(), shown.form->accessibleName()};
  for (const auto* widget : shown.form->findChildren<QWidget*>()) drawn.push_back(widget->toolTip());
  for (const auto* label : shown.form->findChildren<QLabel*>()) drawn.push_back(label->text());
  for (const auto* button : shown.form->findChildren<QAbstractButton*>()) drawn.push_back(button->text());
  for (const auto* action : shown.form->findChildren<QAction*>()) {
    drawn.push_back(action->text());
    drawn.push_back(action->toolTip());
  }
  drawn.push_back(shown.Find<QTabBar>("TabStrip1")->tabText(0));
  const QAbstractItemModel* rows = shown.Find<QTreeView>("ListView1")->model();
  drawn.push_back(rows->headerData(0, Qt::Horizontal).toString());
  for (int column = 0; column < 3; ++column) drawn.push_back(rows->index(0, column).data().toString());
  int cut = 0;
  for (const QString& text : drawn) {
    EXPECT_LE(text.size(), kMaxDrawnLength + 1);
    cut += text.endsWith(QChar(0x2026)) ? 1 : 0;
  }
  EXPECT_GE(cut, 15);
  EXPECT_EQ(window.Caption(), kEndless);
  EXPECT_EQ(window.Label5.Caption(), kEndless);
  EXPECT_EQ(window.ListView1.Rows()[0].text, kEndless);
}

TEST(Binder, NeverCutsEditableText) {
  const Shown<SampleForm1> shown;
  const std::string url = "http://h/" + std::string(3000, 'x');
  shown.window->Text1.Text = url;
  Stage::Settle();
  auto* edit = shown.Find<QLineEdit>("Text1");
  EXPECT_EQ(edit->text().toStdString(), url);
  edit->end(false);
  QTest::keyClicks(edit, QStringLiteral("y"));
  EXPECT_EQ(shown.window->Text1.Text(), url + "y");
}

TEST(WrappedLabels, WrapBetweenWordsAndWithinLongOnes) {
  WrappedLabel label;
  const auto heightOf = [&label](const char* text) {
    label.setText(QLatin1String(text));
    return label.heightForWidth(label.fontMetrics().horizontalAdvance(QStringLiteral("mmmmmm")) - 2);
  };
  EXPECT_EQ(heightOf("mmm mmm mmm mmm"), heightOf("m\nm\nm\nm"));
  EXPECT_EQ(heightOf("mmmmmmmmm"), heightOf("m\nm"));
}

TEST(Binder, ForwardsMouseMovesToTheControlUnderThem) {
  const Shown<SampleMain> shown;
  int hints = 0;
  shown.window->Label2.OnMouseMove = [&hints] { ++hints; };
  auto* label = shown.Find<QLabel>("Label2");
  QTest::mouseMove(label, label->rect().center());
  Stage::Settle();
  EXPECT_GE(hints, 1);
  EXPECT_EQ(shown.window->mouseMoves, 0);
}

}  // namespace

}  // namespace pellora
