#include <gtest/gtest.h>
#include <sys/stat.h>

#include <QColor>
#include <QImage>
#include <QString>
#include <string>

#include "Support.h"
#include "desktop/preview/Still.h"

namespace pellora {
namespace {

constexpr QSize kBox(200, 150);

class Stills : public testing::Test {
 protected:
  // A picture of one colour, written in that format.
  std::string Write(const std::string& name, const char* format, QSize size, const QColor& colour = Qt::red) {
    QImage image(size, QImage::Format_ARGB32);
    image.fill(colour);
    std::string path = folder.Path(name);
    EXPECT_TRUE(image.save(QString::fromStdString(path), format));
    return path;
  }
  static QImage Shown(const std::string& path) { return FitInto(ReadStill(path, kBox), kBox); }

  Folder folder;
};

TEST_F(Stills, AreRecognizedByContent) {
  for (const char* format : {"JPG", "PNG", "BMP"}) {
    const std::string path = Write(std::string("named wrongly.") + "jpg", format, {400, 100});
    EXPECT_TRUE(IsStill(path)) << format;
    const QImage shown = Shown(path);
    EXPECT_EQ(shown.size(), QSize(200, 50)) << format;
    EXPECT_GT(qRed(shown.pixel(100, 25)), 240) << format;
  }
}

TEST_F(Stills, KeepTheirProportionsInsideTheBox) {
  EXPECT_EQ(Shown(Write("wide.png", "PNG", {1000, 10})).size(), QSize(200, 2));
  EXPECT_EQ(Shown(Write("high.png", "PNG", {20, 1000})).size(), QSize(3, 150));
  EXPECT_EQ(Shown(Write("small.png", "PNG", {4, 3})).size(), QSize(200, 150));
  EXPECT_EQ(Shown(Write("line.png", "PNG", {5000, 1})).size(), QSize(200, 1));
}

TEST_F(Stills, ShowACheckerboardBehindTransparency) {
  const QImage shown = Shown(Write("clear.png", "PNG", {200, 150}, QColor(0, 0, 0, 0)));
  EXPECT_EQ(shown.pixel(0, 0), qRgb(0xdd, 0xdd, 0xdd));
  EXPECT_EQ(shown.pixel(8, 0), qRgb(255, 255, 255));
}

TEST_F(Stills, DecodeALargePhotographAtReducedSize) {
  const std::string path = Write("large.jpg", "JPG", {4000, 3000});
  EXPECT_EQ(ReadStill(path, kBox).size(), kBox);
}

TEST_F(Stills, RefuseToUseMoreMemoryThanAllowed) {
  // Only a header, for 60,000 by 60,000 pixels.
  std::string bmp = Content(Write("a.bmp", "BMP", {4, 4}));
  for (const int at : {18, 22}) {
    bmp[static_cast<std::size_t>(at)] = '\x60';
    bmp[static_cast<std::size_t>(at) + 1] = '\xea';
  }
  Put(folder.Path("huge.bmp"), bmp);
  EXPECT_TRUE(ReadStill(folder.Path("huge.bmp"), kBox).isNull());
}

TEST_F(Stills, RejectOtherFiles) {
  Put(folder.Path("a.jpg"), "no picture at all");
  Put(folder.Path("empty.png"), "");
  Put(folder.Path("a.svg"), "<svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'/>");
  Write("folder", "PNG", {4, 4});
  ASSERT_EQ(mkfifo(folder.Path("pipe.png").c_str(), 0600), 0);
  for (const char* name : {"a.jpg", "empty.png", "a.svg", "pipe.png", "missing.png", "."}) {
    EXPECT_FALSE(IsStill(folder.Path(name))) << name;
    EXPECT_TRUE(ReadStill(folder.Path(name), kBox).isNull()) << name;
  }
}

TEST_F(Stills, ShowThePresentPartOfAPartialFileOrNothing) {
  for (const char* format : {"JPG", "PNG", "BMP"}) {
    const std::string whole = Content(Write("a", format, {300, 300}));
    for (std::size_t part = 0; part < whole.size(); part += whole.size() / 40 + 1) {
      Put(folder.Path("part.jpg"), whole.substr(0, part));
      const QImage shown = Shown(folder.Path("part.jpg"));
      EXPECT_TRUE(shown.isNull() || shown.size() == QSize(150, 150)) << format << part;
    }
  }
}

}  // namespace
}  // namespace pellora
