#include "desktop/DisplayText.h"

#include <QGuiApplication>
#include <QStringDecoder>
#include <QTextBoundaryFinder>
#include <QTextDocument>
#include <algorithm>
#include <array>

#include "desktop/Directions.h"

namespace pellora {

namespace {

constexpr QChar kEllipsis(0x2026);

// Windows-1252 from 0x80 to 0x9F; the five unassigned bytes keep their number.
constexpr std::array<char16_t, 32> kWindows1252{0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                                0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
                                                0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                                0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

QString Decode(const std::string& bytes) {
  const QByteArrayView view(bytes.data(), static_cast<qsizetype>(bytes.size()));
  QStringDecoder decoder(QStringConverter::Utf8, QStringConverter::Flag::Stateless);
  QString text = decoder.decode(view);
  if (!decoder.hasError()) return text;
  text.clear();
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text += QChar(byte >= 0x80 && byte < 0xA0 ? kWindows1252[byte - 0x80U] : char16_t{byte});
  }
  return text;
}

// Where to cut a text to at most `limit` units: after the last whole grapheme that fits. A grapheme may be of any
// length; one that is too long is cut between two code points.
qsizetype CutPosition(const QString& text, qsizetype limit) {
  // One unit more, so that the finder sees whether a grapheme ends at the limit.
  QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text.constData(), limit + 1);
  finder.setPosition(limit);
  const qsizetype end = finder.isAtBoundary() ? limit : finder.toPreviousBoundary();
  if (end > limit / 2) return end;
  return text.at(limit).isLowSurrogate() ? limit - 1 : limit;
}

// Where the last part of a text starts that has at most `length` units: at no mark or half character, if that is near.
qsizetype TailPosition(const QString& text, qsizetype length) {
  qsizetype at = text.size() - length;
  const qsizetype latest = at + length / 2;
  while (at < latest && (text.at(at).isMark() || text.at(at).isLowSurrogate())) ++at;
  return text.at(at).isLowSurrogate() ? at + 1 : at;
}

QString CutForDrawing(const QString& text) {
  if (text.size() <= kMaxDrawnLength) return text;
  return text.first(CutPosition(text, kMaxDrawnLength)) + kEllipsis;
}

QString CutMiddle(const QString& text, qsizetype longest) {
  if (text.size() <= longest) return text;
  constexpr qsizetype kTail = 200;  // longer than any fixed end
  const qsizetype tail = std::min(kTail, longest * 2 / 3);
  return text.first(CutPosition(text, longest - tail)) + kEllipsis + text.sliced(TailPosition(text, tail));
}

QString WithoutDirectionChanges(QString text) {
  for (QChar& character : text) {
    if (ChangesDirection(character.unicode())) character = QChar::ReplacementCharacter;
  }
  return text;
}

}  // namespace

QString DisplayText(const std::string& bytes) { return WithoutDirectionChanges(CutForDrawing(WholeText(bytes))); }

QString DisplayLine(const std::string& bytes) { return WithoutDirectionChanges(CutForDrawing(WholeLine(bytes))); }

QString DisplayMessage(const std::string& bytes, qsizetype longest) {
  return WithoutDirectionChanges(CutMiddle(WholeText(bytes), longest));
}

QString WholeText(const std::string& bytes) {
  return Decode(bytes).replace(QChar(0), QChar(QChar::ReplacementCharacter));
}

QString WholeLine(const std::string& bytes) {
  QString text = Decode(bytes);
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

QString Isolated(const QString& text) {
  constexpr char16_t kFirstStrongIsolate = 0x2068;
  constexpr char16_t kPopIsolate = 0x2069;
  if (!QGuiApplication::isRightToLeft() || text.isEmpty()) return text;
  return QChar(kFirstStrongIsolate) + text + QChar(kPopIsolate);
}

std::string ModelText(const QString& shown) { return shown.toStdString(); }

}  // namespace pellora
