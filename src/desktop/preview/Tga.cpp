#include "desktop/preview/Tga.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace pellora {

namespace {

constexpr std::size_t kHeaderSize = 18;

enum Kind { kPalette = 1, kTrueColour = 2, kGrey = 3 };

struct Header {
  bool valid = false;
  int kind = 0;
  bool packed = false;  // run-length encoded
  std::size_t paletteStart = 0;
  int paletteFirst = 0;
  int paletteCount = 0;
  int paletteBits = 0;
  int width = 0;
  int height = 0;
  int bits = 0;
  bool fromTop = false;
  bool fromRight = false;
};

int Word(std::span<const unsigned char> bytes, std::size_t at) { return bytes[at] | bytes[at + 1] << 8; }

bool IsColourDepth(int bits) { return bits == 15 || bits == 16 || bits == 24 || bits == 32; }

Header ReadHeader(std::span<const unsigned char> bytes) {
  Header header;
  if (bytes.size() < kHeaderSize) return header;
  const int hasPalette = bytes[1];
  const int type = bytes[2];
  header.kind = type & 3;
  header.packed = (type & 8) != 0;
  header.paletteStart = kHeaderSize + bytes[0];
  header.paletteFirst = Word(bytes, 3);
  header.paletteCount = Word(bytes, 5);
  header.paletteBits = bytes[7];
  header.width = Word(bytes, 12);
  header.height = Word(bytes, 14);
  header.bits = bytes[16];
  header.fromRight = (bytes[17] & 0x10) != 0;
  header.fromTop = (bytes[17] & 0x20) != 0;
  if ((type & ~11) != 0 || hasPalette > 1 || header.width == 0 || header.height == 0) return header;
  switch (header.kind) {
    case kPalette:
      header.valid = hasPalette == 1 && header.bits == 8 && IsColourDepth(header.paletteBits);
      break;
    case kTrueColour:
      header.valid = IsColourDepth(header.bits) && (hasPalette == 0 || IsColourDepth(header.paletteBits));
      break;
    case kGrey:
      header.valid = header.bits == 8 && hasPalette == 0;
      break;
    default:
      break;
  }
  return header;
}

int BytesOf(int bits) { return (bits + 7) / 8; }

// Alpha is ignored: many writers leave it 0 in opaque pictures.
QRgb ColourAt(const unsigned char* at, int bits) {
  if (bits == 8) return qRgb(at[0], at[0], at[0]);
  if (bits >= 24) return qRgb(at[2], at[1], at[0]);
  const int word = at[0] | at[1] << 8;
  const auto widened = [](int five) { return (five << 3) | (five >> 2); };
  return qRgb(widened(word >> 10 & 31), widened(word >> 5 & 31), widened(word & 31));
}

// Decodes one pixel after the other; Next returns false at the end of the data.
class Pixels {
 public:
  Pixels(std::span<const unsigned char> data, const Header& header, std::vector<QRgb> palette)
      : data_(data),
        header_(header),
        size_(static_cast<std::size_t>(BytesOf(header.bits))),
        palette_(std::move(palette)) {}

  bool Next(QRgb& pixel) {
    if (!header_.packed) return Take(pixel);
    if (left_ == 0) {
      if (at_ >= data_.size()) return false;
      const int packet = data_[at_++];
      left_ = (packet & 127) + 1;
      repeating_ = (packet & 128) != 0;
      if (repeating_ && !Take(repeated_)) return false;
    }
    --left_;
    if (!repeating_) return Take(pixel);
    pixel = repeated_;
    return true;
  }

 private:
  bool Take(QRgb& pixel) {
    if (data_.size() - at_ < size_) return false;
    const unsigned char* const from = data_.data() + at_;
    at_ += size_;
    if (header_.kind != kPalette) {
      pixel = ColourAt(from, header_.bits);
      return true;
    }
    const int entry = from[0] - header_.paletteFirst;
    const bool known = entry >= 0 && static_cast<std::size_t>(entry) < palette_.size();
    pixel = known ? palette_[static_cast<std::size_t>(entry)] : qRgb(0, 0, 0);
    return true;
  }

  std::span<const unsigned char> data_;
  const Header& header_;
  const std::size_t size_;
  const std::vector<QRgb> palette_;
  std::size_t at_ = 0;
  int left_ = 0;
  bool repeating_ = false;
  QRgb repeated_ = 0;
};

}  // namespace

QImage ReadTga(std::span<const unsigned char> bytes, qint64 maxPixels) {
  const Header header = ReadHeader(bytes);
  if (!header.valid || qint64{header.width} * header.height > maxPixels) return {};
  const auto entry = static_cast<std::size_t>(BytesOf(header.paletteBits));
  const std::size_t paletteSize = bytes[1] == 1 ? entry * static_cast<std::size_t>(header.paletteCount) : 0;
  if (bytes.size() < header.paletteStart + paletteSize) return {};

  std::vector<QRgb> palette;
  for (int i = 0; header.kind == kPalette && i < header.paletteCount; ++i) {
    palette.push_back(
        ColourAt(bytes.data() + header.paletteStart + entry * static_cast<std::size_t>(i), header.paletteBits));
  }
  const std::span<const unsigned char> data = bytes.subspan(header.paletteStart + paletteSize);
  // A run-length packet of two bytes or more holds at most 128 pixels.
  if (qint64{header.width} * header.height > static_cast<qint64>(data.size()) * 64 + 128) return {};

  QImage image(header.width, header.height, QImage::Format_RGB32);
  if (image.isNull()) return {};
  image.fill(Qt::black);
  Pixels pixels(data, header, std::move(palette));
  for (int y = 0; y < header.height; ++y) {
    auto* const row =
        reinterpret_cast<QRgb*>(image.scanLine(header.fromTop ? y : header.height - 1 - y));  // NOLINT: 4 bytes a pixel
    for (int x = 0; x < header.width; ++x) {
      if (!pixels.Next(row[header.fromRight ? header.width - 1 - x : x])) return image;
    }
  }
  return image;
}

}  // namespace pellora
