#include "desktop/preview/Still.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QByteArray>
#include <QByteArrayView>
#include <QFile>
#include <QImageReader>
#include <QPainter>
#include <algorithm>
#include <array>
#include <span>

#include "core/Ascii.h"
#include "desktop/preview/Tga.h"

namespace pellora {

namespace {

constexpr int kMaxMegabytes = 256;  // of one decoded picture
constexpr qint64 kMaxPixels = qint64{kMaxMegabytes} * 1024 * 1024 / 4;
constexpr qint64 kMaxTgaBytes = qint64{kMaxMegabytes} * 1024 * 1024;
constexpr int kChequer = 8;
constexpr std::array<QByteArrayView, 3> kSignatures = {"\xff\xd8\xff", "\x89PNG\r\n\x1a\n", "BM"};  // JPG, PNG, BMP
constexpr qint64 kSignatureLength = 8;

// Opens only regular files.
bool OpenFile(QFile& file, const std::string& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor < 0) return false;
  struct stat status {};
  if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode) ||
      !file.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
    close(descriptor);
    return false;
  }
  return true;
}

// Only these formats: Qt may have decoders for others.
bool IsKnownFormat(const QByteArray& format) { return format == "jpeg" || format == "png" || format == "bmp"; }

bool IsTga(const std::string& path) { return EndsWithNoCase(path, ".tga"); }

QImage ReadTgaFile(QFile& file) {
  const QByteArray bytes = file.read(std::min(file.size(), kMaxTgaBytes));
  return ReadTga(std::span(reinterpret_cast<const unsigned char*>(bytes.constData()),  // NOLINT: the same bytes
                           static_cast<std::size_t>(bytes.size())),
                 kMaxPixels);
}

}  // namespace

bool IsStill(const std::string& path) {
  QFile file;
  if (!OpenFile(file, path)) return false;
  const QByteArray start = file.peek(kSignatureLength);
  return IsTga(path) ||
         std::any_of(kSignatures.begin(), kSignatures.end(), [&](auto mark) { return start.startsWith(mark); });
}

QImage ReadStill(const std::string& path, QSize box) {
  QFile file;
  if (!OpenFile(file, path)) return {};
  if (IsTga(path)) return ReadTgaFile(file);
  const QByteArray format = QImageReader::imageFormat(&file);
  if (!IsKnownFormat(format)) return {};
  QImageReader::setAllocationLimit(kMaxMegabytes);
  QImageReader reader(&file, format);
  reader.setAutoTransform(true);
  // Decoding a large photograph at a reduced size takes a fraction of the time and memory.
  const QSize size = reader.size();
  const QSize upright =
      reader.transformation().testFlag(QImageIOHandler::TransformationRotate90) ? box.transposed() : box;
  if (format == "jpeg" && size.isValid() && (size.width() > upright.width() || size.height() > upright.height())) {
    reader.setScaledSize(size.scaled(upright, Qt::KeepAspectRatio).expandedTo({1, 1}));
  }
  return reader.read();
}

QImage FitInto(const QImage& image, QSize box) {
  if (image.isNull() || box.isEmpty()) return {};
  const QSize size = image.size().scaled(box, Qt::KeepAspectRatio).expandedTo({1, 1});
  const QImage scaled =
      image.size() == size ? image : image.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
  if (!scaled.hasAlphaChannel()) return scaled.convertToFormat(QImage::Format_RGB32);
  QImage opaque(size, QImage::Format_RGB32);
  opaque.fill(Qt::white);
  QPainter painter(&opaque);
  for (int y = 0; y < size.height(); y += kChequer) {
    for (int x = y / kChequer % 2 * kChequer; x < size.width(); x += 2 * kChequer) {
      painter.fillRect(x, y, kChequer, kChequer, QColor(0xdd, 0xdd, 0xdd));
    }
  }
  painter.drawImage(0, 0, scaled);
  painter.end();
  return opaque;
}

}  // namespace pellora
