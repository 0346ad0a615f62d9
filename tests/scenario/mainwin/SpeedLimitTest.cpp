// The limit of speed of one download, asked for from the popup.
#include "MainWindowFixture.h"
#include "core/SpeedLimit.h"
#include "core/SpeedLimits.h"
#include "core/WebTexts.h"
#include "mainwin/AskLine.h"

namespace pellora {
namespace {

TEST(ReadSpeedLimit, TakesWholeNumbersAndNothingForNone) {
  struct Case {
    const char* text;
    std::optional<std::int32_t> limit;
  };
  for (const Case& c :
       {Case{"", 0}, Case{" ", 0}, Case{"0", 0}, Case{"16", 16}, Case{" 100 ", 100}, Case{"10000000", 10'000'000},
        Case{"10000001", std::nullopt}, Case{"-1", std::nullopt}, Case{"+1", std::nullopt}, Case{"1.5", std::nullopt},
        Case{"1 MB", std::nullopt}, Case{"99999999999999999999", std::nullopt}}) {
    EXPECT_EQ(ReadSpeedLimit(c.text), c.limit) << c.text;
  }
  EXPECT_EQ(SpeedLimitText(0), "");
  EXPECT_EQ(SpeedLimitText(16), "16");
}

class SpeedLimitEntry : public MainWindowFixture {
 protected:
  void SetUp() override {
    Start();
    program().settings.CheckClipboard = false;
    index = Record("http://h/a.zip");
    window().RefreshRows(0, 1);
    ASSERT_TRUE(Select(window().ListView1, index));
  }
  void Choose() {
    Do([&] { window().ListView1.RightClick(); });
    Do([&] { window().speedlimit.Click(); });
  }
  void Type(const std::string& text) {
    Do([&] { Asked().Text1.SetByUser(text); });
    Do([&] { Asked().Command1.Click(); });
  }
  AskLine& Asked() { return *window().askLine; }

  std::int16_t index = 0;
};

TEST_F(SpeedLimitEntry, AsksWithTheLimitThatIsSet) {
  Choose();
  EXPECT_TRUE(Asked().Visible());
  EXPECT_EQ(Asked().Text1.Text(), "");
  EXPECT_EQ(Asked().Label1.Caption(), TextOf(program(), WebText::SpeedLimitQuestion));
  Type("100");
  EXPECT_FALSE(Asked().Visible());
  EXPECT_EQ(SpeedLimitOf(program(), index), 102400);
  Choose();
  EXPECT_EQ(Asked().Text1.Text(), "100");
  Type("");
  EXPECT_EQ(SpeedLimitOf(program(), index), 0);
}

TEST_F(SpeedLimitEntry, ALimitOfLessThanOneKiBIsNotShownAsNone) {
  SetSpeedLimitOf(program(), index, 10);
  Choose();
  EXPECT_EQ(Asked().Text1.Text(), "1");
}

TEST_F(SpeedLimitEntry, SaysWhatIsWrongWithABadValue) {
  Choose();
  Type("fast");
  EXPECT_TRUE(Asked().Visible());
  EXPECT_EQ(Asked().Label2.Caption(), TextOf(program(), WebText::BadSpeedLimit));
  EXPECT_EQ(SpeedLimitOf(program(), index), 0);
}

TEST_F(SpeedLimitEntry, CancelChangesNothing) {
  SetSpeedLimitOf(program(), index, 2048);
  Choose();
  Do([&] { Asked().Text1.SetByUser("7"); });
  Do([&] { Asked().Command2.Click(); });
  EXPECT_EQ(SpeedLimitOf(program(), index), 2048);
}

TEST_F(SpeedLimitEntry, LimitsNoOtherDownloadThatTakesThePlaceMeanwhile) {
  Choose();
  program().RaiseSerial(index);
  Type("100");
  EXPECT_EQ(SpeedLimitOf(program(), index), 0);
}

TEST_F(SpeedLimitEntry, IsThereForWhatIsNotFinished) {
  Do([&] { window().ListView1.RightClick(); });
  EXPECT_TRUE(window().speedlimit.Enabled());
  Rec(index).Finished = true;
  Do([&] { window().ListView1.RightClick(); });
  EXPECT_FALSE(window().speedlimit.Enabled());
}

class SpeedLimitAtTheStart : public MainWindowFixture {};

TEST_F(SpeedLimitAtTheStart, HoldsBeforeTheFirstTick) {
  sim.settings().Set("Pellora", "SpeedLimit", "100");
  const double begin = sim.Elapsed();
  Start();
  EXPECT_TRUE(program().speed->AnyLimit());
  EXPECT_LT(sim.Elapsed() - begin, 500);
}

}  // namespace
}  // namespace pellora
