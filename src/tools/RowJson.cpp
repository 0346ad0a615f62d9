#include "tools/RowJson.h"

#include <QJsonDocument>
#include <QJsonValue>

namespace pellora {

namespace {

QJsonValue TextOrNull(const QString& text) { return text.isEmpty() ? QJsonValue() : QJsonValue(text); }

}  // namespace

QJsonObject JsonOf(const DownloadRow& row) {
  QJsonObject object{{"id", row.id},
                     {"index", row.index},
                     {"name", row.name},
                     {"url", row.url},
                     {"state", row.state},
                     {"percent", row.percent},
                     {"received", row.received},
                     {"size", row.size > 0 ? QJsonValue(row.size) : QJsonValue()},
                     {"path", TextOrNull(row.savedPath)},
                     {"speed", QJsonValue()},
                     {"silent", QJsonValue()},
                     {"limit", row.limit > 0 ? QJsonValue(row.limit) : QJsonValue()},
                     {"reason", TextOrNull(row.reason)}};
  if (row.bytesPerSecond) object.insert("speed", *row.bytesPerSecond);
  if (row.silentSeconds) object.insert("silent", qint64{*row.silentSeconds});
  return object;
}

QJsonObject JsonOf(const Awaited& item) {
  QJsonObject object = item.id.isEmpty() ? QJsonObject() : JsonOf(item.last);
  const bool finished = item.outcome == Awaited::Outcome::Finished;
  object.insert("outcome", QString(finished ? "finished" : "failed"));
  object.insert("given", TextOrNull(item.given));
  if (!finished) object.insert("reason", item.reason);
  return object;
}

QJsonObject JsonOf(const ArchiveRow& row) {
  return {{"name", row.name},
          {"size", row.size},
          {"packed", row.packed},
          {"time", TextOrNull(row.time)},
          {"remark", TextOrNull(row.remark)}};
}

// Only strings can hold such a character.
QByteArray JsonLine(const QJsonObject& object) {
  const QString plain = QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
  QString line;
  for (const QChar character : plain) {
    if (IsUnprintable(character)) {
      line += QStringLiteral("\\u%1").arg(uint{character.unicode()}, 4, 16, QLatin1Char('0'));
    } else {
      line += character;
    }
  }
  return line.toUtf8();
}

}  // namespace pellora
