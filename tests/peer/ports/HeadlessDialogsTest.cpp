#include <gtest/gtest.h>

#include <vector>

#include "Support.h"
#include "async/EventGate.h"
#include "desktop/HeadlessDialogs.h"
#include "desktop/QtEventLoop.h"

namespace pellora {
namespace {

class HeadlessDialogsTest : public testing::Test {
 protected:
  int AnswerTo(const std::string& text, int style) {
    int answer = 0;
    dialogs.Ask({text, "title", style}, [&](int given) { answer = given; });
    EXPECT_EQ(answer, 0) << "an answer is posted";
    EXPECT_TRUE(RunUntil([&] { return answer != 0; }));
    return answer;
  }

  EventGate gate;
  QtEventLoop events{gate};
  HeadlessDialogs dialogs{events};
};

TEST_F(HeadlessDialogsTest, AnswerNoToAllQuestionsButThoseThatAreSet) {
  EXPECT_EQ(AnswerTo("Sure?", kYesNo), kAnswerNo);
  EXPECT_EQ(AnswerTo("Sure?", kYesNo | kQuestion), kAnswerNo);
  EXPECT_EQ(AnswerTo("A message.", kCritical), kAnswerOk);
  dialogs.SetYes([](const std::string& text) { return text == "Keep it?"; });
  EXPECT_EQ(AnswerTo("Keep it?", kYesNo | kQuestion), kAnswerYes);
  EXPECT_EQ(AnswerTo("Sure?", kYesNo | kQuestion), kAnswerNo);
}

TEST_F(HeadlessDialogsTest, SayEverythingInOneLineOnStandardError) {
  testing::internal::CaptureStderr();
  AnswerTo("Two\nlines", kCritical);
  AnswerTo("Sure?", kYesNo);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Pellora: Two lines\nPellora: Sure? (No)\n");
}

TEST_F(HeadlessDialogsTest, ChooseNoPath) {
  int answers = 0;
  const auto answered = [&](const std::optional<std::string>& path) { answers += path ? 100 : 1; };
  dialogs.AskSavePath({"title", "name", "filter"}, answered);
  dialogs.AskFolder({"title", "/"}, answered);
  EXPECT_EQ(answers, 0);
  EXPECT_TRUE(RunUntil([&] { return answers == 2; }));
}

}  // namespace
}  // namespace pellora
