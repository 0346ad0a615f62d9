#include "desktop/QtClipboard.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>

namespace pellora {

QtClipboard::QtClipboard() {
  connect(QGuiApplication::clipboard(), &QClipboard::dataChanged, this, [this] { changed_ = true; });
}

std::optional<std::string> QtClipboard::Text() const {
  if (!changed_) return text_;
  changed_ = false;
  text_.reset();
  const QMimeData* const data = QGuiApplication::clipboard()->mimeData();
  if (data == nullptr || !data->hasText()) return text_;
  const QByteArray bytes = data->text().toUtf8();
  if (bytes.size() <= kMaxBytes) text_ = bytes.toStdString();
  return text_;
}

}  // namespace pellora
