#include <gtest/gtest.h>

#include <QImage>
#include <QPixmap>

#include "desktop/views/Icons.h"

namespace pellora {

namespace {

int PaintedPixels(const QIcon& icon, int extent) {
  const QImage image = icon.pixmap(extent, extent).toImage().convertToFormat(QImage::Format_ARGB32);
  int painted = 0;
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) painted += qAlpha(image.pixel(x, y)) > 128 ? 1 : 0;
  }
  return painted;
}

}  // namespace

TEST(Icons, ExistForEveryToolbarKey) {
  for (const char* key : {"AddURL", "RemoveURL", "ResetList", "Options", "PauseDownload", "PauseAll", "ResumeDownloads",
                          "Quit", "Browser"}) {
    EXPECT_GT(PaintedPixels(ToolIcon(key), 24), 200) << key;
  }
  EXPECT_TRUE(ToolIcon("Other").isNull());
}

TEST(Icons, DifferForEveryRowState) {
  std::vector<QImage> seen;
  for (const char* key : {"notfound", "down", "stop", "shed", "wrong"}) {
    EXPECT_GT(PaintedPixels(RowIcon(key), 16), 60) << key;
    const QImage image = RowIcon(key).pixmap(16, 16).toImage();
    for (const QImage& other : seen) EXPECT_NE(image, other) << key;
    seen.push_back(image);
  }
  EXPECT_TRUE(RowIcon("").isNull());
}

TEST(Icons, FallBackToBuiltInFileTypesWithoutATheme) {
  EXPECT_GT(PaintedPixels(FileTypeIcon("a.zip"), 16), 60);
  EXPECT_GT(PaintedPixels(FileTypeIcon("no extension"), 16), 60);
  EXPECT_GT(PaintedPixels(RowIcon("song.mp3"), 16), 60);
}

TEST(Icons, FollowTheExtensionOfAFile) {
  const auto picture = [](const QIcon& icon) { return icon.pixmap(16, 16).toImage(); };
  EXPECT_EQ(picture(RowIcon("file:zip")), picture(FileTypeIcon("a.zip")));
  EXPECT_EQ(picture(RowIcon("file:MP3")), picture(FileTypeIcon("a.mp3")));
  EXPECT_NE(picture(RowIcon("file:zip")), picture(RowIcon("file:mp3")));
  EXPECT_EQ(picture(RowIcon("file:")), picture(FileTypeIcon("no extension")));
}

}  // namespace pellora
