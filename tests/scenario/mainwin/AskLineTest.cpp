// The window that asks for one line.
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "MainWindowFixture.h"
#include "async/TaskLoop.h"
#include "lang/Language.h"
#include "mainwin/AskLine.h"

namespace pellora {
namespace {

using Answers = std::vector<std::optional<std::string>>;

Task<> AskAndNote(std::shared_ptr<AskLine> window, LineQuestion question, Answers* answers) {
  const std::optional<std::string> answer = co_await window->Ask(std::move(question));
  answers->push_back(answer);
}

class AskLineWindow : public MainWindowFixture {
 protected:
  AskLine& asked() { return *window().askLine; }
  void Ask(LineQuestion question) {
    Do([&] { sim.tasks().Spawn(AskAndNote(window().askLine, std::move(question), &answers)); });
  }
  void Type(const std::string& text) {
    Do([&] { asked().Text1.SetByUser(text); });
  }
  void Press(CommandButton& button) {
    Do([&] { button.Click(); });
  }
  static LineQuestion Numbered() {
    return {"A title", "A number :", "12", [](const std::string& text) {
              return text.find_first_not_of("0123456789") == std::string::npos ? "" : "Not a number.";
            }};
  }

  Answers answers;
};

TEST_F(AskLineWindow, ShowsItsQuestionWithTheTextToChange) {
  Start();
  Ask(Numbered());
  EXPECT_TRUE(asked().Visible());
  EXPECT_EQ(asked().Caption(), "A title");
  EXPECT_EQ(asked().Label1.Caption(), "A number :");
  EXPECT_EQ(asked().Text1.Text(), "12");
  EXPECT_FALSE(asked().Label2.Visible());
  EXPECT_EQ(asked().Command1.Caption(), Text(635));
  EXPECT_EQ(asked().Command2.Caption(), Text(636));
  EXPECT_TRUE(answers.empty());
}

TEST_F(AskLineWindow, AnswersWithTheTextWithoutBlanksAroundIt) {
  Start();
  Ask(Numbered());
  Type("  34 ");
  Press(asked().Command1);
  EXPECT_EQ(answers, Answers{"34"});
  EXPECT_FALSE(asked().Loaded());
}

TEST_F(AskLineWindow, StaysOpenAndSaysWhyATextIsRefused) {
  Start();
  Ask(Numbered());
  Type("many");
  const int selected = asked().Text1.SelectAll();
  Press(asked().Command1);
  EXPECT_TRUE(asked().Visible());
  EXPECT_TRUE(asked().Label2.Visible());
  EXPECT_EQ(asked().Label2.Caption(), "Not a number.");
  EXPECT_GT(asked().Text1.SelectAll(), selected);
  EXPECT_TRUE(answers.empty());
  Type("5");
  Press(asked().Command1);
  EXPECT_EQ(answers, Answers{"5"});
}

TEST_F(AskLineWindow, HasNoAnswerAfterCancelOrAClosedFrame) {
  Start();
  Ask(Numbered());
  Press(asked().Command2);
  Ask(Numbered());
  Do([&] { asked().ViewClosed(); });
  EXPECT_EQ(answers, (Answers{std::nullopt, std::nullopt}));
  EXPECT_FALSE(asked().Loaded());
}

TEST_F(AskLineWindow, AsksAgainWithoutTheFormerMessage) {
  Start();
  Ask(Numbered());
  Type("many");
  Press(asked().Command1);
  Press(asked().Command2);
  Ask({"Other", "Another :", "text", {}});
  EXPECT_FALSE(asked().Label2.Visible());
  EXPECT_EQ(asked().Text1.Text(), "text");
  Press(asked().Command1);
  EXPECT_EQ(answers, (Answers{std::nullopt, "text"}));
}

TEST_F(AskLineWindow, AsksOneQuestionAtATime) {
  Start();
  Ask(Numbered());
  Ask({"Other", "Another :", "text", {}});
  EXPECT_EQ(answers, Answers{std::nullopt});
  EXPECT_EQ(asked().Caption(), "A title");
  Press(asked().Command1);
  EXPECT_EQ(answers, (Answers{std::nullopt, "12"}));
}

TEST_F(AskLineWindow, FollowsTheLanguage) {
  sim.disk().Lose("/prog/english.txt");
  Start();
  sim.disk().Put("/prog/english.txt", SimContent(std::string("635=Gut\n636=Nicht\n")));
  Ask(Numbered());
  Do([&] { LoadLanguage(program(), "english"); });
  EXPECT_EQ(asked().Command1.Caption(), "Gut");
  EXPECT_EQ(asked().Label1.Caption(), "A number :");
  Press(asked().Command2);
}

}  // namespace
}  // namespace pellora
