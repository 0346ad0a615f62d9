#include "desktop/QtClipboard.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <chrono>

#include "desktop/XClipboard.h"

namespace pellora {

namespace {

constexpr std::chrono::milliseconds kPatience{1500};

std::optional<std::string> UpTo(qsizetype limit, const QByteArray& bytes) {
  return bytes.size() <= limit ? std::optional(bytes.toStdString()) : std::nullopt;
}

}  // namespace

QtClipboard::QtClipboard() {
  connect(QGuiApplication::clipboard(), &QClipboard::dataChanged, this, [this] { changed_ = true; });
}

std::optional<std::string> QtClipboard::Text() const {
  if (changed_) text_ = Read();
  changed_ = false;
  return text_;
}

std::optional<std::string> QtClipboard::Read() {
  const QClipboard& clipboard = *QGuiApplication::clipboard();
  // The program itself could not answer while it waits.
  if (QGuiApplication::platformName() == QLatin1String("xcb") && !clipboard.ownsClipboard()) {
    const XClipboardText read = ReadXClipboard(kMaxBytes, kPatience);
    if (read.offered) return read.text ? UpTo(kMaxBytes, QString::fromStdString(*read.text).toUtf8()) : std::nullopt;
  }
  const QMimeData* const data = clipboard.mimeData();
  return data != nullptr && data->hasText() ? UpTo(kMaxBytes, data->text().toUtf8()) : std::nullopt;
}

}  // namespace pellora
