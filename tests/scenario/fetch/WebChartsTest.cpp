// The graph and the map of a download by the web engine.
#include "WebApp.h"
#include "core/WebTexts.h"

namespace pellora {
namespace {

constexpr std::int64_t kSize = 20'000'000;

class WebCharts : public testing::Test {
 protected:
  WebCharts() {
    origin.File("/a.bin", SimContent::Generated(kSize));
    origin.Always({.wire = {.bytesPerSecond = 200'000}});
  }
  void Begin() {
    run.Start();
    run.Add("https://o.example/a.bin");
    run.sim.RunFor(5000);
    window = run.WindowOf();
    ASSERT_NE(window, nullptr);
  }
  void Toggle() {
    run.sim.Do([&] { window->showgraph.Click(); });
    run.sim.RunReady();
  }

  WebApp run;
  SimHttpServer origin{run.sim.network(), "o.example", 443};
  std::shared_ptr<TransferWindow> window;
};

TEST_F(WebCharts, AreHiddenByDefault) {
  Begin();
  EXPECT_FALSE(window->Graph1.Visible());
  EXPECT_FALSE(window->Map1.Visible());
  EXPECT_FALSE(window->showgraph.Checked());
  EXPECT_EQ(run.sim.settings().Get("Pellora", "ShowGraph"), std::nullopt);
}

TEST_F(WebCharts, GraphHasTheSpeedsSinceTheStart) {
  Begin();
  Toggle();
  EXPECT_TRUE(window->Graph1.Visible());
  const std::vector<float>& speeds = window->Graph1.Speeds();
  ASSERT_GE(speeds.size(), 6U);
  EXPECT_LE(speeds.size(), 12U);
  EXPECT_GT(speeds.back(), 100'000.0F);
  EXPECT_NE(window->Graph1.Words().find(window->Graph1.Most()), std::string::npos);
}

// The web engine draws in its pulse, the classic one only what arrives.
TEST_F(WebCharts, GraphShowsThatNothingComesAsItHappensByEitherEngine) {
  SimHttpServer plain{run.sim.network(), "o.example", 80};
  plain.File("/a.bin", SimContent::Generated(kSize));
  for (SimHttpServer* const server : {&origin, &plain}) {
    server->Always({.wire = {.bytesPerSecond = 200'000}, .stallAt = 400'000});
  }
  run.Start();
  run.Add("https://o.example/a.bin");
  run.Add("http://o.example/a.bin");
  run.sim.RunFor(5000);
  for (const int index : {1, 2}) {
    window = run.WindowOf(index);
    ASSERT_NE(window, nullptr);
    Toggle();
  }
  run.sim.RunFor(5000);
  for (const int index : {1, 2}) {
    const std::vector<float> speeds = run.WindowOf(index)->Graph1.Speeds();
    ASSERT_GE(speeds.size(), 6U) << index;
    EXPECT_EQ(speeds.back(), 0.0F) << index;
    run.sim.RunFor(2000);
    EXPECT_EQ(run.WindowOf(index)->Graph1.Speeds().size(), speeds.size() + 4) << index;
  }
}

TEST_F(WebCharts, GraphIsDrawnAtMostTwiceASecond) {
  Begin();
  Toggle();
  int changes = 0;
  std::vector<float> seen = window->Graph1.Speeds();
  for (int step = 0; step < 300; ++step) {
    run.sim.RunFor(10);
    if (window->Graph1.Speeds() == seen) continue;
    seen = window->Graph1.Speeds();
    ++changes;
  }
  EXPECT_GE(changes, 3);
  EXPECT_LE(changes, 6);
}

TEST_F(WebCharts, MapShowsWhatIsHeldAndWhatConnectionsFetch) {
  Begin();
  Toggle();
  EXPECT_TRUE(window->Map1.Visible());
  double held = 0;
  for (const MapSpan& span : window->Map1.Held()) {
    EXPECT_LT(span.begin, span.end);
    held += span.end - span.begin;
  }
  EXPECT_NEAR(held, static_cast<double>(run.Web().received) / kSize, 0.02);
  EXPECT_GT(held, 0);
  ASSERT_FALSE(window->Map1.Awaited().empty());
  for (const MapSpan& span : window->Map1.Awaited()) {
    EXPECT_LT(span.begin, span.end);
    EXPECT_LE(span.end, 1.0);
  }
  EXPECT_NE(window->Map1.Words().find(std::to_string(window->Map1.Awaited().size()) + " connections"),
            std::string::npos);
}

TEST_F(WebCharts, MapOfAFinishedFileIsWhole) {
  Begin();
  Toggle();
  ASSERT_TRUE(run.RunUntilFinished());
  run.sim.RunFor(2000);
  EXPECT_EQ(window->Map1.Held(), (std::vector<MapSpan>{{0, 1}}));
  EXPECT_TRUE(window->Map1.Awaited().empty());
}

TEST_F(WebCharts, ChoiceIsKeptForLaterWindows) {
  run.sim.settings().Set("Pellora", "ShowGraph", "True");
  Begin();
  EXPECT_TRUE(window->showgraph.Checked());
  EXPECT_TRUE(window->Graph1.Visible());
  Toggle();
  EXPECT_FALSE(window->Graph1.Visible());
  EXPECT_FALSE(window->Map1.Visible());
  EXPECT_EQ(run.sim.settings().Get("Pellora", "ShowGraph"), "False");
}

TEST_F(WebCharts, StoreThatFailsLosesTheChoiceAlone) {
  Begin();
  run.sim.settings().failWrites = true;
  Toggle();
  EXPECT_TRUE(window->Graph1.Visible());
}

}  // namespace
}  // namespace pellora
