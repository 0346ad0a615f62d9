// The preview pane in its form: stacking, proportions, the volume slider, and the link of the version check.
#include <gtest/gtest.h>

#include <QImage>
#include <QLabel>
#include <QPalette>
#include <QPushButton>
#include <QSlider>
#include <QTest>

#include "Samples.h"
#include "Stage.h"
#include "desktop/views/PreviewSurface.h"
#include "desktop/views/Widgets.h"
#include "ports/Media.h"
#include "ui/LinkLabel.h"
#include "ui/MediaSurface.h"

namespace pellora {

namespace {

using namespace testing_views;

struct PreviewPane : Window {
  explicit PreviewPane(Platform& given) : Window(given, "MainWindow", "Pellora !") {
    Details.Visible = false;
    Image2.Visible = false;
    Image2.Image = "sound";
  }
  LinkLabel Label7{this, "Label7", "Auto update Pellora", 270};
  Frame Picture1{this, "Picture1"};
  Label Label5{this, "Label5", "Preview not available."};
  Picture Image2{this, "Image2"};
  MediaSurface Picture3{this, "Picture3"};
  CommandButton Command2{this, "Command2", ">"};
  CommandButton Command3{this, "Command3", "|||||"};
  Label Label6{this, "Label6", "Vol :"};
  Slider Slider1{this, "Slider1"};
  Frame Details{this, "Details"};  // above the preview
};

class PreviewForm : public testing::Test {
 protected:
  PreviewForm() : window(std::make_shared<PreviewPane>(stage.platform)) {
    window->Show();
    Stage::Settle();
    form = Stage::Form(*window);
    surface = form->findChild<PreviewSurface*>(QStringLiteral("Picture3"));
  }
  ~PreviewForm() override {
    window->Unload();
    Stage::Settle();
  }

  void ShowFrame(int width, int height, std::uint32_t colour) {
    auto frame = std::make_shared<MediaFrame>();
    frame->width = width;
    frame->height = height;
    frame->pixels.assign(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), colour);
    window->Picture3.Frame = std::move(frame);
    Stage::Settle();
  }
  // What is visible in the surface's area.
  QImage Seen() {
    const QRect place(surface->mapTo(form, QPoint(0, 0)), surface->size());
    return form->grab(place).toImage().convertToFormat(QImage::Format_RGB32);
  }
  // How many pixels differ in colour from the corner.
  static int Marks(const QImage& image) {
    int marks = 0;
    for (int y = 0; y < image.height(); ++y) {
      for (int x = 0; x < image.width(); ++x) marks += image.pixel(x, y) != image.pixel(0, 0);
    }
    return marks;
  }

  Stage stage;
  std::shared_ptr<PreviewPane> window;
  QWidget* form = nullptr;
  PreviewSurface* surface = nullptr;
};

TEST_F(PreviewForm, ReportsTheSurfaceSizeInDevicePixels) {
  ASSERT_NE(surface, nullptr);
  EXPECT_GT(surface->width(), 150);
  EXPECT_GT(surface->height(), 60);
  EXPECT_EQ(window->Picture3.PixelWidth(), surface->PixelSize().width());
  EXPECT_EQ(window->Picture3.PixelHeight(), surface->PixelSize().height());
}

TEST_F(PreviewForm, BlankSurfaceShowsTheText) { EXPECT_GT(Marks(Seen()), 100); }

TEST_F(PreviewForm, PictureCoversTheText) {
  ShowFrame(surface->width(), surface->height(), 0xff112233);
  const QImage seen = Seen();
  EXPECT_EQ(Marks(seen), 0);
  EXPECT_EQ(seen.pixel(5, 5), 0xff112233U);
}

TEST_F(PreviewForm, PictureKeepsItsProportionsOnAFilledBackground) {
  ShowFrame(400, 100, 0xff00ff00);
  const QImage seen = Seen();
  const int height = seen.width() / 4;
  const int top = (seen.height() - height) / 2;
  const int middle = seen.width() / 2;
  EXPECT_EQ(seen.pixel(middle, seen.height() / 2), 0xff00ff00U);
  EXPECT_EQ(seen.pixel(1, seen.height() / 2), 0xff00ff00U);
  EXPECT_EQ(seen.pixel(middle, top + 2), 0xff00ff00U);
  for (const int outside : {0, top - 2, top + height + 2, seen.height() - 1}) {
    EXPECT_EQ(QColor(seen.pixel(middle, outside)), form->palette().color(QPalette::Window)) << outside;
  }
}

TEST_F(PreviewForm, RemovedPictureUncoversTheText) {
  const QImage before = Seen();
  ShowFrame(10, 10, 0xff00ff00);
  window->Picture3.Frame = nullptr;
  Stage::Settle();
  EXPECT_EQ(Seen(), before);
}

TEST_F(PreviewForm, SoundImageCoversTheText) {
  const QImage text = Seen();
  window->Image2.Visible = true;
  Stage::Settle();
  const QImage drawing = Seen();
  EXPECT_GT(Marks(drawing), 1000);
  window->Label5.Visible = false;
  Stage::Settle();
  EXPECT_EQ(Seen(), drawing);  // nothing of the text shows through
}

TEST_F(PreviewForm, NewPicturesRepaintOnlyTheSurface) {
  int paints = 0;
  class Counter : public QObject {
   public:
    explicit Counter(int& count) : count_(count) {}
    bool eventFilter(QObject*, QEvent* event) override {
      count_ += event->type() == QEvent::Paint;
      return false;
    }

   private:
    int& count_;
  } counter(paints);
  auto* list = form->findChild<QWidget*>(QStringLiteral("ListView2"));
  list->installEventFilter(&counter);
  for (std::uint32_t i = 0; i < 100; ++i) ShowFrame(20, 20, 0xff000000U | i);
  EXPECT_EQ(paints, 0);
}

TEST_F(PreviewForm, SliderReportsOnlyUserMoves) {
  int changes = 0;
  window->Slider1.OnChange = [&changes] { ++changes; };
  auto* slider = form->findChild<QSlider*>(QStringLiteral("Slider1"));
  window->Slider1.Value = 100;
  Stage::Settle();
  EXPECT_EQ(slider->value(), 100);
  EXPECT_EQ(changes, 0);
  QTest::keyClick(slider, Qt::Key_Left);
  EXPECT_EQ(window->Slider1.Value(), 99);
  EXPECT_EQ(changes, 1);
}

TEST_F(PreviewForm, ReportsMouseMovesOverTheSurface) {
  int moves = 0;
  window->Picture3.OnMouseMove = [&moves] { ++moves; };
  QTest::mouseMove(surface, QPoint(20, 20));
  Stage::Settle();
  EXPECT_GT(moves, 0);
}

TEST_F(PreviewForm, LinkShowsItsStyleAndOpensByKey) {
  auto* label = form->findChild<QLabel*>(QStringLiteral("Label7"));
  const auto colour = [label] { return label->palette().color(label->foregroundRole()); };
  const QColor usual = colour();
  EXPECT_FALSE(label->font().underline());
  EXPECT_GT(usual.blue(), usual.red());
  window->Label7.ForeColour = kLinkHighlight;
  window->Label7.Underline = true;
  Stage::Settle();
  EXPECT_TRUE(label->font().underline());
  EXPECT_NE(colour(), usual);
  window->Label7.ForeColour = kLinkColour;
  window->Label7.Underline = false;
  Stage::Settle();
  EXPECT_FALSE(label->font().underline());
  EXPECT_EQ(colour(), usual);

  int opened = 0;
  window->Label7.OnDoubleClick = [&opened] { ++opened; };
  QTest::mouseDClick(label, Qt::LeftButton);
  QTest::keyClick(label, Qt::Key_Return);
  QTest::keyClick(label, Qt::Key_Space);
  QTest::keyClick(label, Qt::Key_A);
  EXPECT_EQ(opened, 3);
}

}  // namespace

}  // namespace pellora
