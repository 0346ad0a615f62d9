// The mouse over every widget of every window: which control gets the moves, and what the main window does with them.
// The pointer itself is moved, so that moves are delivered as on a desktop.
#include <gtest/gtest.h>

#include <QCursor>
#include <QLabel>
#include <QSlider>
#include <QStatusBar>
#include <QTest>
#include <QToolBar>
#include <QWindow>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "AppStage.h"
#include "app/NewTransferWindow.h"
#include "capture/DownloadBasket.h"
#include "desktop/views/ObjectNames.h"
#include "options/Options.h"
#include "transferwin/TransferWindow.h"
#include "zipview/Extract.h"
#include "zipview/Form2.h"

namespace pellora {

namespace {

using namespace testing_views;

class Hover : public ::testing::Test {
 protected:
  static void MoveTo(const QPoint& place) {
    QCursor::setPos(place);
    Stage::Settle();
  }
  static void MoveTo(const QWidget& widget) { MoveTo(widget.mapToGlobal(widget.rect().center())); }

  // Shows only this window.
  QWidget* ShowAlone(Window& window) {
    stage.Do([&] { stage.Main().Hide(); });
    stage.Do([&] { window.Show(); });
    return stage.Form(window);
  }

  // Makes every control record its name instead of what it would do.
  void NoteMoves(Window& window) {
    for (Control* control : window.Controls()) {
      control->OnMouseMove = [this, control] { noted.push_back(control->Name); };
    }
  }

  // A place in the widget where no child covers it; its centre if there is none.
  static QPoint OwnGround(const QWidget& form, const QWidget& widget) {
    constexpr int kStep = 3;
    for (int y = 1; y < widget.height(); y += kStep) {
      for (int x = 1; x < widget.width(); x += kStep) {
        if (form.childAt(form.mapFromGlobal(widget.mapToGlobal(QPoint(x, y)))) == &widget) return {x, y};
      }
    }
    return widget.rect().center();
  }

  // Moves the pointer over each widget of the form. The control whose widget is under the pointer, or else the one
  // around it, must record each move, and no other control. Returns the names of these controls.
  std::set<std::string> WalkOver(Window& window) {
    QWidget* form = stage.Form(window);
    std::map<QWidget*, std::string> names;
    for (const Control* control : window.Controls()) {
      if (auto* widget = form->findChild<QWidget*>(ObjectName(control->Name))) names[widget] = control->Name;
    }
    NoteMoves(window);
    std::set<std::string> met;
    for (QWidget* widget : form->findChildren<QWidget*>()) {
      if (!widget->isVisible() || widget->window() != form) continue;
      const QRect area = widget->rect().adjusted(1, 1, -1, -1);
      for (const QPoint& place : {area.center(), area.topLeft(), OwnGround(*form, *widget)}) {
        const QPoint onScreen = widget->mapToGlobal(place);
        if (!form->rect().contains(form->mapFromGlobal(onScreen)) || QCursor::pos() == onScreen) continue;
        QWidget* under = form->childAt(form->mapFromGlobal(onScreen));
        while (under != nullptr && names.count(under) == 0) under = under->parentWidget();
        const std::vector<std::string> expected(under == nullptr ? 0 : 1, under == nullptr ? "" : names[under]);
        noted.clear();
        MoveTo(onScreen);
        EXPECT_EQ(noted, expected) << window.TypeName << ", over " << widget->metaObject()->className() << " "
                                   << widget->objectName().toStdString();
        met.insert(noted.begin(), noted.end());
      }
    }
    return met;
  }

  QLabel* Hint() { return stage.Find<QStatusBar>(stage.Main(), "StatusBar1")->findChildren<QLabel*>().front(); }
  void MoveToGround() { MoveTo(stage.Form(stage.Main())->mapToGlobal(QPoint(3, 200))); }
  void OpenSidePane() {
    stage.Do([this] { stage.Main().Command4.Click(); });
    ASSERT_TRUE(stage.Find<QWidget>(stage.Main(), "Picture3")->isVisible());
  }

  AppStage stage;
  std::vector<std::string> noted;
};

TEST_F(Hover, MainWindowControlsGetTheMovesOverThem) {
  OpenSidePane();
  std::set<std::string> hints;
  for (const Control* control : stage.Main().Controls()) {
    if (control->OnMouseMove) hints.insert(control->Name);
  }
  EXPECT_GE(hints.size(), 10U);
  std::set<std::string> met = WalkOver(stage.Main());
  stage.Do([this] { stage.Main().TabStrip1.SelectByUser(1); });
  met.merge(WalkOver(stage.Main()));
  for (const std::string& name : hints) EXPECT_EQ(met.count(name), 1U) << name;
  for (const char* name : {"Details", "Info(5)", "Command5", "Label12", "StatusBar1"}) EXPECT_EQ(met.count(name), 1U);
}

TEST_F(Hover, TransferWindowControlsGetTheMovesOverThem) {
  const auto window = NewTransferWindow(stage.app->program(), 0);
  ShowAlone(*window);
  const std::set<std::string> met = WalkOver(*window);
  for (const char* name : {"state", "PB", "Command1", "Command4", "Frame1", "Label7(3)", "Shape1(7)", "Size(7)"}) {
    EXPECT_EQ(met.count(name), 1U) << name;
  }
  window->Unload();
}

TEST_F(Hover, DialogControlsGetTheMovesOverThem) {
  MainWindow& main = stage.Main();
  const std::vector<std::pair<Window*, std::set<std::string>>> dialogs = {
      {main.form1.get(), {"Text1", "Command1", "Command2", "Command3"}},
      {main.wantDown.get(), {"Label1", "Label2", "Command1", "Command2"}},
      {main.askLine.get(), {"Label1", "Text1", "Command1", "Command2"}}};
  for (const auto& [window, names] : dialogs) {
    ShowAlone(*window);
    const std::set<std::string> met = WalkOver(*window);
    for (const std::string& name : names) EXPECT_EQ(met.count(name), 1U) << window->TypeName << " " << name;
    window->Hide();
    Stage::Settle();
  }
}

TEST_F(Hover, OptionsOfEveryPageGetTheMovesOverThem) {
  options& window = *stage.Main().optionsWindow;
  ShowAlone(window);
  std::set<std::string> met;
  for (int page = 0; page < static_cast<int>(window.TabStrip1.Tabs().size()); ++page) {
    stage.Do([&] { window.TabStrip1.SelectByUser(page); });
    met.merge(WalkOver(window));
  }
  for (const char* name : {"Text1", "Check5", "Text3", "Check8", "Check7", "Command1", "Command2"}) {
    EXPECT_EQ(met.count(name), 1U) << name;
  }
}

TEST_F(Hover, ArchiveWindowControlsGetTheMovesOverThem) {
  const auto viewer = std::make_shared<Form2>(stage.app->program(), nullptr);
  const auto dialog = std::make_shared<Extract>(stage.app->program(), nullptr);
  ShowAlone(*viewer);
  const std::set<std::string> met = WalkOver(*viewer);
  for (const char* name : {"ListView1", "Option3", "Command3"}) EXPECT_EQ(met.count(name), 1U) << name;
  viewer->Unload();
  Stage::Settle();
  ShowAlone(*dialog);
  EXPECT_GE(WalkOver(*dialog).size(), 3U);
  dialog->Unload();
}

TEST_F(Hover, HintsShowInTheStatusBarAndVanishOverEmptySpace) {
  OpenSidePane();
  const std::pair<const char*, std::string> hints[] = {
      {"ListView1", "Double click on file to start download or see download details."},
      {"ListView2", "Double click to open the file"},
      {"Command2", "Play the selected file."},
      {"Command3", "Stop the playback of the media file"},
      {"Picture3", "Preview window, click on a media file to preview it."},
      {"Slider1", "Change the volume of the playback."},
      {"Label2", "Go on the site of Pellora"},
      {"Label7", "Check if a newer version of the program is available on the web."}};
  for (const auto& [name, text] : hints) {
    MoveTo(*stage.Find<QWidget>(stage.Main(), name));
    EXPECT_EQ(Hint()->text().toStdString(), text) << name;
    MoveToGround();
    EXPECT_EQ(Hint()->text(), QStringLiteral("Pellora v5.2")) << name;
  }
}

TEST_F(Hover, EveryToolbarButtonShowsTheToolbarsHintEvenIfAddedLater) {
  const std::string hint = stage.app->program().Text(412);
  ASSERT_FALSE(hint.empty());
  Toolbar& toolbar = stage.Main().Toolbar1;
  auto* bar = stage.Find<QToolBar>(stage.Main(), "Toolbar1");
  for (const bool madeLater : {false, true}) {
    if (madeLater) {
      std::vector<ControlPart> buttons = toolbar.Buttons;
      buttons.erase(buttons.begin());
      toolbar.Buttons = buttons;
      Stage::Settle();
    }
    ASSERT_EQ(bar->actions().size(), madeLater ? 8 : 9);
    for (QAction* action : bar->actions()) {
      MoveToGround();
      MoveTo(*bar->widgetForAction(action));
      EXPECT_EQ(Hint()->text().toStdString(), hint) << action->text().toStdString();
    }
  }
}

TEST_F(Hover, VersionLinkIsHighlightedUnderTheMouseUntilACheckBegins) {
  auto* label = stage.Find<QLabel>(stage.Main(), "Label7");
  const auto colour = [label] { return label->palette().color(label->foregroundRole()); };
  const QColor usual = colour();
  MoveTo(*label);
  EXPECT_TRUE(label->font().underline());
  EXPECT_NE(colour(), usual);
  EXPECT_GT(colour().blue(), colour().red());
  MoveTo(*stage.Find<QWidget>(stage.Main(), "Label3"));  // on the same ground
  EXPECT_FALSE(label->font().underline());
  EXPECT_EQ(colour(), usual);
  MoveTo(*label);
  MoveToGround();
  EXPECT_FALSE(label->font().underline());
  stage.Do([this] { stage.Main().Label7.DoubleClick(); });
  MoveTo(*label);
  EXPECT_FALSE(label->font().underline());
}

TEST_F(Hover, PressedButtonKeepsTheHintOfItsControl) {
  OpenSidePane();
  auto* slider = stage.Find<QSlider>(stage.Main(), "Slider1");
  QWidget* form = stage.Form(stage.Main());
  MoveTo(*slider);
  const QString hint = Hint()->text();
  ASSERT_EQ(hint, QStringLiteral("Change the volume of the playback."));
  const QPoint place = slider->mapTo(form, slider->rect().center());
  QTest::mousePress(form->windowHandle(), Qt::LeftButton, {}, place);
  MoveToGround();
  EXPECT_EQ(Hint()->text(), hint);
  QTest::mouseRelease(form->windowHandle(), Qt::LeftButton, {}, QPoint(3, 200));
  MoveTo(form->mapToGlobal(QPoint(3, 201)));
  EXPECT_EQ(Hint()->text(), QStringLiteral("Pellora v5.2"));
}

}  // namespace

}  // namespace pellora
