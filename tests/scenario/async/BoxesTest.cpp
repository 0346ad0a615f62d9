#include <gtest/gtest.h>

#include <string>

#include "SimPlatform.h"
#include "async/Boxes.h"
#include "async/TaskLoop.h"

namespace pellora {
namespace {

class BoxesTest : public testing::Test {
 protected:
  void Ask(const std::string& text, int style = kYesNo, const void* owner = nullptr) {
    BoxRequest request{text, "title", style};
    sim.tasks().Spawn(AskAndLog(&boxes, &log, owner, request));
  }
  void AskSave(const std::string& name) {
    sim.tasks().Spawn(SaveAndLog(&boxes, &log, {"Save as", name, "All files|*.*"}));
  }
  static Task<> AskAndLog(Boxes* boxes, std::string* log, const void* owner, BoxRequest request) {
    const int answer = co_await boxes->Ask(owner, request);
    *log += request.text + "=" + std::to_string(answer) + " ";
  }
  static Task<> SaveAndLog(Boxes* boxes, std::string* log, SaveRequest request) {
    const std::optional<std::string> path = co_await boxes->AskSavePath(request);
    *log += request.proposal + "=" + path.value_or("cancelled") + " ";
  }

  SimPlatform sim;
  Boxes boxes{sim.platform()};
  std::string log;
};

TEST_F(BoxesTest, AnswerIsPostedToTheAskingTask) {
  Ask("sure?");
  EXPECT_EQ(sim.dialogs().Next().text, "sure?");
  sim.RunFor(60'000);
  EXPECT_EQ(log, "");
  sim.dialogs().AnswerNext(kAnswerYes);
  EXPECT_EQ(log, "");
  sim.RunReady();
  EXPECT_EQ(log, "sure?=6 ");
}

TEST_F(BoxesTest, OpensBoxesAndSaveDialogsOneAtATimeInOrder) {
  Ask("one");
  AskSave("two");
  Ask("three", kOkOnly);
  EXPECT_EQ(sim.dialogs().OpenCount(), 1U);
  sim.dialogs().AnswerNext(kAnswerNo);
  sim.RunReady();
  EXPECT_EQ(sim.dialogs().OpenCount(), 0U);
  EXPECT_EQ(sim.dialogs().OpenSaveCount(), 1U);
  sim.dialogs().AnswerNextSave("/tmp/two");
  sim.RunReady();
  sim.dialogs().AnswerNext(kAnswerOk);
  sim.RunReady();
  EXPECT_EQ(log, "one=7 two=/tmp/two three=1 ");
  EXPECT_EQ(sim.dialogs().MostOpen(), 1U);
}

TEST_F(BoxesTest, CancelledSaveDialogReturnsNoPath) {
  AskSave("a.zip");
  sim.dialogs().AnswerNextSave(std::nullopt);
  sim.RunReady();
  EXPECT_EQ(log, "a.zip=cancelled ");
}

TEST_F(BoxesTest, FindsOpenAndWaitingBoxesByOwnerAndText) {
  const int mine = 0, other = 0;
  Ask("first", kYesNo, &mine);
  Ask("second", kYesNo, &mine);
  EXPECT_TRUE(boxes.IsOpen(&mine, "first"));
  EXPECT_TRUE(boxes.IsOpen(&mine, "second"));
  EXPECT_FALSE(boxes.IsOpen(&other, "first"));
  sim.dialogs().AnswerNext(kAnswerYes);
  sim.RunReady();
  EXPECT_FALSE(boxes.IsOpen(&mine, "first"));
  EXPECT_TRUE(boxes.IsOpen(&mine, "second"));
}

TEST_F(BoxesTest, RulesAnswerByTextAfterTheirDelay) {
  sim.dialogs().AutoAnswer("delete", kAnswerYes, 500);
  sim.dialogs().AutoAnswer("", kAnswerNo);
  Ask("please delete it");
  Ask("anything else");
  Ask("to be read", kInformation);
  sim.RunUntilIdle();
  EXPECT_EQ(log, "please delete it=6 anything else=7 to be read=1 ");
  EXPECT_EQ(sim.Elapsed(), 500);
}

TEST_F(BoxesTest, TimersAndSocketsRunWhileABoxIsOpen) {
  int ticks = 0;
  const auto alarm = sim.loop().NewAlarm([&] { ++ticks; });
  alarm->Start(100, true);
  Ask("open");
  sim.RunFor(1000);
  EXPECT_EQ(ticks, 10);
}

TEST(BoxesLifetime, AnswerAfterDestructionIsDropped) {
  SimPlatform sim;
  std::string log;
  {
    Boxes boxes(sim.platform());
    sim.platform().dialogs.Ask({"other", "", kOkOnly}, [&](int) { log += "other"; });
    sim.tasks().Spawn([](Boxes* asked, std::string* out) -> Task<> {
      BoxRequest request{"box", "", kOkOnly};
      const int answer = co_await asked->Ask(nullptr, request);
      *out += std::to_string(answer);
    }(&boxes, &log));
  }
  sim.dialogs().AnswerNext(kAnswerOk);
  sim.dialogs().AnswerNext(kAnswerOk);
  sim.RunReady();
  EXPECT_EQ(log, "other");
}

TEST_F(BoxesTest, AnswerWithoutAButtonIsATestError) {
  EXPECT_THROW(sim.dialogs().AnswerNext(kAnswerOk), std::logic_error);
  Ask("sure?");
  EXPECT_THROW(sim.dialogs().AnswerNext(kAnswerOk), std::logic_error);
}

}  // namespace
}  // namespace pellora
