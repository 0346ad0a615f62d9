// The window that asks for one line: its keys, its message, its names for assistive technology.
#include <gtest/gtest.h>

#include <QAccessible>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <optional>
#include <utility>
#include <vector>

#include "AppStage.h"
#include "async/TaskLoop.h"
#include "mainwin/AskLine.h"

namespace pellora {
namespace {

using namespace testing_views;

using Answers = std::vector<std::optional<std::string>>;

Task<> AskAndNote(std::shared_ptr<AskLine> window, LineQuestion question, Answers* answers) {
  const std::optional<std::string> answer = co_await window->Ask(std::move(question));
  answers->push_back(answer);
}

class AskLineForm : public testing::Test {
 protected:
  void SetUp() override {
    LineQuestion question{"Change address", "New address :", "https://old.example/file",
                          [](const std::string& text) { return text.empty() ? "An address is missing." : ""; }};
    stage.Do([&] { stage.sim.tasks().Spawn(AskAndNote(stage.Main().askLine, std::move(question), &answers)); });
    form = stage.Form(*stage.Main().askLine);
    ASSERT_NE(form, nullptr);
    form->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(form));
  }
  void Press(Qt::Key key) {
    QWidget* const focus = QApplication::focusWidget();
    ASSERT_NE(focus, nullptr);
    stage.Do([&] { QTest::keyClick(focus, key); });
  }
  QLineEdit& Edit() { return *stage.Find<QLineEdit>(*stage.Main().askLine, "Text1"); }
  QLabel& Message() { return *stage.Find<QLabel>(*stage.Main().askLine, "Label2"); }

  AppStage stage;
  Answers answers;
  QWidget* form = nullptr;
};

TEST_F(AskLineForm, TypingReplacesTheTextAndEnterAccepts) {
  EXPECT_EQ(Edit().selectedText(), QStringLiteral("https://old.example/file"));
  QTest::keyClicks(QApplication::focusWidget(), QStringLiteral("new"));
  Press(Qt::Key_Return);
  EXPECT_EQ(answers, Answers{"new"});
  EXPECT_FALSE(stage.Main().askLine->Loaded());
}

TEST_F(AskLineForm, EscapeCancels) {
  Press(Qt::Key_Escape);
  EXPECT_EQ(answers, Answers{std::nullopt});
  EXPECT_FALSE(stage.Main().askLine->Loaded());
}

TEST_F(AskLineForm, GrowsForTheMessageThatRefusesTheText) {
  EXPECT_FALSE(Message().isVisible());
  const int height = form->height();
  Press(Qt::Key_Delete);
  Press(Qt::Key_Return);
  EXPECT_TRUE(answers.empty());
  EXPECT_TRUE(Message().isVisible());
  EXPECT_EQ(Message().text(), QStringLiteral("An address is missing."));
  EXPECT_GT(form->height(), height);
  Press(Qt::Key_Escape);
}

TEST_F(AskLineForm, TabReachesAllOfItInOrder) {
  std::vector<QString> order;
  for (int i = 0; i < 3; ++i) {
    order.push_back(QApplication::focusWidget()->objectName());
    Press(Qt::Key_Tab);
  }
  EXPECT_EQ(order,
            (std::vector<QString>{QStringLiteral("Text1"), QStringLiteral("Command1"), QStringLiteral("Command2")}));
  Press(Qt::Key_Escape);
}

TEST_F(AskLineForm, NamesItsTextBoxByTheCaption) {
  QAccessibleInterface* const described = QAccessible::queryAccessibleInterface(&Edit());
  ASSERT_NE(described, nullptr);
  EXPECT_EQ(described->text(QAccessible::Name), QStringLiteral("New address :"));
  Press(Qt::Key_Escape);
}

}  // namespace
}  // namespace pellora
