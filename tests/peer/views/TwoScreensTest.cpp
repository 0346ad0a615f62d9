// Two screens side by side, of which the second is lower: dialogs open on that of the window in use. Another process,
// since the platform has its screens from start to end.
#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QProcess>
#include <QScreen>
#include <QTemporaryFile>

#include "AppStage.h"
#include "desktop/views/QtDialogs.h"
#include "mainwin/Form1.h"

namespace pellora {

namespace {

using namespace testing_views;

constexpr const char* kInside = "PELLORA_TEST_TWO_SCREENS";
constexpr const char* kScreens = R"({"synchronousWindowSystemEvents": false, "windowFrameMargins": true, "screens": [
  {"name": "left", "x": 0, "y": 0, "width": 1000, "height": 900, "logicalDpi": 96, "logicalBaseDpi": 96, "dpr": 1},
  {"name": "right", "x": 1000, "y": 0, "width": 1400, "height": 700, "logicalDpi": 96, "logicalBaseDpi": 96, "dpr": 1}
]})";

// True in the process that has the screens; otherwise starts it, and fails if it does.
bool OnTwoScreens() {
  if (qEnvironmentVariableIsSet(kInside)) return true;
  QTemporaryFile config;
  EXPECT_TRUE(config.open());
  config.write(kScreens);
  config.close();
  QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
  environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen:configfile=") + config.fileName());
  environment.insert(QLatin1String(kInside), QStringLiteral("1"));
  QProcess process;
  process.setProcessEnvironment(environment);
  process.setProcessChannelMode(QProcess::MergedChannels);
  const auto* const test = testing::UnitTest::GetInstance()->current_test_info();
  process.start(QCoreApplication::applicationFilePath(),
                {QStringLiteral("--gtest_filter=%1.%2")
                     .arg(QLatin1String(test->test_suite_name()), QLatin1String(test->name()))});
  EXPECT_TRUE(process.waitForFinished(60'000));
  const QString output = QString::fromUtf8(process.readAll());
  EXPECT_TRUE(output.contains(QLatin1String("[  PASSED  ] 1 test."))) << output.toStdString();
  return false;
}

void Use(QWidget& window, const QPoint& place) {
  window.move(place);
  window.activateWindow();
  Stage::Settle();
  ASSERT_EQ(QApplication::activeWindow(), &window);
}

TEST(TwoScreens, DialogsOpenOverTheWindowInUse) {
  if (!OnTwoScreens()) return;
  ASSERT_EQ(QGuiApplication::screens().size(), 2);
  AppStage stage;
  QWidget& main = *stage.Form(stage.Main());
  EventGate gate;
  QtDialogs dialogs(gate);
  Window& add = *stage.Main().form1;
  for (const QScreen* const screen : QGuiApplication::screens()) {
    Use(main, screen->geometry().topLeft() + QPoint(60, 50));
    dialogs.Ask({"Really?", "Title", kOkOnly}, [](int) {});
    Stage::Settle();
    auto* const box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    ASSERT_NE(box, nullptr);
    EXPECT_TRUE(main.frameGeometry().contains(box->frameGeometry())) << box->x() << "," << box->y();
    box->button(QMessageBox::Ok)->click();
    Stage::Settle();
    Use(main, main.pos());
    stage.Do([&] { add.Show(); });
    EXPECT_TRUE(main.frameGeometry().contains(stage.Form(add)->frameGeometry())) << stage.Form(add)->x();
    stage.Do([&] { add.Hide(); });
  }
}

TEST(TwoScreens, MessagesFitOnThatOfTheWindowInUse) {
  if (!OnTwoScreens()) return;
  AppStage stage;
  EventGate gate;
  QtDialogs dialogs(gate);
  std::string lines;
  for (int i = 0; i < 200; ++i) lines += "one line of the notes\n";
  for (const QScreen* const screen : QGuiApplication::screens()) {
    Use(*stage.Form(stage.Main()), screen->geometry().topLeft() + QPoint(60, 50));
    dialogs.Ask({lines + "Really?", "Title", kOkOnly}, [](int) {});
    Stage::Settle();
    auto* const box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    ASSERT_NE(box, nullptr);
    EXPECT_TRUE(screen->availableGeometry().contains(box->frameGeometry())) << box->y() << "," << box->height();
    EXPECT_GT(box->height(), screen->availableSize().height() / 2);
    box->button(QMessageBox::Ok)->click();
    Stage::Settle();
  }
}

}  // namespace

}  // namespace pellora
