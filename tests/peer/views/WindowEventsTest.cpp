// How a window's frame affects its model, and how the model shows, folds and unloads its form.
#include <gtest/gtest.h>

#include <QAccessible>
#include <QLabel>
#include <QPalette>
#include <QPointer>
#include <QPushButton>
#include <QScreen>
#include <QTest>
#include <cstdlib>
#include <utility>

#include "Samples.h"
#include "Stage.h"

namespace pellora {

namespace {

using namespace testing_views;

template <class WindowType>
std::shared_ptr<WindowType> Open(Stage& stage) {
  auto window = std::make_shared<WindowType>(stage.platform);
  window->Show();
  Stage::Settle();
  return window;
}

TEST(WindowEvents, WindowNeverShownHasNoForm) {
  Stage stage;
  const auto window = std::make_shared<SampleTransfer>(stage.platform);
  window->Load();
  window->state.Caption = "x";
  Stage::Settle();
  EXPECT_EQ(Stage::Form(*window), nullptr);
  window->Unload();
}

TEST(WindowEvents, CloseBoxAsksTheModel) {
  Stage stage;
  const auto window = Open<SampleTransfer>(stage);
  QWidget* form = Stage::Form(*window);
  form->close();
  Stage::Settle();
  EXPECT_EQ(window->closes, 1);
  EXPECT_TRUE(window->Loaded());
  EXPECT_FALSE(form->isVisible());
  window->Show();
  Stage::Settle();
  EXPECT_TRUE(form->isVisible());
  window->refuseClose = false;
  const QPointer<QWidget> watched(form);
  form->close();
  Stage::Settle();
  EXPECT_FALSE(window->Loaded());
  EXPECT_TRUE(watched.isNull());
}

TEST(WindowEvents, EscapeClosesADialogLikeItsFrame) {
  Stage stage;
  const auto window = Open<SampleForm1>(stage);
  QTest::keyClick(Stage::Form(*window), Qt::Key_Escape);
  Stage::Settle();
  EXPECT_FALSE(window->Loaded());
}

TEST(WindowEvents, WindowCanUnloadItselfInsideItsClick) {
  Stage stage;
  const auto window = Open<SampleTransfer>(stage);
  const QPointer<QWidget> form(Stage::Form(*window));
  window->Command2.OnClick = [&window] {
    window->Unload();
    window->state.Caption = "after the end";
  };
  QTest::mouseClick(form->findChild<QPushButton*>(QStringLiteral("Command2")), Qt::LeftButton);
  Stage::Settle();
  EXPECT_TRUE(form.isNull());
  EXPECT_FALSE(window->Loaded());
}

TEST(WindowEvents, UnloadedWindowCanBeLoadedAgain) {
  Stage stage;
  const auto window = Open<SampleTransfer>(stage);
  window->Unload();
  Stage::Settle();
  window->Label3.Caption = "http://a/b";
  window->Show();
  Stage::Settle();
  ASSERT_NE(Stage::Form(*window), nullptr);
  EXPECT_EQ(Stage::Form(*window)->findChild<QLabel*>(QStringLiteral("Label3"))->text(), QStringLiteral("http://a/b"));
  EXPECT_EQ(window->loads, 2);
  window->Unload();
  Stage::Settle();
}

TEST(WindowEvents, ShortFormHidesTheSegments) {
  Stage stage;
  const auto window = Open<SampleTransfer>(stage);
  QWidget* form = Stage::Form(*window);
  auto* frame = form->findChild<QWidget*>(QStringLiteral("Frame1"));
  const int longHeight = form->height();
  EXPECT_TRUE(frame->isVisible());
  window->Height = 167;
  Stage::Settle();
  EXPECT_FALSE(frame->isVisible());
  EXPECT_LT(form->height(), longHeight - 100);
  EXPECT_EQ(window->Height(), 167);
  window->Height = 333;
  Stage::Settle();
  EXPECT_TRUE(frame->isVisible());
  EXPECT_EQ(form->height(), longHeight);
  window->Unload();
  Stage::Settle();
}

TEST(WindowEvents, LongFormIsAsHighAsItsRows) {
  Stage stage;
  const auto window = Open<SampleTransfer>(stage);
  const int eight = Stage::Form(*window)->height();
  window->KeepRows(2);
  Stage::Settle();
  EXPECT_LT(Stage::Form(*window)->height(), eight - 60);
  window->Unload();
  Stage::Settle();
}

// The lightness of the label as it is seen: mixed with the window's background.
int SeenLightness(const QWidget& label) {
  const QColor colour = label.palette().color(label.foregroundRole());
  const QColor background = label.palette().color(QPalette::Window);
  return static_cast<int>(colour.alphaF() * static_cast<float>(colour.lightness()) +
                          (1 - colour.alphaF()) * static_cast<float>(background.lightness()));
}

TEST(WindowEvents, DimmedLabelsAreReadableOnEveryPalette) {
  const QPalette before = QApplication::palette();
  Stage stage;
  const auto window = Open<SampleTransfer>(stage);
  const auto* label = Stage::Form(*window)->findChild<QWidget*>(QStringLiteral("Label5"));
  ASSERT_EQ(label->property("role").toString(), "dim");
  for (const auto& [background, text] : {std::pair{Qt::white, Qt::black}, std::pair{Qt::black, Qt::white}}) {
    QPalette palette(before);
    palette.setColor(QPalette::Window, background);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::PlaceholderText, background);  // a theme that does not set it
    QApplication::setPalette(palette);
    Stage::Settle();
    EXPECT_GT(std::abs(SeenLightness(*label) - QColor(background).lightness()), 100);
    EXPECT_LT(std::abs(SeenLightness(*label) - QColor(background).lightness()), 200);
  }
  QApplication::setPalette(before);
  window->Unload();
  Stage::Settle();
}

TEST(WindowEvents, ResizingIsReportedAndACorrectedSizeApplied) {
  Stage stage;
  const auto window = Open<SampleMain>(stage);
  QWidget* form = Stage::Form(*window);
  form->resize(1000, 700);
  Stage::Settle();
  ASSERT_FALSE(window->resizes.empty());
  EXPECT_EQ(window->resizes.back(), std::make_pair(1000, 700));
  window->Width = 750;
  Stage::Settle();
  EXPECT_EQ(form->size(), QSize(750, 700));
  EXPECT_EQ(window->InnerWidth(), 750);
  window->Unload();
  Stage::Settle();
}

TEST(WindowEvents, ShowingReportsTheSizeButIsNoResize) {
  Stage stage;
  const auto window = Open<SampleMain>(stage);
  QWidget* form = Stage::Form(*window);
  const auto expectSizedOnly = [&] {
    EXPECT_TRUE(window->resizes.empty());
    ASSERT_FALSE(window->sizes.empty());
    EXPECT_EQ(window->sizes.back(), std::make_pair(form->width(), form->height()));
  };
  expectSizedOnly();
  window->Hide();
  Stage::Settle();
  window->Width = 750;
  window->Show();
  Stage::Settle();
  EXPECT_EQ(form->width(), 750);
  expectSizedOnly();
  form->resize(1000, 700);
  Stage::Settle();
  EXPECT_EQ(window->resizes.size(), 1U);
  window->Unload();
  Stage::Settle();
}

TEST(WindowEvents, FoldingIsAResizeUnlikeFittingTheRows) {
  Stage stage;
  const auto window = Open<SampleTransfer>(stage);
  QWidget* form = Stage::Form(*window);
  const int eight = form->height();
  window->KeepRows(2);
  Stage::Settle();
  ASSERT_LT(form->height(), eight);
  EXPECT_EQ(window->resizes, 0);
  EXPECT_EQ(window->InnerHeight(), form->height());
  window->Height = 167;
  Stage::Settle();
  EXPECT_EQ(window->resizes, 1);
  window->Unload();
  Stage::Settle();
}

TEST(WindowEvents, MinimisingIsReported) {
  Stage stage;
  const auto window = Open<SampleTransfer>(stage);
  Stage::Form(*window)->showMinimized();
  Stage::Settle();
  EXPECT_EQ(window->State(), WindowState::Minimised);
  Stage::Form(*window)->showNormal();
  Stage::Settle();
  EXPECT_EQ(window->State(), WindowState::Normal);
  window->Unload();
  Stage::Settle();
}

TEST(WindowEvents, WindowOpensWithinItsScreen) {
  Stage stage;
  const auto window = std::make_shared<SampleMain>(stage.platform);
  window->Width = 5000;
  window->Height = 4000;
  window->Show();
  Stage::Settle();
  const QWidget* form = Stage::Form(*window);
  const QRect screen = form->screen()->availableGeometry();
  EXPECT_LT(form->width(), screen.width());
  EXPECT_LT(form->height(), screen.height() - 20);  // leaves room for the frame
  EXPECT_EQ(window->InnerWidth(), form->width());
  // A minimum size larger than the screen is not applied, and the model gets the actual size.
  window->Width = 4000;
  Stage::Settle();
  EXPECT_LT(form->width(), screen.width());
  window->Unload();
  Stage::Settle();
}

TEST(WindowEvents, ShowingAVisibleWindowKeepsTheSizeSetByTheUser) {
  Stage stage;
  const auto window = Open<SampleMain>(stage);
  QWidget* form = Stage::Form(*window);
  const QSize large = form->screen()->availableSize();
  form->resize(large);
  Stage::Settle();
  window->Show();
  Stage::Settle();
  EXPECT_EQ(form->size(), large);
  window->Unload();
  Stage::Settle();
}

TEST(WindowEvents, NewRowMovesNoWindowOffTheScreen) {
  Stage stage;
  const auto window = Open<SampleTransfer>(stage);
  window->KeepRows(1);
  Stage::Settle();
  QWidget* form = Stage::Form(*window);
  const QRect screen = form->screen()->availableGeometry();
  form->move(20, screen.bottom() - form->frameGeometry().height() - 5);
  const int before = form->frameGeometry().top();
  window->KeepRows(8);
  Stage::Settle();
  EXPECT_LE(form->frameGeometry().bottom(), screen.bottom());
  EXPECT_LT(form->frameGeometry().top(), before);
  // A window that the user moved across the edge stays there.
  window->KeepRows(1);
  Stage::Settle();
  form->move(20, screen.bottom() - 50);
  const QPoint chosen = form->pos();
  window->KeepRows(8);
  Stage::Settle();
  EXPECT_EQ(form->pos(), chosen);
  window->Unload();
  Stage::Settle();
}

TEST(WindowEvents, LongerTextMovesNoWindowOffTheScreen) {
  Stage stage;
  const auto window = Open<SampleTransfer>(stage);
  QWidget* form = Stage::Form(*window);
  const QRect screen = form->screen()->availableGeometry();
  const auto setLabel = [&](const std::string& text) {
    window->Label5.Caption = text;
    Stage::Settle();
    Stage::Settle();
  };
  form->resize(form->minimumSizeHint().width(), form->height());
  form->move(screen.right() - form->frameGeometry().width() - 5, 20);
  const int width = form->width();
  setLabel(std::string(80, 'x'));
  EXPECT_GT(form->width(), width + 50);
  EXPECT_LE(form->frameGeometry().right(), screen.right());
  // A window that the user moved across the edge stays there.
  form->move(screen.right() - 50, 20);
  const QPoint chosen = form->pos();
  setLabel(std::string(85, 'x'));
  EXPECT_EQ(form->pos(), chosen);
  window->Unload();
  Stage::Settle();
}

TEST(WindowEvents, WindowsHaveRoleAndTitleForAssistiveTechnology) {
  Stage stage;
  const auto window = Open<SampleTransfer>(stage);
  window->Caption = "1.0% of a.bin downloaded.";
  Stage::Settle();
  QWidget* form = Stage::Form(*window);
  QAccessibleInterface* seen = QAccessible::queryAccessibleInterface(form);
  ASSERT_NE(seen, nullptr);
  EXPECT_EQ(seen->role(), QAccessible::Window);
  EXPECT_GT(seen->childCount(), 5);
  EXPECT_EQ(seen->text(QAccessible::Name), QStringLiteral("1.0% of a.bin downloaded."));
  form->showMinimized();
  window->Caption = "2.0% of a.bin downloaded.";
  Stage::Settle();
  EXPECT_EQ(seen->text(QAccessible::Name), QStringLiteral("2.0% of a.bin downloaded."));
  window->Unload();
  Stage::Settle();
}

}  // namespace

}  // namespace pellora
