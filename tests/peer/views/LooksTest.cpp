// The looks of every window in every language, at each scale and with larger letters: nothing is cut, nothing overlaps,
// and everything fits a small screen. Each screen is another process, since the platform has one from start to end.
#include <gtest/gtest.h>

#include <QApplication>
#include <QFont>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QProcess>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QTabBar>
#include <QTemporaryFile>
#include <QTest>
#include <QToolBar>
#include <QTreeWidget>
#include <array>
#include <string>
#include <utility>

#include "AppStage.h"
#include "Gallery.h"
#include "LongTexts.h"
#include "Looks.h"
#include "app/NewTransferWindow.h"
#include "desktop/views/Widgets.h"
#include "lang/Language.h"
#include "mainwin/Form1.h"
#include "mainwin/WantDown.h"
#include "transferwin/TransferWindow.h"

namespace pellora {
namespace {

using namespace testing_views;

// ------------------------------------------------------------------------------------------------ windows

class FaultFinder final : public Visitor {
 public:
  FaultFinder(QString language, QSize room) : language_(std::move(language)), room_(room) {}
  void Visit(QWidget& widget, const QString& name) override {
    ++visited;
    for (const QString& fault : FaultsOf(widget)) Report(name, fault);
    if (qobject_cast<QMenu*>(&widget) != nullptr) return;
    const QSize size = widget.size();
    if (size.width() > room_.width() || size.height() > room_.height()) {
      Report(name, QStringLiteral("is %1 x %2").arg(size.width()).arg(size.height()));
    }
    InspectAtLeast(widget, name);
  }

  int visited = 0;
  QStringList faults;

 private:
  void Report(const QString& window, const QString& fault) {
    const QString line = language_ + u' ' + window + QStringLiteral(": ") + fault;
    if (!faults.contains(line)) faults.append(line);
  }
  // As small as the user can make it.
  void InspectAtLeast(QWidget& window, const QString& name) {
    const QSize before = window.size();
    window.resize(1, 1);
    for (int turn = 0; turn < 3; ++turn) QCoreApplication::processEvents();
    for (const QString& fault : FaultsOf(window)) {
      // A bar of tools has a menu of those without room.
      if (!fault.startsWith(QLatin1String("Toolbar1: "))) Report(name, QStringLiteral("made small, ") + fault);
    }
    window.resize(before);
    for (int turn = 0; turn < 3; ++turn) QCoreApplication::processEvents();
  }

  QString language_;
  QSize room_;
};

void ExpectNoFaults(const QString& name, const GalleryLanguage& language, QSize room) {
  FaultFinder finder(name, room);
  VisitWindows(language, finder);
  EXPECT_GT(finder.visited, 30);
  for (const QString& fault : finder.faults) ADD_FAILURE() << fault.toStdString();
}

struct ScreenCase {
  const char* name;
  QSize size;
  double scale;
  double letters;  // times the usual size
};
constexpr const char* kInside = "PELLORA_TEST_SCREEN";

class Looks : public testing::TestWithParam<ScreenCase> {
 protected:
  // True in the process that has the screen; otherwise starts it, and fails if it does.
  bool OnItsScreen() {
    if (qEnvironmentVariable(kInside) == QLatin1String(GetParam().name)) return true;
    QTemporaryFile config;
    EXPECT_TRUE(config.open());
    config.write(QStringLiteral(R"({"synchronousWindowSystemEvents": false, "windowFrameMargins": true, "screens": [
        {"name": "screen", "x": 0, "y": 0, "width": %1, "height": %2, "logicalDpi": 96, "logicalBaseDpi": 96,
         "dpr": %3}]})")
                     .arg(GetParam().size.width())
                     .arg(GetParam().size.height())
                     .arg(GetParam().scale)
                     .toUtf8());
    config.close();
    const auto* const test = testing::UnitTest::GetInstance()->current_test_info();
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen:configfile=") + config.fileName());
    environment.insert(QLatin1String(kInside), QLatin1String(GetParam().name));
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(QCoreApplication::applicationFilePath(),
                  {QStringLiteral("--gtest_filter=%1.%2")
                       .arg(QLatin1String(test->test_suite_name()), QLatin1String(test->name()))});
    EXPECT_TRUE(process.waitForFinished(600'000));
    const QString output = QString::fromUtf8(process.readAll());
    EXPECT_EQ(process.exitCode(), 0) << output.toStdString();
    EXPECT_TRUE(output.contains(QLatin1String("[  PASSED  ] 1 test."))) << output.toStdString();
    return false;
  }
};

TEST_P(Looks, NothingIsCutOrHiddenInAnyLanguage) {
  if (!OnItsScreen()) return;
  const ScreenCase& screen = GetParam();
  EXPECT_EQ(QGuiApplication::primaryScreen()->size(), screen.size);
  EXPECT_EQ(QGuiApplication::primaryScreen()->devicePixelRatio(), screen.scale);
  QFont font = QApplication::font();
  font.setPointSizeF(font.pointSizeF() * screen.letters);
  QApplication::setFont(font);
  const QSize room = screen.letters > 1 ? screen.size : kSmallestRoom;
  ExpectNoFaults(QStringLiteral("english"), ShippedLanguage("english"), room);
  ExpectNoFaults(QStringLiteral("german"), ShippedLanguage("german"), room);
  ExpectNoFaults(QStringLiteral("longest"), {LongestTexts()}, room);
  ExpectNoFaults(QStringLiteral("hebrew"), {HebrewLetters()}, room);
  ExpectNoFaults(QStringLiteral("longer"), {LongerEnglish()}, screen.size);
}

INSTANTIATE_TEST_SUITE_P(Screens, Looks,
                         testing::Values(ScreenCase{"Small", {1024, 600}, 1, 1},
                                         ScreenCase{"ScaledByHalf", {1024, 600}, 1.5, 1},
                                         ScreenCase{"Doubled", {1024, 600}, 2, 1},
                                         ScreenCase{"Tripled", {1024, 600}, 3, 1},
                                         ScreenCase{"LargeLetters", {1600, 1000}, 1, 1.5}),
                         [](const testing::TestParamInfo<ScreenCase>& screen) { return screen.param.name; });

// ------------------------------------------------------------------------------------------------ changes

TEST(LooksAfterAChange, NothingIsCutInWindowsThatAreOpenWhenTheLanguageChanges) {
  AppStage stage;
  MainWindow& main = stage.Main();
  const auto transfer = NewTransferWindow(stage.app->program(), 0);
  stage.Do([&] { transfer->Show(); });
  stage.Do([&] { main.RunAction(MainWindow::kAdd); });
  stage.Do([&] { main.form1->Check1.SetByUser(true); });
  stage.Do([&] { main.wantDown->Show(); });
  const std::array<const Window*, 4> windows = {&main, transfer.get(), main.form1.get(), main.wantDown.get()};
  for (const std::string& texts : {ShippedTexts("german"), LongestTexts(), HebrewLetters(), ShippedTexts("english")}) {
    stage.sim.disk().Put("/prog/other.txt", SimContent(texts));
    stage.Do([&] { LoadLanguage(stage.app->program(), "other"); });
    Stage::Settle();
    for (const Window* const window : windows) {
      const QStringList faults = FaultsOf(*stage.Form(*window));
      EXPECT_EQ(faults.join(u'\n').toStdString(), "") << window->TypeName << " in " << texts.substr(0, 40);
    }
  }
  stage.Do([&] { transfer->Unload(); });
  stage.Do([&] { main.form1->Unload(); });
  stage.Do([&] { main.wantDown->Unload(); });
}

// On a screen of 640x480 with a panel the options dialog scrolls: its buttons are there, and so is what gets the focus.
class LowOptions final : public Visitor {
 public:
  void Visit(QWidget& window, const QString& name) override {
    if (!name.startsWith(QLatin1String("options-"))) return;
    window.resize(window.size().boundedTo(room_));
    for (int turn = 0; turn < 3; ++turn) QCoreApplication::processEvents();
    EXPECT_LE(window.width(), room_.width()) << name.toStdString();
    EXPECT_LE(window.height(), room_.height()) << name.toStdString();
    for (QWidget* const control : window.findChildren<QWidget*>()) {
      if (!control->isVisible() || (control->focusPolicy() & Qt::TabFocus) == 0) continue;
      // As the Tab key does.
      for (int step = 0; step < 60 && !control->hasFocus(); ++step) QTest::keyClick(&window, Qt::Key_Tab);
      ++reached;
      EXPECT_EQ(control->visibleRegion().boundingRect(), control->rect())
          << name.toStdString() << " " << control->objectName().toStdString();
    }
  }
  int reached = 0;

 private:
  const QSize room_{632, 420};
};

class LowScreens : public Looks {};

TEST_P(LowScreens, OptionsCanBeUsedInAnyLanguage) {
  if (!OnItsScreen()) return;
  for (const std::string& texts : {ShippedTexts("english"), ShippedTexts("german"), LongestTexts(), HebrewLetters()}) {
    LowOptions options;
    VisitWindows({texts}, options);
    EXPECT_GT(options.reached, 40);
  }
}

INSTANTIATE_TEST_SUITE_P(Screens, LowScreens, testing::Values(ScreenCase{"Lowest", {640, 452}, 1, 1}),
                         [](const testing::TestParamInfo<ScreenCase>& screen) { return screen.param.name; });

// ------------------------------------------------------------------------------------------------ planted faults

class PlantedFaults : public testing::Test {
 protected:
  template <class Widget>
  Widget& Add(const char* name, const QRect& place) {
    auto* const widget = new Widget(&window);
    widget->setObjectName(QLatin1String(name));
    widget->setGeometry(place);
    return *widget;
  }
  QStringList Faults() {
    window.resize(400, 300);
    window.show();
    Stage();
    return FaultsOf(window);
  }
  void ExpectOneAbout(const char* name) {
    const QStringList faults = Faults();
    ASSERT_EQ(faults.size(), 1) << faults.join(u'\n').toStdString();
    EXPECT_TRUE(faults.front().startsWith(QLatin1String(name))) << faults.front().toStdString();
  }
  static void Stage() {
    for (int turn = 0; turn < 5; ++turn) QCoreApplication::processEvents();
  }

  QWidget window;
};

TEST_F(PlantedFaults, AWindowWithoutAFaultHasNone) {
  Add<QLabel>("label", {10, 10, 200, 30}).setText(QStringLiteral("Enough room"));
  Add<QPushButton>("button", {10, 50, 200, 30}).setText(QStringLiteral("Enough room"));
  EXPECT_EQ(Faults(), QStringList());
}

TEST_F(PlantedFaults, CutLabelIsFound) {
  Add<QLabel>("cut", {10, 10, 40, 30}).setText(QStringLiteral("A text that is far too long"));
  ExpectOneAbout("cut");
}

TEST_F(PlantedFaults, LabelThatIsTooLowIsFound) {
  Add<QLabel>("low", {10, 10, 200, 6}).setText(QStringLiteral("Low"));
  ExpectOneAbout("low");
}

TEST_F(PlantedFaults, WrappedLabelWithoutRoomForItsLinesIsFound) {
  QLabel& label = Add<QLabel>("wrapped", {10, 10, 120, 20});
  label.setWordWrap(true);
  label.setText(QStringLiteral("Several lines of words in one line's height"));
  ExpectOneAbout("wrapped");
}

TEST_F(PlantedFaults, LongWordInAWrappedLabelIsFound) {
  QLabel& label = Add<QLabel>("wrapped", {10, 10, 60, 200});
  label.setWordWrap(true);
  label.setText(QStringLiteral("Geschwindigkeitsbegrenzung"));
  ExpectOneAbout("wrapped");
}

TEST_F(PlantedFaults, ElidedStateOfASegmentIsFoundButNoElidedAddress) {
  Add<ElidedLabel>("Label3", {10, 10, 40, 30}).setText(QStringLiteral("http://example.com/a/long/one"));
  Add<ElidedLabel>("StateS_1", {10, 50, 40, 30}).setText(QStringLiteral("Waiting for the network"));
  ExpectOneAbout("StateS_1");
}

TEST_F(PlantedFaults, CutButtonsAreFound) {
  Add<QPushButton>("push", {10, 10, 50, 30}).setText(QStringLiteral("A long caption"));
  Add<QRadioButton>("radio", {10, 50, 50, 30}).setText(QStringLiteral("A long caption"));
  const QStringList faults = Faults();
  ASSERT_EQ(faults.size(), 2) << faults.join(u'\n').toStdString();
}

TEST_F(PlantedFaults, CutTitleOfAGroupIsFound) {
  Add<QGroupBox>("group", {10, 10, 60, 60}).setTitle(QStringLiteral("A long title of a group"));
  ExpectOneAbout("group");
}

TEST_F(PlantedFaults, TabThatHasToBeScrolledToIsFound) {
  auto& tabs = Add<QTabBar>("tabs", {10, 10, 120, 30});
  for (const char* const tab : {"First page", "Second page", "Third page"}) tabs.addTab(QLatin1String(tab));
  EXPECT_FALSE(Faults().filter(QStringLiteral("tabs: ")).isEmpty());
}

TEST_F(PlantedFaults, ToolInTheOverflowOfItsBarIsFound) {
  auto& bar = Add<QToolBar>("tools", {10, 10, 80, 30});
  for (const char* const tool : {"First tool", "Second tool", "Third tool"}) bar.addAction(QLatin1String(tool));
  EXPECT_FALSE(Faults().filter(QStringLiteral("does not show all")).isEmpty());
}

TEST_F(PlantedFaults, CutHeadingOfAColumnIsFound) {
  auto& tree = Add<QTreeWidget>("tree", {10, 10, 300, 100});
  tree.setHeaderLabels({QStringLiteral("A heading that is long"), QStringLiteral("B")});
  tree.setColumnWidth(0, 40);
  EXPECT_EQ(Faults().filter(QStringLiteral("A heading")).size(), 1);
}

TEST_F(PlantedFaults, ControlOverAnotherOneIsFound) {
  Add<QLineEdit>("field", {10, 10, 200, 30});
  Add<QPushButton>("over", {190, 30, 100, 30});
  ExpectOneAbout("field");
}

TEST_F(PlantedFaults, ControlBeyondItsWindowIsFound) {
  Add<QPushButton>("outside", {350, 10, 100, 30});
  ExpectOneAbout("outside");
}

}  // namespace
}  // namespace pellora
