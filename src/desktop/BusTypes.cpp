#include "desktop/BusTypes.h"

#include <QDBusMetaType>

namespace pellora {

QDBusArgument& operator<<(QDBusArgument& argument, const DownloadRow& row) {
  argument.beginStructure();
  argument << row.index << row.name << row.url << row.state << row.received << row.size << row.percent << row.savedPath;
  argument.endStructure();
  return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, DownloadRow& row) {
  argument.beginStructure();
  argument >> row.index >> row.name >> row.url >> row.state >> row.received >> row.size >> row.percent >> row.savedPath;
  argument.endStructure();
  return argument;
}

QVariantMap RowMap(const DownloadRow& row) {
  QVariantMap map{{kIdKey, row.id},
                  {"index", row.index},
                  {"name", row.name},
                  {kUrlKey, row.url},
                  {"state", row.state},
                  {"received", qlonglong{row.received}},
                  {"size", qlonglong{row.size}},
                  {"percent", row.percent},
                  {"path", row.savedPath}};
  if (row.silentSeconds) map.insert("silent", *row.silentSeconds);
  return map;
}

DownloadRow RowOf(const QVariantMap& map) {
  DownloadRow row;
  row.id = map.value(kIdKey).toString();
  row.index = map.value("index").toInt();
  row.name = map.value("name").toString();
  row.url = map.value(kUrlKey).toString();
  row.state = map.value("state").toString();
  row.received = map.value("received").toInt();
  row.size = map.value("size").toInt();
  row.percent = map.value("percent").toDouble();
  row.savedPath = map.value("path").toString();
  if (map.contains("silent")) row.silentSeconds = map.value("silent").toUInt();
  return row;
}

void RegisterBusTypes() {
  qDBusRegisterMetaType<DownloadRow>();
  qDBusRegisterMetaType<QList<DownloadRow>>();
  qDBusRegisterMetaType<QList<QVariantMap>>();
}

}  // namespace pellora
