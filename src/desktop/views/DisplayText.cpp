#include "desktop/views/DisplayText.h"

#include <QByteArrayView>
#include <QStringDecoder>
#include <QTextDocument>
#include <array>

namespace pellora {

namespace {

// What Windows-1252 has at 0x80 to 0x9F; the five unused places keep their number.
constexpr std::array<char16_t, 32> kUpperControls = {0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                                     0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
                                                     0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                                     0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

QString FromWindows1252(const std::string& bytes) {
  QString text = QString::fromLatin1(bytes.data(), static_cast<qsizetype>(bytes.size()));
  for (QChar& character : text) {
    const char16_t code = character.unicode();
    if (code >= 0x80 && code <= 0x9F) character = QChar(kUpperControls[code - 0x80U]);
  }
  return text;
}

}  // namespace

QString DisplayText(const std::string& bytes) {
  QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
  const QString text = decoder(QByteArrayView(bytes.data(), static_cast<qsizetype>(bytes.size())));
  return decoder.hasError() ? FromWindows1252(bytes) : text;
}

QString DisplayLine(const std::string& bytes) {
  QString text = DisplayText(bytes);
  for (QChar& character : text) {
    if (character.category() == QChar::Other_Control || character == QChar::LineSeparator ||
        character == QChar::ParagraphSeparator) {
      character = QChar(u' ');
    }
  }
  return text;
}

QString PlainTip(const QString& text) {
  if (!Qt::mightBeRichText(text)) return text;
  return QStringLiteral("<qt>") + text.toHtmlEscaped() + QStringLiteral("</qt>");
}

std::string ModelText(const QString& shown) { return shown.toStdString(); }

}  // namespace pellora
