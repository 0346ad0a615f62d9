// The form of the options dialog: every control bound, usable by keyboard, named for assistive technology.
#include <gtest/gtest.h>

#include <QAccessible>
#include <QCheckBox>
#include <QComboBox>
#include <QFile>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTabBar>
#include <QTest>
#include <QToolButton>
#include <set>

#include "OptionsStage.h"
#include "desktop/DisplayText.h"
#include "desktop/views/ObjectNames.h"
#include "ui/Controls.h"

namespace pellora {
namespace {

using namespace testing_views;

class OptionsForm : public testing::Test {
 protected:
  OptionsForm() { stage.SetLanguage("english"); }
  void Show() {
    stage.Show();
    ASSERT_NE(stage.form, nullptr);
    stage.form->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(stage.form));
  }
  void Press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
    QWidget* focus = QApplication::focusWidget();
    QTest::keyClick(focus != nullptr ? focus : stage.form, key, modifiers);
    Stage::Settle();
  }
  QString Shown(const char* name) const { return stage.Find<QLineEdit>(name)->text(); }

  OptionsStage stage{QStringLiteral(PELLORA_LANGUAGES)};
};

TEST_F(OptionsForm, HasAWidgetForEveryControl) {
  Show();
  for (const Control* control : stage.window->Controls()) {
    const auto* widget = stage.form->findChild<QWidget*>(ObjectName(control->Name));
    ASSERT_NE(widget, nullptr) << control->Name;
    EXPECT_TRUE(widget->property("bound").toBool()) << control->Name;
  }
}

TEST_F(OptionsForm, ShowsSettingsAndCaptions) {
  Show();
  EXPECT_EQ(stage.form->windowTitle(), QStringLiteral("Pellora !   Options"));
  EXPECT_EQ(Shown("Text2"), QStringLiteral("/home/user/Documents/Pellora/downloads/"));
  EXPECT_EQ(Shown("Text3"), QStringLiteral("4"));
  EXPECT_EQ(Shown("Text5"), QStringLiteral("11/21/2026"));
  EXPECT_EQ(Shown("Text6"), QStringLiteral("11:30 PM"));
  EXPECT_EQ(Shown("Text10"), QStringLiteral("4:15 AM"));
  EXPECT_TRUE(stage.Find<QCheckBox>("Check1")->isChecked());
  EXPECT_FALSE(stage.Find<QCheckBox>("Check3")->isChecked());
  EXPECT_TRUE(stage.Find<QRadioButton>("Option1")->isChecked());
  EXPECT_EQ(stage.Find<QGroupBox>("Frame4")->title(), QStringLiteral("Proxy settings :"));
  EXPECT_EQ(stage.Find<QTabBar>("TabStrip1")->tabText(2), QStringLiteral("Scheduling"));
  EXPECT_EQ(stage.Find<QComboBox>("Combo1")->currentText(), QStringLiteral("English"));
  EXPECT_GE(stage.Find<QComboBox>("Combo1")->findText(QStringLiteral("Deutsch")), 0);
}

TEST_F(OptionsForm, ShowsThePageOfItsTab) {
  Show();
  auto* tabs = stage.Find<QTabBar>("TabStrip1");
  tabs->setCurrentIndex(1);
  Stage::Settle();
  EXPECT_FALSE(stage.Find<QWidget>("Frame1")->isVisible());
  EXPECT_TRUE(stage.Find<QWidget>("Frame2")->isVisible());
  EXPECT_TRUE(stage.Find<QWidget>("Frame4")->isVisible());
}

TEST_F(OptionsForm, SwitchesPagesByKeyboardFromAnyField) {
  Show();
  stage.Find<QLineEdit>("Text9")->setFocus();
  std::vector<int> pages;
  for (int i = 0; i < 5; ++i) {
    Press(Qt::Key_Tab, Qt::ControlModifier);
    pages.push_back(stage.window->TabStrip1.Selected());
  }
  EXPECT_EQ(pages, (std::vector<int>{1, 2, 3, 4, 0}));
  Press(Qt::Key_Backtab, Qt::ControlModifier | Qt::ShiftModifier);
  EXPECT_EQ(stage.window->TabStrip1.Selected(), 4);
}

TEST_F(OptionsForm, ReachesEveryControlOfAPageByTabInOrder) {
  Show();
  stage.Find<QTabBar>("TabStrip1")->setFocus();
  std::vector<std::string> reached;
  for (int i = 0; i < 14; ++i) {
    Press(Qt::Key_Tab);
    reached.push_back(QApplication::focusWidget()->objectName().toStdString());
  }
  EXPECT_EQ(reached, (std::vector<std::string>{"Check10", "Check2", "Check5", "Check4", "Check3", "Check1", "Text9",
                                               "Text2", "Browse2", "Text1", "Browse1", "OK", "Command1", "TabStrip1"}));
}

TEST_F(OptionsForm, NamesEveryControlForAssistiveTechnology) {
  Show();
  for (int page = 0; page < 5; ++page) {
    stage.Find<QTabBar>("TabStrip1")->setCurrentIndex(page);
    Stage::Settle();
    for (QWidget* widget : stage.form->findChildren<QWidget*>()) {
      if (!widget->isVisible() || (widget->focusPolicy() & Qt::TabFocus) == 0) continue;
      QAccessibleInterface* interface = QAccessible::queryAccessibleInterface(widget);
      ASSERT_NE(interface, nullptr);
      EXPECT_FALSE(interface->text(QAccessible::Name).isEmpty()) << widget->objectName().toStdString();
    }
  }
}

TEST_F(OptionsForm, ForwardsUserInput) {
  Show();
  auto* text = stage.Find<QLineEdit>("Text9");
  text->setFocus();
  text->selectAll();
  QTest::keyClicks(text, QStringLiteral("ZIP,x"));
  QTest::mouseClick(stage.Find<QCheckBox>("Check3"), Qt::LeftButton, {}, {8, 8});
  EXPECT_EQ(stage.window->Text9.Text(), "ZIP,x");
  EXPECT_TRUE(stage.window->Check3.Value());
}

TEST_F(OptionsForm, ChoosesWhatTheWebEngineFetches) {
  Show();
  stage.Find<QTabBar>("TabStrip1")->setCurrentIndex(4);
  Stage::Settle();
  EXPECT_TRUE(stage.Find<QWidget>("Frame6")->isVisible());
  EXPECT_TRUE(stage.Find<QRadioButton>("Option3")->isChecked());
  for (const char* const name : {"Option5", "Option4", "Option3", "Option4"}) {
    QTest::mouseClick(stage.Find<QRadioButton>(name), Qt::LeftButton, {}, {8, 8});
    Stage::Settle();
    for (const OptionButton* button : {&stage.window->Option3, &stage.window->Option4, &stage.window->Option5}) {
      EXPECT_EQ(button->Value(), button->Name == name) << name;
      EXPECT_EQ(stage.Find<QRadioButton>(button->Name.c_str())->isChecked(), button->Name == name) << name;
    }
  }
  auto* const path = stage.Find<QLineEdit>("Text11");
  path->setFocus();
  QTest::keyClicks(path, QStringLiteral("/ca.pem"));
  EXPECT_EQ(stage.window->Text11.Text(), "/ca.pem");
}

TEST_F(OptionsForm, SetsOneOfTheTwoTimes) {
  Show();
  stage.Find<QTabBar>("TabStrip1")->setCurrentIndex(2);
  Stage::Settle();
  QTest::mouseClick(stage.Find<QRadioButton>("Option2"), Qt::LeftButton, {}, {8, 8});
  Stage::Settle();
  EXPECT_TRUE(stage.window->Option2.Value());
  EXPECT_FALSE(stage.window->Option1.Value());
  EXPECT_FALSE(stage.Find<QRadioButton>("Option1")->isChecked());
}

TEST_F(OptionsForm, ChoosesALanguageByKeyboard) {
  Show();
  stage.Find<QTabBar>("TabStrip1")->setCurrentIndex(3);
  Stage::Settle();
  auto* box = stage.Find<QComboBox>("Combo1");
  box->setFocus();
  const int german = box->findText(QStringLiteral("Deutsch"));
  QTest::keyClick(box, Qt::Key_D);
  Stage::Settle();
  EXPECT_EQ(stage.window->Combo1.Index(), german);
  EXPECT_EQ(stage.window->Combo1.Text(), "Deutsch");
}

TEST_F(OptionsForm, ClosesOnEscape) {
  Show();
  Press(Qt::Key_Escape);
  EXPECT_FALSE(stage.window->Loaded());
}

TEST_F(OptionsForm, TreatsEnterInAFieldAsOK) {
  Show();
  int accepted = 0;
  stage.window->OK.OnClick = [&accepted] { ++accepted; };
  auto* text = stage.Find<QLineEdit>("Text9");
  text->setFocus();
  QTest::keyClick(text, Qt::Key_Return);
  EXPECT_EQ(accepted, 1);
}

TEST_F(OptionsForm, ShowsTranslationsWithoutCutCaptions) {
  stage.SetLanguage("german");
  Show();
  for (int page = 0; page < 5; ++page) {
    stage.Find<QTabBar>("TabStrip1")->setCurrentIndex(page);
    Stage::Settle();
    for (QWidget* widget : stage.form->findChildren<QWidget*>()) {
      const bool captioned = qobject_cast<QLabel*>(widget) || qobject_cast<QAbstractButton*>(widget);
      if (!captioned || !widget->isVisible()) continue;
      EXPECT_GE(widget->width(), widget->minimumSizeHint().width()) << widget->objectName().toStdString();
      EXPECT_GE(widget->height(), widget->minimumSizeHint().height()) << widget->objectName().toStdString();
    }
  }
}

TEST_F(OptionsForm, KeepsItsWidthWithAVeryLongLanguageName) {
  Show();
  const QSize size = stage.form->size();
  const std::string name(500000, 'W');
  QFile file(stage.folder.filePath(QStringLiteral("long.txt")));
  ASSERT_TRUE(file.open(QIODevice::WriteOnly));
  file.write(QByteArray::fromStdString("LANG=" + name + "\n"));
  file.close();
  Show();
  stage.Find<QTabBar>("TabStrip1")->setCurrentIndex(3);
  Stage::Settle();
  EXPECT_EQ(stage.form->size(), size);
  // The list shows the beginning of the name, but the choice is the whole name.
  auto* box = stage.Find<QComboBox>("Combo1");
  const int row = box->findText(QStringLiteral("WWW"), Qt::MatchStartsWith);
  ASSERT_GE(row, 0);
  EXPECT_LE(box->itemText(row).size(), kMaxDrawnLength + 1);
  EXPECT_EQ(stage.window->Combo1.Items()[static_cast<std::size_t>(row)], name);
}

TEST_F(OptionsForm, KeepsItsSizeOnEveryPage) {
  Show();
  const QSize size = stage.form->size();
  for (int page = 1; page < 5; ++page) {
    stage.Find<QTabBar>("TabStrip1")->setCurrentIndex(page);
    Stage::Settle();
    EXPECT_EQ(stage.form->size(), size) << page;
  }
}

}  // namespace
}  // namespace pellora
