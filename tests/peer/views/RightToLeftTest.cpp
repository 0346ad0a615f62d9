// Windows in a language that is written from right to left: mirrored, with addresses, paths and figures as they are.
#include <gtest/gtest.h>

#include <QGlyphRun>
#include <QGuiApplication>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QPixmap>
#include <QProgressBar>
#include <QPushButton>
#include <QTextLayout>
#include <QToolBar>
#include <QToolButton>
#include <QTreeView>
#include <algorithm>
#include <memory>
#include <string>
#include <utility>

#include "AppStage.h"
#include "LongTexts.h"
#include "app/NewTransferWindow.h"
#include "desktop/DisplayText.h"
#include "desktop/views/Icons.h"
#include "desktop/views/Widgets.h"
#include "lang/Language.h"
#include "mainwin/Form1.h"
#include "transferwin/TransferWindow.h"

namespace pellora {
namespace {

using namespace testing_views;

class RightToLeft : public testing::Test {
 protected:
  ~RightToLeft() override { QGuiApplication::setLayoutDirection(Qt::LeftToRight); }

  int LeftOf(const Window& window, const char* name) {
    auto* const widget = stage.Find<QWidget>(window, name);
    return widget->mapTo(stage.Form(window), QPoint()).x();
  }
  static QColor At(QWidget& widget, double share) {
    const QImage image = widget.grab().toImage();
    return image.pixelColor(static_cast<int>(image.width() * share), image.height() / 2);
  }
  // The character that is drawn farthest to the left.
  static QChar Leftmost(const QString& text, Qt::LayoutDirection direction) {
    QTextOption option;
    option.setTextDirection(direction);
    QTextLayout layout(text);
    layout.setTextOption(option);
    layout.beginLayout();
    layout.createLine();
    layout.endLayout();
    QChar leftmost;
    double least = 1e9;
    for (int at = 0; at < text.size(); ++at) {
      if (text[at].unicode() >= 0x2066 && text[at].unicode() <= 0x2069) continue;
      for (const QGlyphRun& glyphs : layout.glyphRuns(at, 1)) {
        if (glyphs.positions().isEmpty() || glyphs.positions().first().x() >= least) continue;
        least = glyphs.positions().first().x();
        leftmost = text[at];
      }
    }
    return leftmost;
  }

  // The room at the left and at the right of what a label shows.
  static std::pair<int, int> RoomInLabel(QLabel& label) {
    const QImage image = label.grab().toImage();
    int first = image.width();
    int last = -1;
    for (int x = 0; x < image.width(); ++x) {
      for (int y = 0; y < image.height(); ++y) {
        if (image.pixel(x, y) == image.pixel(0, 0)) continue;
        first = std::min(first, x);
        last = x;
      }
    }
    return {first, image.width() - 1 - last};
  }

  // What the middle lines of a button show: the room at its left and at its right.
  static std::pair<int, int> RoomInButton(Qt::LayoutDirection direction) {
    constexpr int kEdge = 5;
    QGuiApplication::setLayoutDirection(direction);
    QPushButton button(Drawing(QStringLiteral("download")), QStringLiteral("Caption"));
    button.resize(160, 28);
    const QImage image = button.grab().toImage();
    int first = image.width();
    int last = 0;
    for (int x = kEdge; x < image.width() - kEdge; ++x) {
      for (int y = kEdge; y < image.height() - kEdge; ++y) {
        if (image.pixel(x, y) == image.pixel(kEdge, y)) continue;
        first = std::min(first, x);
        last = x;
      }
    }
    return {first, image.width() - 1 - last};
  }

  AppStage stage{HebrewLetters()};
};

TEST_F(RightToLeft, ButtonsWithIconsAreMirrored) {
  const auto [left, right] = RoomInButton(Qt::LeftToRight);
  const auto [mirroredLeft, mirroredRight] = RoomInButton(Qt::RightToLeft);
  constexpr int kSpacing = 4;  // letters begin a little within their room
  EXPECT_NEAR(mirroredLeft, right, kSpacing);
  EXPECT_NEAR(mirroredRight, left, kSpacing);
  EXPECT_GT(mirroredLeft, 20);
}

TEST_F(RightToLeft, MainWindowIsMirrored) {
  EXPECT_TRUE(QGuiApplication::isRightToLeft());
  EXPECT_GT(LeftOf(stage.Main(), "Label1"), LeftOf(stage.Main(), "Label10"));
  EXPECT_GT(LeftOf(stage.Main(), "Label3"), LeftOf(stage.Main(), "Command4"));
  const auto* const tools = stage.Find<QToolBar>(stage.Main(), "Toolbar1");
  EXPECT_GT(tools->widgetForAction(tools->actions().first())->x(),
            tools->widgetForAction(tools->actions().last())->x());
}

TEST_F(RightToLeft, EnglishChosenLaterTurnsTheWindowsBack) {
  stage.sim.disk().Put("/prog/other.txt", SimContent(AppStage::EnglishTexts()));
  stage.Do([&] { LoadLanguage(stage.app->program(), "other"); });
  EXPECT_FALSE(QGuiApplication::isRightToLeft());
  EXPECT_LT(LeftOf(stage.Main(), "Label1"), LeftOf(stage.Main(), "Label10"));
}

TEST_F(RightToLeft, LatinTextsOfLabelsAreAtTheSideWhereLinesBegin) {
  constexpr int kEdge = 4;
  const auto window = NewTransferWindow(stage.app->program(), 0);
  stage.Do([&] { window->Show(); });
  stage.Do([&] {
    window->Ela.Caption = "12 s";
    window->Size(0).Caption = "1.5 mb";
    stage.Form(*window)->findChild<QLabel*>(QStringLiteral("Ela"))->setMinimumWidth(120);
  });
  auto& elapsed = *stage.Find<QLabel>(*window, "Ela");
  auto& size = *stage.Find<QLabel>(*window, "Size_0");
  EXPECT_LE(RoomInLabel(elapsed).second, kEdge);
  EXPECT_GT(RoomInLabel(elapsed).first, 50);
  EXPECT_LE(RoomInLabel(size).first, kEdge);  // figures end at the other side
  stage.sim.disk().Put("/prog/other.txt", SimContent(AppStage::EnglishTexts()));
  stage.Do([&] { LoadLanguage(stage.app->program(), "other"); });
  EXPECT_LE(RoomInLabel(elapsed).first, kEdge);
  EXPECT_LE(RoomInLabel(size).second, kEdge);
  stage.Do([&] { window->Unload(); });
}

TEST_F(RightToLeft, DialogsAreMirroredButAddressesAndPathsAreTypedFromTheLeft) {
  Form1& form = *stage.Main().form1;
  stage.Do([&] { stage.Main().RunAction(MainWindow::kAdd); });
  stage.Do([&] { form.Check1.SetByUser(true); });
  EXPECT_GT(LeftOf(form, "Command1"), LeftOf(form, "Command3"));
  EXPECT_GT(LeftOf(form, "Label2"), LeftOf(form, "Text3"));
  for (const char* const field : {"Text1", "Text2"}) {
    EXPECT_EQ(stage.Find<QLineEdit>(form, field)->layoutDirection(), Qt::LeftToRight) << field;
  }
  EXPECT_EQ(stage.Find<QLineEdit>(form, "Text3")->layoutDirection(), Qt::RightToLeft);
  stage.Do([&] { form.Unload(); });
}

TEST_F(RightToLeft, ProgressFillsFromTheRight) {
  const auto window = NewTransferWindow(stage.app->program(), 0);
  stage.Do([&] { window->Show(); });
  stage.Do([&] {
    window->PB.Value = 30.0;
    window->Prog(0).Width = 500;
    window->Prog(0).FillColor = 0x0000FF;
    window->showgraph.Click();
    window->Map1.Visible = true;
    window->Map1.Held = std::vector<MapSpan>{{0, 0.2}};
  });
  for (const char* const bar : {"PB", "Prog_0", "Map1"}) {
    auto& widget = *stage.Find<QWidget>(*window, bar);
    EXPECT_NE(At(widget, 0.95), At(widget, 0.4)) << bar;
    EXPECT_EQ(At(widget, 0.05), At(widget, 0.4)) << bar;
  }
  stage.Do([&] { window->Unload(); });
}

TEST_F(RightToLeft, FigureOfTheProgressIsSeenOnBothParts) {
  const auto window = NewTransferWindow(stage.app->program(), 0);
  stage.Do([&] { window->Show(); });
  for (const double percent : {30.0, 80.0}) {
    stage.Do([&] { window->PB.Value = percent; });
    auto& bar = *stage.Find<QWidget>(*window, "PB");
    const QImage image = bar.grab().toImage();
    const QColor ground = image.pixelColor(percent < 50 ? 8 : image.width() - 8, image.height() / 2);
    const QColor figure = bar.palette().color(percent < 50 ? QPalette::Text : QPalette::HighlightedText);
    double best = 1;
    for (int x = image.width() / 2 - 15; x < image.width() / 2 + 15; ++x) {
      best = std::max(best, Contrast(image.pixelColor(x, image.height() / 2), ground));
    }
    EXPECT_GE(best, Contrast(figure, ground) * 0.8) << percent;
  }
  stage.Do([&] { window->Unload(); });
}

TEST_F(RightToLeft, PathsKeepTheirFirstSlashAtTheLeft) {
  const QString path = QStringLiteral("/home/user");
  EXPECT_EQ(Leftmost(path, Qt::RightToLeft), QChar(u'h'));  // not isolated
  EXPECT_EQ(Leftmost(Isolated(path), Qt::RightToLeft), QChar(u'/'));
  const QString word = QString::fromUtf8("\u05d0\u05d1\u05d2");
  EXPECT_EQ(Leftmost(Isolated(word), Qt::RightToLeft), word[2]);
}

TEST_F(RightToLeft, RowsAreIsolatedOnTheScreenAndPlainForAssistiveTechnology) {
  Program& program = stage.app->program();
  program.ResizeDownloads(1);
  DownloadRecord& record = program.Download(1);
  record.Segments.resize(1);
  record.FileName = "a (1).zip";
  record.URL = "http://h.example/a";
  record.InUse = record.Valid = record.Paused = true;
  program.RaiseSerial(1);
  stage.Do([&] { stage.Main().RefreshRows(kAllRows, kForced); });
  const QModelIndex row = stage.Find<QTreeView>(stage.Main(), "ListView1")->model()->index(0, 0);
  EXPECT_EQ(row.data().toString(), QString::fromUtf8("\u2068a (1).zip\u2069"));
  EXPECT_EQ(row.data(Qt::AccessibleTextRole).toString(), QStringLiteral("a (1).zip"));
}

TEST_F(RightToLeft, HeadingsAreIsolatedLikeRows) {
  QAbstractItemModel* const model = stage.Find<QTreeView>(stage.Main(), "ListView1")->model();
  const QString heading = model->headerData(0, Qt::Horizontal, Qt::AccessibleTextRole).toString();
  EXPECT_FALSE(heading.isEmpty());
  EXPECT_EQ(model->headerData(0, Qt::Horizontal).toString(), QChar(0x2068) + heading + QChar(0x2069));
}

TEST(LeftToRight, RowsAndPathsAreTheTextsThemselves) {
  EXPECT_EQ(Isolated(QStringLiteral("/home")), QStringLiteral("/home"));
}

}  // namespace
}  // namespace pellora
