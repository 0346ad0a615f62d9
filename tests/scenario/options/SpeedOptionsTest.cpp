// The limit of speed in the options dialog.
#include <string>
#include <utility>

#include "OptionsFixture.h"
#include "core/SpeedLimits.h"
#include "core/WebTexts.h"
#include "ports/Dialogs.h"

namespace pellora {
namespace {

class SpeedOptions : public OptionsFixture {
 protected:
  std::string Say(WebText text) { return TextOf(program(), text); }
};

TEST_F(SpeedOptions, ShowNoLimitAsAnEmptyField) {
  Open();
  EXPECT_EQ(Dialog().Text12.Text(), "");
  EXPECT_FALSE(Dialog().Check13.Value());
  EXPECT_EQ(Dialog().Text13.Text(), "8");
  EXPECT_EQ(Dialog().Text14.Text(), "18");
  Accepts();
  EXPECT_EQ(Stored("SpeedLimit"), std::nullopt);
  EXPECT_EQ(Stored("SpeedLimitFrom"), std::nullopt);
}

TEST_F(SpeedOptions, StoreTheLimitAndItsHours) {
  Open();
  Type(Dialog().Text12, " 500 ");
  Tick(Dialog().Check13, true);
  Type(Dialog().Text13, "22");
  Type(Dialog().Text14, "6");
  Accepts();
  EXPECT_EQ(Stored("SpeedLimit"), "500");
  EXPECT_EQ(Stored("SpeedLimitTimed"), "True");
  EXPECT_EQ(Stored("SpeedLimitFrom"), "22");
  EXPECT_EQ(Stored("SpeedLimitTo"), "6");
  Show();
  EXPECT_EQ(Dialog().Text12.Text(), "500");
  EXPECT_TRUE(Dialog().Check13.Value());
  EXPECT_EQ(Dialog().Text13.Text(), "22");
}

TEST_F(SpeedOptions, AnEmptyFieldOrZeroLiftsTheLimit) {
  Start();
  for (const char* const none : {"", "0", " "}) {
    Set().SpeedLimit = 500;
    Show();
    Type(Dialog().Text12, none);
    Accepts();
    EXPECT_EQ(program().settings.SpeedLimit, 0) << none;
  }
}

TEST_F(SpeedOptions, StoreTheFormerLimitWhenTheyLiftIt) {
  Open();
  Type(Dialog().Text12, "500");
  Accepts();
  EXPECT_EQ(Stored("FormerSpeedLimit"), std::nullopt);
  Show();
  Type(Dialog().Text12, "");
  Accepts();
  EXPECT_EQ(Stored("SpeedLimit"), "0");
  EXPECT_EQ(Stored("FormerSpeedLimit"), "500");
}

TEST_F(SpeedOptions, RefuseWhatIsNoLimitAndSayWhy) {
  Open();
  for (const char* const bad : {"-1", "1.5", "fast", "10000001", "99999999999999999999", "5 MB"}) {
    Type(Dialog().Text12, bad);
    Refuses(Say(WebText::BadSpeedLimit), kInformation);
  }
  EXPECT_EQ(program().settings.SpeedLimit, 0);
}

TEST_F(SpeedOptions, RefuseHoursThatAreNoneWhereTheyMatter) {
  Open();
  Type(Dialog().Text12, "100");
  Tick(Dialog().Check13, true);
  for (const char* const bad : {"24", "-1", "", "8:30", "x"}) {
    Type(Dialog().Text13, bad);
    Refuses(Say(WebText::BadSpeedLimitHours), kInformation);
  }
  Tick(Dialog().Check13, false);
  Accepts();
  EXPECT_EQ(program().settings.SpeedLimit, 100);
  EXPECT_EQ(program().settings.SpeedLimitFrom, 8);
}

// With OK, not at the next tick.
TEST_F(SpeedOptions, AreInForceAtOnce) {
  Open();
  Type(Dialog().Text12, "64");
  EXPECT_FALSE(program().speed->AnyLimit());
  Accepts();
  EXPECT_TRUE(program().speed->AnyLimit());
}

}  // namespace
}  // namespace pellora
