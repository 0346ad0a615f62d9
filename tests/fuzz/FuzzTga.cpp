#include <algorithm>
#include <string>
#include <vector>

#include "DesktopTargets.h"
#include "Oracle.h"

namespace pellora {

namespace {

constexpr qint64 kMaxPixels = 1 << 16;

using Bytes = std::span<const unsigned char>;

// The pixels in the order of the file.
std::vector<QRgb> InFileOrder(const QImage& image, unsigned char descriptor) {
  std::vector<QRgb> pixels;
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) {
      pixels.push_back(image.pixel((descriptor & 0x10) != 0 ? image.width() - 1 - x : x,
                                   (descriptor & 0x20) != 0 ? y : image.height() - 1 - y));
    }
  }
  return pixels;
}

// Reads uncompressed pictures of whole bytes in the simplest way; black after the end of the bytes.
void DemandPlain(Bytes bytes, const std::vector<QRgb>& pixels) {
  const std::size_t step = bytes[16] / 8;
  if ((bytes[2] != 2 && bytes[2] != 3) || bytes[1] != 0 || bytes[16] % 8 != 0 || step == 2) return;
  std::size_t at = 18 + std::size_t{bytes[0]};
  for (const QRgb pixel : pixels) {
    const bool there = at + step <= bytes.size();
    const std::size_t other = step == 1 ? 0 : 1;
    const QRgb expected = there ? qRgb(bytes[at + 2 * other], bytes[at + other], bytes[at]) : qRgb(0, 0, 0);
    Demand(pixel == expected, "a plain pixel is what its bytes say");
    at += step;
  }
}

}  // namespace

void FuzzTga(std::string_view input, const std::function<QImage(std::span<const unsigned char>, qint64)>& read) {
  Choices choices(input);
  const std::size_t low = choices.Byte();
  const std::size_t cut = low + 256 * std::size_t{choices.Byte()};
  const std::string_view rest = choices.Rest();
  const Bytes bytes(reinterpret_cast<const unsigned char*>(rest.data()), rest.size());

  const AllocationMeter meter;
  const QImage image = read(bytes, kMaxPixels);
  const std::uint64_t maxPixels = std::min<std::uint64_t>(kMaxPixels, 64 * bytes.size() + 128);
  Demand(meter.Bytes() <= 4 * maxPixels + 16 * bytes.size() + 8192, "a picture takes no memory that it cannot fill");
  if (image.isNull()) return;
  Demand(bytes.size() >= 18, "a picture has a header");
  Demand(image.width() == bytes[12] + 256 * bytes[13] && image.height() == bytes[14] + 256 * bytes[15],
         "a picture has the size in its header");
  Demand(static_cast<std::uint64_t>(image.width()) * static_cast<std::uint64_t>(image.height()) <= maxPixels,
         "a picture is no larger than allowed");
  const std::vector<QRgb> pixels = InFileOrder(image, bytes[17]);
  DemandPlain(bytes, pixels);

  const QImage shorter = read(bytes.first(std::min(cut, bytes.size())), kMaxPixels);
  if (shorter.isNull()) return;
  const std::vector<QRgb> first = InFileOrder(shorter, bytes[17]);
  Demand(first.size() == pixels.size(), "a truncated file has the size in its header");
  const auto [differs, unused] = std::mismatch(first.begin(), first.end(), pixels.begin());
  Demand(std::all_of(differs, first.end(), [](QRgb pixel) { return pixel == qRgb(0, 0, 0); }),
         "a file cut short is the whole one and then black");
}

}  // namespace pellora
