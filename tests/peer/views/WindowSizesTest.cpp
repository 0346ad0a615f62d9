// The sizes of the program's windows on the screen: growth, and a showing that does not count as a resize.
#include <gtest/gtest.h>

#include <QLabel>
#include <QSplitter>
#include <QWidget>
#include <array>
#include <map>
#include <string>
#include <utility>

#include "AppStage.h"
#include "SimNetwork.h"
#include "desktop/views/ObjectNames.h"
#include "transferwin/TransferWindow.h"
#include "zipview/Form2.h"

namespace pellora {

namespace {

using namespace testing_views;

class WindowSizes : public ::testing::Test {
 protected:
  // Left, width and height of each visible control for which the model sets them, in the model and as drawn.
  using Places = std::map<std::string, std::array<std::pair<double, int>, 3>>;
  Places PlacesOf(const Window& window) {
    Places places;
    for (const Control* control : window.Controls()) {
      auto* widget = stage.Form(window)->findChild<QWidget*>(ObjectName(control->Name));
      if (widget == nullptr || !widget->isVisible()) continue;
      const std::array<double, 3> given = {control->Left, control->Width, control->Height};
      if (given == std::array<double, 3>{}) continue;
      const int left = widget->mapTo(stage.Form(window), QPoint()).x();
      places[control->Name] = {std::pair{given[0], left}, std::pair{given[1], widget->width()},
                               std::pair{given[2], widget->height()}};
    }
    return places;
  }

  // Enlarges the window: what the model moves or stretches must do so on the screen, by the same amount.
  void ExpectGrowthAsInTheModel(const Window& window, int more, std::size_t controls) {
    const Places before = PlacesOf(window);
    EXPECT_EQ(before.size(), controls);
    Grow(window, more, more);
    for (const auto& [name, after] : PlacesOf(window)) {
      for (std::size_t at = 0; at < after.size(); ++at) {
        const auto& [given, drawn] = after[at];
        if (given == 0) continue;  // left to the form
        EXPECT_EQ(drawn - before.at(name)[at].second, given - before.at(name)[at].first) << name << " " << at;
      }
    }
  }

  void Grow(const Window& window, int width, int height) {
    QWidget* form = stage.Form(window);
    form->resize(form->width() + width, form->height() + height);
    Stage::Settle();
  }

  int HeightOf(const char* name) { return stage.Find<QWidget>(stage.Main(), name)->height(); }

  AppStage stage;
};

TEST_F(WindowSizes, MainWindowGrowsAsItsModelRequires) {
  ExpectGrowthAsInTheModel(stage.Main(), 120, 3);
  stage.Do([this] { stage.Main().Command4.Click(); });
  ExpectGrowthAsInTheModel(stage.Main(), 60, 5);
}

TEST_F(WindowSizes, ArchiveViewerGrowsAsItsModelRequires) {
  const auto viewer = std::make_shared<Form2>(stage.app->program(), nullptr);
  stage.Do([&] { viewer->Show(); });
  ExpectGrowthAsInTheModel(*viewer, 150, 1);
  viewer->Unload();
}

TEST_F(WindowSizes, OnlyTheFinishedListGrowsInHeight) {
  const int current = HeightOf("ListView1");
  const int finished = HeightOf("ListView2");
  Grow(stage.Main(), 0, 300);
  EXPECT_EQ(HeightOf("ListView1"), current);
  EXPECT_EQ(HeightOf("ListView2"), finished + 300);
  Grow(stage.Main(), 0, -300);
  EXPECT_EQ(HeightOf("ListView1"), current);
  EXPECT_EQ(HeightOf("ListView2"), finished);
}

TEST_F(WindowSizes, CurrentListKeepsTheHeightSetByTheUser) {
  auto* splitter = stage.Find<QSplitter>(stage.Main(), "halves");
  const QList<int> sizes = splitter->sizes();
  const int current = HeightOf("ListView1");
  splitter->setSizes({sizes[0] + 40, sizes[1] - 40});
  Stage::Settle();
  EXPECT_EQ(HeightOf("ListView1"), current + 40);
  const int finished = HeightOf("ListView2");
  Grow(stage.Main(), 0, 200);
  EXPECT_EQ(HeightOf("ListView1"), current + 40);
  EXPECT_EQ(HeightOf("ListView2"), finished + 200);
}

TEST_F(WindowSizes, BothListsAreReadableInTheSmallestWindow) {
  stage.Form(stage.Main())->resize(100, 100);
  Stage::Settle();
  EXPECT_EQ(stage.Form(stage.Main())->height(), 534);
  EXPECT_GE(HeightOf("ListView1"), 90);
  EXPECT_GE(HeightOf("ListView2"), 90);
}

TEST_F(WindowSizes, MainWindowIsLaidOutWhenFirstShown) {
  const MainWindow& main = stage.Main();
  EXPECT_EQ(main.InnerWidth(), stage.Form(main)->width());
  EXPECT_EQ(main.ListView1.Width(), main.InnerWidth() - 20);
}

TEST_F(WindowSizes, ConnectingTransferWindowShowsItsCaptionUntilResized) {
  SimScript origin;
  origin.wire.hangBeforeAccept = true;
  stage.sim.network().Serve("origin.example", 80, origin);
  stage.Do([this] { stage.app->MenuURL("http://origin.example/a.bin", "", ""); });
  const auto* window = dynamic_cast<TransferWindow*>(stage.app->program().TransferWindowAt(1).get());
  ASSERT_NE(window, nullptr);
  ASSERT_NE(stage.Form(*window), nullptr);
  const auto* state = stage.Find<QLabel>(*window, "state");
  EXPECT_TRUE(state->isVisible());
  EXPECT_EQ(state->text(), QStringLiteral("Connecting to server..."));
  EXPECT_EQ(window->InnerWidth(), stage.Form(*window)->width());

  // Shown again, it reports the same.
  stage.Form(*window)->close();
  Stage::Settle();
  EXPECT_FALSE(state->isVisible());
  stage.Do([&] { stage.app->program().TransferWindowAt(1)->ShowWindow(); });
  EXPECT_TRUE(state->isVisible());
  EXPECT_EQ(state->text(), QStringLiteral("Connecting to server..."));

  Grow(*window, 50, 50);
  EXPECT_EQ(state->text().toStdString(), stage.app->program().Text(534));
}

}  // namespace

}  // namespace pellora
