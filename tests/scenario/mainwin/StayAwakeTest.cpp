// Asking the desktop not to suspend while bytes arrive, of either engine.
#include "MainWindowFixture.h"
#include "core/WebTexts.h"

namespace pellora {
namespace {

class Awake : public MainWindowFixture {
 protected:
  Awake() {
    Start();
    Record("http://h/a");
    Transferring(1);
  }
  // A byte in every tick for that long.
  void Flow(int milliseconds) {
    for (int passed = 0; passed < milliseconds; passed += 500) {
      program().CountReceived(1000);
      sim.RunFor(500);
    }
  }
  SimInhibit& Desktop() { return sim.inhibit(); }
};

TEST_F(Awake, IsNotAskedForWithoutBytes) {
  sim.RunFor(60'000);
  EXPECT_EQ(Desktop().holds, 0);
}

TEST_F(Awake, LastsUntilFiveSecondsAfterTheLastByte) {
  Flow(10'000);
  EXPECT_TRUE(Desktop().held);
  EXPECT_EQ(Desktop().holds, 1);
  EXPECT_EQ(Desktop().reason, TextOf(program(), WebText::AwakeBecause));
  sim.RunFor(4000);
  EXPECT_TRUE(Desktop().held);
  sim.RunFor(2000);
  EXPECT_FALSE(Desktop().held);
  Flow(1000);
  EXPECT_TRUE(Desktop().held);
  EXPECT_EQ(Desktop().holds, 2);
}

TEST_F(Awake, CountsTheWebEnginesBytes) {
  program().CountWebReceived(1000);
  sim.RunFor(500);
  EXPECT_TRUE(Desktop().held);
}

TEST_F(Awake, IsNotAskedForByBytesOfNoDownload) {
  Rec(1).Active = false;
  Flow(5000);
  EXPECT_EQ(Desktop().holds, 0);
}

TEST_F(Awake, FollowsItsSettingAtOnce) {
  program().settings.StayAwake = false;
  Flow(2000);
  EXPECT_EQ(Desktop().holds, 0);
  program().settings.StayAwake = true;
  Flow(1000);
  EXPECT_TRUE(Desktop().held);
  program().settings.StayAwake = false;
  Flow(500);
  EXPECT_FALSE(Desktop().held);
}

TEST_F(Awake, EndsWithTheProgram) {
  Flow(1000);
  ASSERT_TRUE(Desktop().held);
  Do([&] { app->SaveAndQuit(); });
  EXPECT_FALSE(Desktop().held);
}

TEST_F(Awake, IsAskedForAgainWhereTheDesktopCouldNotBe) {
  Desktop().fails = true;
  Flow(2000);
  EXPECT_FALSE(Desktop().held);
  Desktop().fails = false;
  Flow(500);
  EXPECT_TRUE(Desktop().held);
}

}  // namespace
}  // namespace pellora
