#include <gtest/gtest.h>

#include <QColor>
#include <random>
#include <string>
#include <vector>

#include "desktop/preview/Tga.h"

namespace pellora {
namespace {

using Bytes = std::vector<unsigned char>;

constexpr qint64 kMaxPixels = 1 << 20;
const QRgb kRed = qRgb(255, 0, 0);
const QRgb kGreen = qRgb(0, 255, 0);
const QRgb kBlue = qRgb(0, 0, 255);
const QRgb kWhite = qRgb(255, 255, 255);

// A picture of 2 by 2: red, green above blue, white; top row first.
Bytes Header(int type, int bits, int width = 2, int height = 2, int descriptor = 0x20) {
  Bytes bytes(18);
  bytes[2] = static_cast<unsigned char>(type);
  bytes[12] = static_cast<unsigned char>(width & 255);
  bytes[13] = static_cast<unsigned char>(width >> 8);
  bytes[14] = static_cast<unsigned char>(height & 255);
  bytes[15] = static_cast<unsigned char>(height >> 8);
  bytes[16] = static_cast<unsigned char>(bits);
  bytes[17] = static_cast<unsigned char>(descriptor);
  return bytes;
}

Bytes With(Bytes start, std::initializer_list<int> more) {
  for (const int byte : more) start.push_back(static_cast<unsigned char>(byte));
  return start;
}

Bytes Palette(Bytes header, int first = 0) {
  header[1] = 1;
  header[3] = static_cast<unsigned char>(first);
  header[5] = 4;
  header[7] = 24;
  return With(std::move(header), {0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 255});
}

void ExpectFourColours(const QImage& image) {
  ASSERT_EQ(image.size(), QSize(2, 2));
  EXPECT_EQ(image.pixel(0, 0), kRed);
  EXPECT_EQ(image.pixel(1, 0), kGreen);
  EXPECT_EQ(image.pixel(0, 1), kBlue);
  EXPECT_EQ(image.pixel(1, 1), kWhite);
}

TEST(Tga, ReadsTrueColour) {
  ExpectFourColours(ReadTga(With(Header(2, 24), {0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 255}), kMaxPixels));
  ExpectFourColours(
      ReadTga(With(Header(2, 32), {0, 0, 255, 0, 0, 255, 0, 0, 255, 0, 0, 0, 255, 255, 255, 0}), kMaxPixels));
  ExpectFourColours(ReadTga(With(Header(2, 16), {0, 0x7c, 0xe0, 0x03, 0x1f, 0, 0xff, 0x7f}), kMaxPixels));
}

TEST(Tga, ReadsAPaletteWithAnyFirstIndex) {
  ExpectFourColours(ReadTga(With(Palette(Header(1, 8)), {0, 1, 2, 3}), kMaxPixels));
  ExpectFourColours(ReadTga(With(Palette(Header(1, 8), 10), {10, 11, 12, 13}), kMaxPixels));
  EXPECT_EQ(ReadTga(With(Palette(Header(1, 8)), {200, 1, 2, 3}), kMaxPixels).pixel(0, 0), qRgb(0, 0, 0));
}

TEST(Tga, ReadsGrey) {
  const QImage image = ReadTga(With(Header(3, 8), {0, 50, 100, 255}), kMaxPixels);
  EXPECT_EQ(image.pixel(1, 0), qRgb(50, 50, 50));
  EXPECT_EQ(image.pixel(1, 1), kWhite);
}

TEST(Tga, ReadsRunLengthEncoding) {
  // One raw packet of two, then two runs of one.
  ExpectFourColours(
      ReadTga(With(Header(10, 24), {1, 0, 0, 255, 0, 255, 0, 0x80, 255, 0, 0, 0x80, 255, 255, 255}), kMaxPixels));
  const QImage run = ReadTga(With(Header(11, 8), {0x83, 7}), kMaxPixels);  // over the row's end
  EXPECT_EQ(run.pixel(1, 1), qRgb(7, 7, 7));
  ExpectFourColours(ReadTga(With(Palette(Header(9, 8)), {3, 0, 1, 2, 3}), kMaxPixels));
}

TEST(Tga, StartsAtTheCornerGivenInTheHeader) {
  const std::initializer_list<int> fromBottom = {255, 0, 0, 255, 255, 255, 0, 0, 255, 0, 255, 0};
  ExpectFourColours(ReadTga(With(Header(2, 24, 2, 2, 0), fromBottom), kMaxPixels));
  const std::initializer_list<int> fromRight = {0, 255, 0, 0, 0, 255, 255, 255, 255, 255, 0, 0};
  ExpectFourColours(ReadTga(With(Header(2, 24, 2, 2, 0x30), fromRight), kMaxPixels));
}

TEST(Tga, SkipsTheIdentificationField) {
  Bytes bytes = Header(3, 8);
  bytes[0] = 3;
  EXPECT_EQ(ReadTga(With(std::move(bytes), {1, 2, 3, 9, 9, 9, 9}), kMaxPixels).pixel(0, 0), qRgb(9, 9, 9));
}

TEST(Tga, LeavesTheMissingPixelsOfAShortFileBlack) {
  const QImage image = ReadTga(With(Header(3, 8), {255}), kMaxPixels);
  EXPECT_EQ(image.pixel(0, 0), kWhite);
  EXPECT_EQ(image.pixel(1, 1), qRgb(0, 0, 0));
}

TEST(Tga, RefusesOtherFiles) {
  EXPECT_TRUE(ReadTga({}, kMaxPixels).isNull());
  EXPECT_TRUE(ReadTga(Bytes(17), kMaxPixels).isNull());
  EXPECT_TRUE(ReadTga(Bytes(18), kMaxPixels).isNull());
  EXPECT_TRUE(ReadTga(Header(32, 8), kMaxPixels).isNull());
  EXPECT_TRUE(ReadTga(Header(2, 12), kMaxPixels).isNull());
  EXPECT_TRUE(ReadTga(Header(1, 8), kMaxPixels).isNull());  // no palette
  EXPECT_TRUE(ReadTga(Header(2, 24, 0, 5), kMaxPixels).isNull());
  const std::string text = "<html><body>404 Not Found, and nothing else</body></html>";
  EXPECT_TRUE(ReadTga(Bytes(text.begin(), text.end()), kMaxPixels).isNull());
}

TEST(Tga, RefusesSizesTooLargeForItsBytesOrTheLimit) {
  EXPECT_TRUE(ReadTga(With(Header(2, 24, 65535, 65535), {1, 2, 3}), qint64{1} << 40).isNull());
  EXPECT_TRUE(ReadTga(Bytes(Header(3, 8, 2000, 2000)), kMaxPixels).isNull());
}

TEST(Tga, SurvivesRandomBytes) {
  std::mt19937 random(20261121);
  const Bytes samples[] = {With(Header(2, 24), {0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 255}),
                           With(Palette(Header(9, 8)), {3, 0, 1, 2, 3}), With(Header(11, 8), {0x83, 7})};
  int pictures = 0;
  for (int round = 0; round < 60000; ++round) {
    Bytes bytes = samples[random() % 3];
    bytes.resize(bytes.size() + random() % 64, static_cast<unsigned char>(random()));
    for (unsigned changes = random() % 6; changes > 0; --changes) {
      bytes[random() % bytes.size()] = static_cast<unsigned char>(random());
    }
    if (random() % 4 == 0) bytes.resize(random() % bytes.size());
    pictures += !ReadTga(bytes, 4096).isNull();
  }
  EXPECT_GT(pictures, 1000);
}

}  // namespace
}  // namespace pellora
