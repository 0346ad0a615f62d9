// What the program paints itself is seen on light and dark desktops and on those of high contrast, as WCAG 2.1 asks:
// 3:1 for graphics, 4.5:1 for texts.
#include <gtest/gtest.h>

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFrame>
#include <QIcon>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPixmap>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QTabBar>
#include <QTest>
#include <algorithm>
#include <array>
#include <memory>
#include <utility>
#include <vector>

#include "Gallery.h"
#include "Themes.h"
#include "desktop/views/Charts.h"
#include "desktop/views/Icons.h"
#include "desktop/views/Widgets.h"

namespace pellora {
namespace {

using namespace testing_views;

constexpr double kGraphics = 3.0;
constexpr double kTexts = 4.5;

QColor Over(const QColor& colour, const QColor& ground) {
  const auto alpha = static_cast<double>(colour.alphaF());
  const auto mixed = [alpha](int over, int under) { return static_cast<int>(over * alpha + under * (1 - alpha)); };
  return {mixed(colour.red(), ground.red()), mixed(colour.green(), ground.green()),
          mixed(colour.blue(), ground.blue())};
}

class Contrasts : public testing::TestWithParam<std::size_t> {
 protected:
  void SetUp() override { QApplication::setPalette(Themes().at(GetParam()).palette); }
  void TearDown() override { QApplication::setPalette(Themes().front().palette); }

  // As the widget paints itself on a window.
  static QImage Painted(QWidget& widget, QSize size) {
    widget.resize(size);
    QImage image(size, QImage::Format_RGB32);
    image.fill(widget.palette().color(QPalette::Window));
    widget.render(&image);
    return image;
  }
  // The best contrast of a pixel in this column to the ground.
  static double BestIn(const QImage& image, int x, const QColor& ground) {
    double best = 1;
    for (int y = 3; y < image.height() - 3; ++y) best = std::max(best, Contrast(image.pixelColor(x, y), ground));
    return best;
  }
  static double WorstIn(const QImage& image, int x, const QColor& ground) {
    double worst = 21;
    for (int y = 3; y < image.height() - 3; ++y) worst = std::min(worst, Contrast(image.pixelColor(x, y), ground));
    return worst;
  }
};

TEST_P(Contrasts, BarsOfSegmentsAreSeenInEveryState) {
  for (const QRgb colour : {0x0000FFU, 0x00C0C0U, 0xFF0000U, 0x808080U}) {
    BarFrame frame;
    SegmentBar bar(&frame);
    bar.resize(200, 18);
    bar.setFullLength(100);
    bar.SetLength(50);
    bar.SetColour(QColor::fromRgb(colour));
    const QImage image = Painted(frame, {200, 18});
    const QColor ground = image.pixelColor(150, 9);
    EXPECT_GE(WorstIn(image, 50, ground), kGraphics) << std::hex << colour;
    EXPECT_EQ(ground.rgb(), GrooveColour(frame.palette()).rgb());
  }
}

TEST_P(Contrasts, LineOfTheGraphAndItsFigureAreSeen) {
  SpeedGraph graph;
  std::vector<float> speeds(120, 1.0F);
  std::fill(speeds.begin() + 60, speeds.end(), 0.5F);
  graph.Show(speeds, QStringLiteral("2 mb/s"));
  const QImage image = Painted(graph, {240, 60});
  const QColor ground = GrooveColour(graph.palette());
  EXPECT_GE(BestIn(image, 180, ground), kGraphics);
  double figure = 1;
  for (int x = 6; x < 40; ++x) figure = std::max(figure, Contrast(image.pixelColor(x, 8), ground));
  EXPECT_GE(figure, kTexts);
}

TEST_P(Contrasts, MapShowsWhatIsHeldAndWhatIsAwaited) {
  FileMapBar map;
  map.Show({{0, 0.25}}, {{0.5, 0.75}});
  const QImage image = Painted(map, {400, 18});
  const QColor ground = image.pixelColor(150, 9);
  EXPECT_EQ(ground.rgb(), GrooveColour(map.palette()).rgb());
  EXPECT_GE(WorstIn(image, 50, ground), kGraphics);
  EXPECT_GE(WorstIn(image, 200, ground), kGraphics);  // where the connection is
  EXPECT_GE(BestIn(image, 250, ground), kGraphics);
  EXPECT_LT(WorstIn(image, 250, ground), kGraphics);  // hatched: unlike what is held
}

// How well the line at the left of a control is seen on what is around it and on what is in it.
double OutlineIn(const QImage& image, const std::vector<QColor>& grounds) {
  double best = 1;
  for (int x = 0; x < 4; ++x) {
    double worst = 21;
    for (const QColor& ground : grounds) {
      worst = std::min(worst, Contrast(image.pixelColor(x, image.height() / 2), ground));
    }
    best = std::max(best, worst);
  }
  return best;
}

TEST_P(Contrasts, OutlinesOfFieldsBoxesAndButtonsAreSeen) {
  QLineEdit field;
  QCheckBox check;
  QRadioButton option;
  QPushButton button;
  QComboBox list;
  QComboBox editable;
  editable.setEditable(true);
  const std::vector<std::pair<const char*, QWidget*>> controls = {
      {"field", &field},   {"check box", &check}, {"option", &option},
      {"button", &button}, {"list", &list},       {"list with a field", &editable}};
  for (const auto& [name, control] : controls) {
    for (const bool enabled : {true, false}) {
      control->setEnabled(enabled);
      const QImage image = Painted(*control, {60, 30});
      std::vector<QColor> grounds = {control->palette().color(QPalette::Window)};
      if (control != &button && control != &list) grounds.push_back(image.pixelColor(8, 15));
      EXPECT_GE(OutlineIn(image, grounds), kGraphics) << name << " " << enabled;
    }
  }
}

// In themes that have one ground for all, other edges must be seen as well.
TEST_P(Contrasts, ListsMenusAndBarsHaveEdgesWhereAllGroundsAreAlike) {
  const QPalette palette = QApplication::palette();
  const QColor ground = palette.color(QPalette::Window);
  if (palette.color(QPalette::Base) != ground) return;
  QFrame frame;
  frame.setFrameShape(QFrame::StyledPanel);
  QMenu menu;
  menu.addAction(QStringLiteral("Entry"));
  QProgressBar bar;
  QTabBar tabs;
  tabs.addTab(QStringLiteral("One"));
  tabs.addTab(QStringLiteral("Two"));
  for (QWidget* const widget : {static_cast<QWidget*>(&frame), static_cast<QWidget*>(&menu),
                                static_cast<QWidget*>(&bar), static_cast<QWidget*>(&tabs)}) {
    const QImage image = Painted(*widget, {100, 30});
    EXPECT_GE(Contrast(image.pixelColor(0, 15), ground), kGraphics) << widget->metaObject()->className();
  }
  const QImage image = Painted(tabs, {100, 30});
  EXPECT_LT(Contrast(image.pixelColor(tabs.tabRect(1).right(), 15), ground), kGraphics);  // is not selected
}

class LabelReader final : public Visitor {
 public:
  void Visit(QWidget& window, const QString& name) override {
    for (const QLabel* const label : window.findChildren<QLabel*>()) {
      if (!label->isVisible() || !label->isEnabled() || label->text().isEmpty()) continue;
      const QColor ground = label->palette().color(label->backgroundRole());
      const QColor text = Over(label->palette().color(label->foregroundRole()), ground);
      ++read;
      if (Contrast(text, ground) < kTexts) faults.append(name + u' ' + label->objectName() + u' ' + text.name());
    }
  }
  int read = 0;
  QStringList faults;
};

TEST_P(Contrasts, EveryLabelAndLinkIsLegible) {
  LabelReader reader;
  VisitWindows(ShippedLanguage("english"), reader);
  EXPECT_GT(reader.read, 150);
  EXPECT_EQ(reader.faults.join(u'\n').toStdString(), "");
}

TEST_P(Contrasts, LinkUnderThePointerIsLegible) {
  const QPalette palette = QApplication::palette();
  for (const bool highlighted : {false, true}) {
    EXPECT_GE(Contrast(LinkColour(palette, highlighted), palette.color(QPalette::Window)), kTexts);
  }
}

// A quarter of what an icon paints is its shape on this ground; most have two colours.
TEST_P(Contrasts, IconsHaveAShapeOnTheGroundsThatTheyAreOn) {
  int looked = 0;
  for (const QString& file : QDir(QStringLiteral(":/icons")).entryList({QStringLiteral("*.svg")})) {
    const QImage image = Drawing(file.chopped(4)).pixmap(24, 24).toImage().convertToFormat(QImage::Format_ARGB32);
    for (const auto role : {QPalette::Window, QPalette::Base}) {
      const QColor ground = QApplication::palette().color(role);
      int painted = 0;
      int clear = 0;
      for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
          if (image.pixelColor(x, y).alpha() < 200) continue;
          ++painted;
          if (Contrast(image.pixelColor(x, y), ground) >= kGraphics) ++clear;
        }
      }
      ++looked;
      EXPECT_GE(clear * 4, painted) << file.toStdString() << " " << clear << " of " << painted;
    }
  }
  EXPECT_GT(looked, 70);
}

constexpr std::array kThemes = {"Light", "Dark", "BlackOnWhite", "WhiteOnBlack"};

INSTANTIATE_TEST_SUITE_P(On, Contrasts, testing::Range(std::size_t{0}, kThemes.size()),
                         [](const testing::TestParamInfo<std::size_t>& theme) { return kThemes.at(theme.param); });

TEST(Contrast, IsThatOfWcag) {
  EXPECT_NEAR(Contrast(Qt::black, Qt::white), 21, 0.001);
  EXPECT_NEAR(Contrast(Qt::white, Qt::white), 1, 0.001);
  EXPECT_NEAR(Contrast(QColor(0x77, 0x77, 0x77), Qt::white), 4.48, 0.01);
  EXPECT_NEAR(Contrast(QColor(0, 0, 255), Qt::white), 8.59, 0.01);
}

// The windows as they look with a palette that is set while they are open.
class Repainter final : public Visitor {
 public:
  explicit Repainter(const QPalette& palette) : palette_(palette) {}
  void Visit(QWidget& window, const QString& name) override {
    const QPalette before = QApplication::palette();
    // The key that empties a field appears slowly.
    for (const QLineEdit* const field : window.findChildren<QLineEdit*>()) {
      if (field->isClearButtonEnabled() && field->isVisible() && !field->text().isEmpty()) QTest::qWait(200);
    }
    QApplication::setPalette(palette_);
    for (int turn = 0; turn < 3; ++turn) QCoreApplication::processEvents();
    pictures.emplace_back(name, window.grab().toImage());
    QApplication::setPalette(before);
    for (int turn = 0; turn < 3; ++turn) QCoreApplication::processEvents();
  }
  std::vector<std::pair<QString, QImage>> pictures;

 private:
  const QPalette palette_;
};

TEST(ThemeChange, OpenWindowsLookLikeNewOnes) {
  const int flashing = QApplication::cursorFlashTime();
  QApplication::setCursorFlashTime(0);
  const std::array<Theme, 4> themes = Themes();
  for (const std::size_t at : {0U, 1U}) {
    const Theme& theme = themes.at(at);
    const QPalette other = themes.at(1 - at).palette;
    QApplication::setPalette(theme.palette);
    Repainter opened(theme.palette);
    VisitWindows(ShippedLanguage("english"), opened);
    QApplication::setPalette(other);
    Repainter changed(theme.palette);
    VisitWindows(ShippedLanguage("english"), changed);
    ASSERT_EQ(opened.pictures.size(), changed.pictures.size());
    for (std::size_t window = 0; window < opened.pictures.size(); ++window) {
      const auto& [name, picture] = opened.pictures[window];
      EXPECT_TRUE(picture == changed.pictures[window].second) << theme.name << " " << name.toStdString();
    }
  }
  QApplication::setCursorFlashTime(flashing);
  QApplication::setPalette(Themes().front().palette);
}

}  // namespace
}  // namespace pellora
