// The program's own windows have a widget for each control of their models.
#include <gtest/gtest.h>

#include <QApplication>
#include <QContextMenuEvent>
#include <QLineEdit>
#include <QMenu>
#include <QTest>
#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "AppStage.h"
#include "app/NewTransferWindow.h"
#include "desktop/views/ObjectNames.h"
#include "mainwin/AddList.h"
#include "mainwin/AskLine.h"
#include "mainwin/Form1.h"
#include "mainwin/WantDown.h"
#include "transferwin/AskLogin.h"
#include "transferwin/TransferWindow.h"

namespace pellora {

namespace {

using namespace testing_views;

class RealWindows : public testing::Test {
 protected:
  void Open(Window& window) {
    stage.Do([&] { window.Show(); });
    ASSERT_NE(stage.Form(window), nullptr);
  }
  // Names of controls without a widget, or menu entry, of that name in the form.
  std::vector<std::string> WithoutWidget(const Window& window, const std::set<std::string>& neverShown) {
    std::vector<std::string> names;
    for (const Control* const control : window.Controls()) {
      if (neverShown.contains(control->Name.substr(0, control->Name.find('(')))) continue;
      if (stage.Form(window)->findChild<QObject*>(ObjectName(control->Name)) == nullptr) names.push_back(control->Name);
    }
    return names;
  }

  AppStage stage;
};

using Names = std::vector<std::string>;

const std::set<std::string> kHiddenOfMain{"Command1"};  // a strip of buttons whose actions the tool bar has
// A list that nothing shows, and lines of which the form needs only the first.
const std::set<std::string> kHiddenOfTransfer{"List1", "Line2", "Line3"};

TEST_F(RealWindows, MainWindowHasAWidgetForEveryControl) {
  EXPECT_EQ(WithoutWidget(stage.Main(), kHiddenOfMain), Names{});
}

TEST_F(RealWindows, NoMenuOffersToHideTheBarOfTools) {
  for (const char* const name : {"menubar", "Toolbar1", "StatusBar1"}) {
    auto& bar = *stage.Find<QWidget>(stage.Main(), name);
    const QPoint ground(bar.width() - 30, bar.height() / 2);
    QWidget& clicked = bar.childAt(ground) == nullptr ? bar : *bar.childAt(ground);
    QContextMenuEvent event(QContextMenuEvent::Mouse, clicked.mapFrom(&bar, ground), bar.mapToGlobal(ground));
    QApplication::sendEvent(&clicked, &event);
    Stage::Settle();
    EXPECT_EQ(QApplication::activePopupWidget(), nullptr) << name;
    if (QWidget* const popup = QApplication::activePopupWidget()) popup->close();
  }
}

TEST_F(RealWindows, F10OpensTheMenuBarAndWithShiftTheMenuOfTheFocus) {
  auto& field = *stage.Find<QLineEdit>(stage.Main(), "FilterText");
  stage.Do([this] { stage.Main().findrows.Click(); });
  for (const auto& [modifier, menu] : {std::pair(Qt::NoModifier, "mFile"), std::pair(Qt::ShiftModifier, "")}) {
    QTest::keyClick(&field, Qt::Key_F10, modifier);
    Stage::Settle();
    auto* const popup = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    ASSERT_NE(popup, nullptr) << modifier;
    EXPECT_EQ(popup->objectName().startsWith(QLatin1String("mFile")), *menu != '\0');
    popup->close();
    Stage::Settle();
  }
}

TEST_F(RealWindows, F10ClosesTheOpenMenu) {
  auto& field = *stage.Find<QLineEdit>(stage.Main(), "FilterText");
  stage.Do([this] { stage.Main().findrows.Click(); });
  QTest::keyClick(&field, Qt::Key_F10);
  QWidget* const popup = QApplication::activePopupWidget();
  ASSERT_NE(popup, nullptr);
  QTest::keyClick(popup, Qt::Key_F10, Qt::ShiftModifier);
  EXPECT_EQ(QApplication::activePopupWidget(), popup);
  QTest::keyClick(popup, Qt::Key_F10);
  Stage::Settle();
  EXPECT_EQ(QApplication::activePopupWidget(), nullptr);
  if (QApplication::activePopupWidget() != nullptr) popup->close();
}

TEST_F(RealWindows, TransferWindowHasAWidgetForEveryControl) {
  const auto window = NewTransferWindow(stage.app->program(), 0);
  Open(*window);
  EXPECT_EQ(WithoutWidget(*window, kHiddenOfTransfer), Names{});
  window->Unload();
}

TEST_F(RealWindows, DialogsHaveAWidgetForEveryControl) {
  const std::vector<Window*> windows = {stage.Main().form1.get(), stage.Main().wantDown.get(),
                                        stage.Main().askLine.get(), stage.Main().addList.get()};
  for (Window* const window : windows) {
    Open(*window);
    EXPECT_EQ(WithoutWidget(*window, {}), Names{});
  }
}

TEST_F(RealWindows, AskLoginHasAWidgetForEveryControl) {
  AskLogin::Question question;
  question.reason = "a";
  const auto window = std::make_shared<AskLogin>(stage.app->program(), question);
  Open(*window);
  EXPECT_EQ(WithoutWidget(*window, {}), Names{});
  EXPECT_EQ(stage.Find<QLineEdit>(*window, "Text2")->echoMode(), QLineEdit::Password);
  window->Unload();
}

TEST_F(RealWindows, AWidgetThatIsMissingIsFound) {
  delete stage.Find<QWidget>(stage.Main(), "Command4");
  EXPECT_EQ(WithoutWidget(stage.Main(), kHiddenOfMain), Names{"Command4"});
}

}  // namespace

}  // namespace pellora
