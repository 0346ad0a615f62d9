// What a screen reader says of the windows besides the names of their controls (see AccessTest.cpp): what a control is,
// its value, its description; and the keys that open menus' entries.
#include <gtest/gtest.h>

#include <QAccessible>
#include <QAccessibleActionInterface>
#include <QAccessibleValueInterface>
#include <QAction>
#include <QKeySequence>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QStatusBar>
#include <QTest>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "AppStage.h"
#include "Gallery.h"
#include "LongTexts.h"
#include "app/NewTransferWindow.h"
#include "transferwin/TransferWindow.h"

namespace pellora {
namespace {

using namespace testing_views;

QString Spoken(QWidget& widget, QAccessible::Text text) {
  QAccessibleInterface* const seen = QAccessible::queryAccessibleInterface(&widget);
  return seen == nullptr ? QString() : seen->text(text);
}

QAccessible::Role RoleOf(QWidget& widget) { return QAccessible::queryAccessibleInterface(&widget)->role(); }

// The description of each visible widget, and the names of those that show no text; in the windows' order.
class TextReader final : public Visitor {
 public:
  void Visit(QWidget& window, const QString& name) override {
    // That of the archive viewer speaks English in every language.
    if (qobject_cast<QMenu*>(&window) != nullptr || name == QLatin1String("extract")) return;
    for (QWidget* const widget : window.findChildren<QWidget*>()) {
      if (!widget->isVisible()) continue;
      const std::string place = (name + u' ' + widget->objectName()).toStdString();
      texts.emplace_back(place, widget->accessibleDescription());
      const bool named = widget->metaObject()->indexOfProperty("text") < 0;
      if (named && widget->accessibleName() != window.windowTitle())
        texts.emplace_back(place, widget->accessibleName());
    }
  }
  std::vector<std::pair<std::string, QString>> texts;
};

TEST(Spoken, TextsThatAreNotShownAreInTheUsersLanguage) {
  TextReader english;
  VisitWindows(ShippedLanguage("english"), english);
  TextReader longer;
  VisitWindows({LongerEnglish()}, longer);
  ASSERT_EQ(english.texts.size(), longer.texts.size());
  int compared = 0;
  for (std::size_t at = 0; at < english.texts.size(); ++at) {
    const auto& [place, text] = english.texts[at];
    if (text.isEmpty()) continue;
    ++compared;
    EXPECT_NE(text.toStdString(), longer.texts[at].second.toStdString()) << place;
  }
  EXPECT_GT(compared, 100);
}

// The letter of each entry that has one, and the entries with it.
class KeyReader final : public Visitor {
 public:
  void Visit(QWidget& widget, const QString& name) override {
    if (const auto* const bar = widget.findChild<QMenuBar*>()) Read(bar->actions(), name + QStringLiteral(" bar"));
    if (qobject_cast<QMenu*>(&widget) != nullptr) Read(widget.actions(), name);
  }
  int menus = 0;
  QStringList faults;

 private:
  void Read(const QList<QAction*>& entries, const QString& menu) {
    ++menus;
    std::map<QString, QString> known;
    for (const QAction* const entry : entries) {
      const QString key = QKeySequence::mnemonic(entry->text()).toString();
      if (!entry->isVisible() || key.isEmpty()) continue;
      const auto [other, isNew] = known.emplace(key, entry->text());
      if (!isNew) faults.append(menu + u' ' + key + QStringLiteral(": ") + other->second + u'/' + entry->text());
    }
  }
};

TEST(Spoken, KeysOfAMenusEntriesDifferInEveryLanguage) {
  for (const char* const language : kShippedLanguages) {
    KeyReader reader;
    VisitWindows(ShippedLanguage(language), reader);
    EXPECT_GT(reader.menus, 8) << language;
    EXPECT_EQ(reader.faults.join(u'\n').toStdString(), "") << language;
  }
}

// Each label with a text, whose name differs from what is on the screen.
class LabelReader final : public Visitor {
 public:
  void Visit(QWidget& window, const QString& name) override {
    for (const QLabel* const label : window.findChildren<QLabel*>()) {
      if (!label->isVisible() || label->text().isEmpty()) continue;
      ++read;
      const QString spoken = Spoken(const_cast<QLabel&>(*label), QAccessible::Name);
      const QString shown = QString(label->text()).remove(u'&');
      if (spoken != shown) faults.append(name + u' ' + label->objectName() + QStringLiteral(": ") + spoken);
    }
  }
  int read = 0;
  QStringList faults;
};

TEST(Spoken, LabelsAreNamedByTheirTexts) {
  LabelReader reader;
  VisitWindows(ShippedLanguage("german"), reader);
  EXPECT_GT(reader.read, 150);
  EXPECT_EQ(reader.faults.join(u'\n').toStdString(), "");
}

TEST(Spoken, BarOfToolsIsNamedInTheUsersLanguage) {
  AppStage stage(ShippedTexts("german"));
  EXPECT_EQ(Spoken(*stage.Find<QWidget>(stage.Main(), "Toolbar1"), QAccessible::Name), QStringLiteral("Aktionen"));
}

class SpokenTransfer : public testing::Test {
 protected:
  SpokenTransfer() : window(NewTransferWindow(stage.app->program(), 0)) {
    stage.Do([this] { window->Show(); });
    SetWidth(500);
  }
  ~SpokenTransfer() override {
    stage.Do([this] { window->Unload(); });
  }
  void SetWidth(double width) {
    stage.Do([&] { window->Prog(0).Width = width; });
  }
  QWidget& Bar() { return *stage.Find<QWidget>(*window, "Prog_0"); }

  AppStage stage;
  std::shared_ptr<TransferWindow> window;
};

TEST_F(SpokenTransfer, SegmentsAreProgressBarsWithAFigure) {
  EXPECT_EQ(RoleOf(Bar()), QAccessible::ProgressBar);
  QAccessibleValueInterface* const value = QAccessible::queryAccessibleInterface(&Bar())->valueInterface();
  ASSERT_NE(value, nullptr);
  EXPECT_EQ(value->currentValue().toInt(), 20);
  EXPECT_EQ(value->minimumValue().toInt(), 0);
  EXPECT_EQ(value->maximumValue().toInt(), 100);
  EXPECT_TRUE(QAccessible::queryAccessibleInterface(&Bar())->state().readOnly);
}

TEST_F(SpokenTransfer, GraphAndMapAreCharts) {
  stage.Do([&] {
    window->showgraph.Click();
    window->Map1.Visible = true;
  });
  for (const char* const chart : {"Graph1", "Map1"}) {
    EXPECT_EQ(RoleOf(*stage.Find<QWidget>(*window, chart)), QAccessible::Chart) << chart;
  }
}

TEST_F(SpokenTransfer, FrameOfTheSegmentsIsNoWindow) {
  EXPECT_EQ(RoleOf(*stage.Find<QWidget>(*window, "Frame2")), QAccessible::Client);
}

TEST(SpokenKeys, StateOfAKeyIsThatOfACheckBox) {
  AppStage stage;
  const auto labels = stage.Find<QStatusBar>(stage.Main(), "StatusBar1")->findChildren<QLabel*>();
  ASSERT_EQ(labels.size(), 6);
  const auto state = [&] { return QAccessible::queryAccessibleInterface(labels[5])->state(); };
  EXPECT_EQ(RoleOf(*labels[5]), QAccessible::CheckBox);
  EXPECT_EQ(Spoken(*labels[5], QAccessible::Name), QStringLiteral("INS"));
  EXPECT_TRUE(state().readOnly);
  EXPECT_FALSE(state().checked);
  QTest::keyClick(stage.Form(stage.Main())->windowHandle(), Qt::Key_Insert);
  Stage::Settle();
  EXPECT_TRUE(state().checked);
  EXPECT_EQ(Spoken(*labels[5], QAccessible::Name), QStringLiteral("INS"));
  EXPECT_NE(RoleOf(*labels[1]), QAccessible::CheckBox);
}

TEST(SpokenLinks, LinkSaysThatItIsOneAndCanBeFollowed) {
  AppStage stage;
  auto* const label = stage.Find<QLabel>(stage.Main(), "Label2");
  EXPECT_EQ(RoleOf(*label), QAccessible::Link);
  EXPECT_EQ(Spoken(*label, QAccessible::Name), label->text());
  QAccessibleActionInterface* const actions = QAccessible::queryAccessibleInterface(label)->actionInterface();
  ASSERT_NE(actions, nullptr);
  EXPECT_TRUE(actions->actionNames().contains(QAccessibleActionInterface::pressAction()));
  EXPECT_TRUE(actions->actionNames().contains(QAccessibleActionInterface::setFocusAction()));
  stage.Do([&] { actions->doAction(QAccessibleActionInterface::pressAction()); });
  EXPECT_EQ(stage.sim.shell().urls.size(), 1u);
}

}  // namespace
}  // namespace pellora
