#include "tools/HostList.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>
#include <iterator>

namespace pellora {

namespace {

constexpr qsizetype kMostRows = 100;
constexpr qsizetype kLongestShown = 300;  // characters

// The beginning of the text, in whole characters.
QString Shown(const QString& text) {
  const bool halves = text.size() > kLongestShown && text.at(kLongestShown - 1).isHighSurrogate();
  return text.left(halves ? kLongestShown - 1 : kLongestShown);
}

QJsonObject RowOf(const DownloadRow& row) {
  return {{"id", Shown(row.id)},
          {"name", Shown(row.name)},
          {"state", row.state},
          {"received", row.received},
          {"size", row.size},
          {"percent", row.percent},
          {"speed", row.bytesPerSecond.value_or(0)},
          {"reason", Shown(row.reason)}};
}

}  // namespace

QByteArray ListText(const QList<DownloadRow>& rows) {
  const auto isActive = [](const DownloadRow& row) { return row.state == QLatin1String("active"); };
  QList<DownloadRow> shown;
  std::copy_if(rows.begin(), rows.end(), std::back_inserter(shown),
               [](const DownloadRow& row) { return row.state != QLatin1String("finished"); });
  std::stable_partition(shown.begin(), shown.end(), isActive);
  const qsizetype more = std::max<qsizetype>(0, shown.size() - kMostRows);
  QJsonArray downloads;
  for (const DownloadRow& row : shown.first(shown.size() - more)) downloads.append(RowOf(row));
  const auto running = std::count_if(shown.begin(), shown.end(), isActive);
  const QJsonObject answer{
      {"ok", true}, {"running", static_cast<qint64>(running)}, {"more", more}, {"downloads", downloads}};
  return QJsonDocument(answer).toJson(QJsonDocument::Compact);
}

}  // namespace pellora
