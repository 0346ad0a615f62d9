#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "SimPlatform.h"
#include "async/Timer.h"
#include "ui/Controls.h"
#include "ui/Window.h"

namespace pellora {
namespace {

class TestWindow final : public Window {
 public:
  TestWindow(Platform& platform, std::string& log) : Window(platform, "TestWindow", "Test"), log_(log) {
    Command1.OnClick = [this] {
      log_ += "click ";
      Unload();
      Label1.Caption = "after";  // the object is still valid
      log_ += Loaded() ? "loaded " : "unloaded ";
    };
    Command2.OnClick = [this] { platform_.tasks.Spawn(UnloadAndWait()); };
    timer.OnTimer = [this] { log_ += "tick "; };
  }
  ~TestWindow() override { log_ += "gone "; }

  Label Label1{this, "Label1", "Hello", 7};
  CommandButton Command1{this, "Command1", "Close"};
  CommandButton Command2{this, "Command2", "Close later"};
  Timer timer{platform_, 100};
  bool keep = false;
  bool go = false;

 protected:
  void OnLoad() override { log_ += "load "; }
  void OnQueryUnload(bool& cancel, UnloadMode mode) override { cancel = keep && mode == UnloadMode::UserClosed; }
  void OnUnload() override { log_ += "unload "; }
  void OnSized() override { log_ += "sized "; }
  void OnResize() override { log_ += "resize "; }

 private:
  Task<> UnloadAndWait() {
    const auto hold = Hold();
    Unload();
    co_await platform_.tasks.Until([this] { return go; });
    log_ += "waited ";
  }

  std::string& log_;
};

class WindowTest : public testing::Test {
 protected:
  std::shared_ptr<TestWindow> NewWindow() { return std::make_shared<TestWindow>(sim.platform(), log); }

  std::string log;  // must outlive the windows
  SimPlatform sim;
};

TEST_F(WindowTest, ShowLoadsOnceAndNotifiesTheView) {
  const auto window = NewWindow();
  EXPECT_FALSE(window->Loaded());
  window->Show();
  window->Show();
  window->Hide();
  window->Raise();
  EXPECT_EQ(log, "load ");
  EXPECT_FALSE(window->Visible());
  const SimViewRecord& view = sim.windows().Record(*window);
  EXPECT_EQ(view.shown, 2);
  EXPECT_EQ(view.hidden, 1);
  EXPECT_EQ(view.raised, 1);
  EXPECT_EQ(sim.windows().Only<TestWindow>(), window.get());
}

TEST_F(WindowTest, LoadedWindowWithoutOwnerStaysUntilItUnloads) {
  NewWindow()->Show();
  EXPECT_EQ(log, "load ");
  sim.windows().Only<TestWindow>()->Unload();
  EXPECT_EQ(log, "load unload gone ");
  EXPECT_EQ(sim.windows().Count("TestWindow"), 0U);
}

TEST_F(WindowTest, WindowUnloadedInItsHandlerStaysValidUntilTheEventEnds) {
  NewWindow()->Show();
  sim.windows().Only<TestWindow>()->Command1.Click();
  EXPECT_EQ(log, "load click unload unloaded gone ");
}

TEST_F(WindowTest, TaskKeepsItsUnloadedWindowUntilItEnds) {
  NewWindow()->Show();
  TestWindow* const window = sim.windows().Only<TestWindow>();
  window->Command2.Click();
  sim.RunFor(1000);
  EXPECT_EQ(log, "load unload ");
  window->go = true;
  sim.RunFor(10);
  EXPECT_EQ(log, "load unload waited gone ");
}

TEST_F(WindowTest, NoTimerTicksOnceItsWindowIsGone) {
  NewWindow()->Show();
  sim.windows().Only<TestWindow>()->timer.SetEnabled(true);
  sim.RunFor(150);
  sim.windows().Only<TestWindow>()->ViewClosed();
  sim.RunFor(1000);
  EXPECT_EQ(log, "load tick unload gone ");
}

TEST_F(WindowTest, QueryUnloadCancelsOnlyTheUsersClose) {
  const auto window = NewWindow();
  window->keep = true;
  window->Show();
  window->ViewClosed();
  EXPECT_TRUE(window->Loaded());
  EXPECT_TRUE(window->Unload());
  EXPECT_FALSE(window->Loaded());
}

TEST_F(WindowTest, UnloadedWindowCanBeLoadedAgain) {
  const auto window = NewWindow();
  window->Show();
  window->Unload();
  window->Show();
  EXPECT_EQ(log, "load unload load ");
  EXPECT_EQ(sim.windows().Records().size(), 2U);
}

TEST_F(WindowTest, ChangesOfWindowAndControlsReachTheView) {
  const auto window = NewWindow();
  window->Label1.Caption = "before loading";
  window->Show();
  window->Label1.Caption = "new";
  window->Label1.Caption = "new";
  window->Caption = "Other";
  const SimViewRecord& view = sim.windows().Record(*window);
  EXPECT_EQ(view.changes, 2U);
  EXPECT_EQ(view.changesOf.at("Label1"), 1U);
}

TEST_F(WindowTest, ResizingIsOneEventWithAllSizesSet) {
  const auto window = NewWindow();
  window->Show();
  window->ViewResized(400, 300, 392, 270);
  EXPECT_EQ(window->Width(), 400);
  EXPECT_EQ(window->InnerHeight(), 270);
  EXPECT_EQ(log, "load resize ");
}

TEST_F(WindowTest, SizeAtShowingSetsAllSizesWithoutAResize) {
  const auto window = NewWindow();
  window->Show();
  window->ViewSized(400, 300, 392, 270);
  EXPECT_EQ(window->Height(), 300);
  EXPECT_EQ(window->InnerWidth(), 392);
  EXPECT_EQ(log, "load sized ");
}

TEST_F(WindowTest, ControlsAreFoundByName) {
  const auto window = NewWindow();
  EXPECT_EQ(window->Controls().size(), 3U);
  EXPECT_EQ(window->Find("Label1"), &window->Label1);
  EXPECT_EQ(window->Find("Label2"), nullptr);
}

TEST(WindowLifetime, DestroyedPlatformReleasesLoadedWindows) {
  std::string log;
  {
    SimPlatform sim;
    for (int i = 0; i < 3; ++i) std::make_shared<TestWindow>(sim.platform(), log)->Show();
    sim.windows().Loaded().front()->Find("Command2");
    static_cast<TestWindow*>(sim.windows().Loaded().front())->Command2.Click();
  }
  EXPECT_EQ(log, "load load load unload gone gone gone ");
}

}  // namespace
}  // namespace pellora
