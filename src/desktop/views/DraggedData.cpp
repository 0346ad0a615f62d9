#include "desktop/views/DraggedData.h"

namespace pellora {

namespace {
constexpr QLatin1String kLinkList("text/uri-list");
}

bool DraggedData::GetFormat(int format) const {
  return (format == kTextFormat && data_.hasFormat(QStringLiteral("text/plain"))) ||
         (format == kLinksFormat && data_.hasFormat(kLinkList));
}

std::string DraggedData::GetData(int format) const {
  if (format == kLinksFormat) return data_.data(kLinkList).toStdString();
  if (format != kTextFormat) return {};
  const QString text = data_.text();
  return text.left(text.indexOf(QChar(u'\0'))).toStdString();  // some programs include the terminating NUL
}

}  // namespace pellora
