#include "MainWindowFixture.h"

namespace pellora {
namespace {

class Layout : public MainWindowFixture {
 protected:
  void SetUp() override { Start(); }
  void Drag(int width, int height) { window().ViewResized(width, height, width - 10, height - 30); }
};

TEST_F(Layout, PlacesControlsFromTheInnerSize) {
  Drag(910, 730);
  EXPECT_EQ(window().ListView1.Width(), 880);
  EXPECT_EQ(window().ListView2.Width(), 880);
  EXPECT_EQ(window().ListView2.Height(), 460);
  EXPECT_EQ(window().Picture1.Left(), 670);
  EXPECT_EQ(window().TabStrip1.Left(), 668);
  EXPECT_EQ(window().Command4.Left(), 870);
  const double w2 = 880 - 81;
  const double w1 = 880 - 130.7;
  const std::vector<double> finished = {0.35 * w2, 0.1 * w2, 0.35 * w2, 0.2 * w2};
  const std::vector<double> current = {0.24 * w1, 0.23 * w1, 0.1 * w1, 70, 0.2 * w1, 0.1 * w1};
  for (std::size_t i = 0; i < finished.size(); ++i) {
    EXPECT_DOUBLE_EQ(window().ListView2.Columns()[i].width, finished[i]) << i;
  }
  for (std::size_t i = 0; i < current.size(); ++i) {
    EXPECT_DOUBLE_EQ(window().ListView1.Columns()[i].width, current[i]) << i;
  }
}

TEST_F(Layout, PlacesControlsFromTheSizeAtShowing) {
  window().ViewSized(910, 730, 900, 700);
  EXPECT_EQ(window().ListView1.Width(), 880);
  EXPECT_EQ(window().ListView2.Height(), 460);
}

TEST_F(Layout, StartsWithTheSidePaneFolded) {
  EXPECT_EQ(window().Command4.Caption(), "<");
  EXPECT_FALSE(window().TabStrip1.Visible());
  EXPECT_FALSE(window().Picture1.Visible());
  EXPECT_FALSE(window().Details.Visible());
}

TEST_F(Layout, NarrowsTheFinishedListBy230WhenTheSidePaneOpens) {
  Drag(910, 730);
  const double before = window().ListView2.Width;
  Do([&] { window().Command4.Click(); });
  EXPECT_EQ(window().ListView2.Width(), before - 230);
  EXPECT_DOUBLE_EQ(window().ListView2.Columns()[0].width, 0.35 * (before - 230 - 81));
  EXPECT_EQ(window().Command4.Caption(), ">");
  EXPECT_TRUE(window().TabStrip1.Visible());
  EXPECT_TRUE(window().Picture1.Visible());
  Do([&] { window().Command4.Click(); });
  EXPECT_EQ(window().ListView2.Width(), before);
}

TEST_F(Layout, ChangesNothingWhileMinimised) {
  Drag(910, 730);
  window().ViewStateChanged(WindowState::Minimised);
  const std::vector<ControlPart> columns = window().ListView1.Columns;
  Drag(300, 200);
  EXPECT_EQ(window().ListView1.Width(), 880);
  EXPECT_EQ(window().ListView2.Width(), 880);
  EXPECT_EQ(window().ListView2.Height(), 460);
  EXPECT_EQ(window().Picture1.Left(), 670);
  EXPECT_EQ(window().Command4.Left(), 870);
  EXPECT_EQ(window().ListView1.Columns(), columns);
  EXPECT_EQ(window().Width(), 300);  // not restored
}

TEST_F(Layout, SkipsANegativeLength) {
  Drag(910, 730);
  window().ViewResized(910, 730, 200, 100);
  EXPECT_EQ(window().ListView1.Width(), 180);
  EXPECT_EQ(window().ListView2.Height(), 460);
  EXPECT_EQ(window().Command4.Left(), 170);
}

TEST_F(Layout, SnapsBackToItsMinimumSize) {
  Drag(300, 200);
  EXPECT_EQ(window().Width(), 715);
  EXPECT_EQ(window().Height(), 534);
  Drag(715, 534);  // the event caused by restoring the size
  EXPECT_EQ(window().ListView1.Width(), 685);
}

TEST_F(Layout, FoldsTheInformationPaneWithTheSidePane) {
  Do([&] { window().Command4.Click(); });
  Do([&] { window().TabStrip1.SelectByUser(1); });
  EXPECT_TRUE(window().Details.Visible());
  EXPECT_TRUE(window().Picture1.Visible());
  Do([&] { window().Command4.Click(); });
  EXPECT_FALSE(window().Details.Visible());
  Do([&] { window().Command4.Click(); });
  EXPECT_TRUE(window().Details.Visible());
  Do([&] { window().TabStrip1.SelectByUser(0); });
  EXPECT_FALSE(window().Details.Visible());
}

TEST_F(Layout, LeavesTheStatusBarAloneForAnEqualHint) {
  window().Status("x");
  const std::uint64_t changes = sim.windows().Record(window()).changesOf.at("StatusBar1");
  window().Status("x");
  EXPECT_EQ(sim.windows().Record(window()).changesOf.at("StatusBar1"), changes);
  window().Status("y");
  EXPECT_EQ(sim.windows().Record(window()).changesOf.at("StatusBar1"), changes + 1);
}

}  // namespace
}  // namespace pellora
