#include "desktop/BusTypes.h"

#include <QDBusMetaType>
#include <QVariantMap>

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

QDBusArgument& operator<<(QDBusArgument& argument, const DetailRow& detail) {
  const DownloadRow& row = detail.row;
  QVariantMap more;
  if (row.silentSeconds) more.insert(kSilentKey, *row.silentSeconds);
  argument.beginStructure();
  argument << row.id << row.index << row.name << row.url << row.state << qlonglong{row.received} << qlonglong{row.size}
           << row.percent << row.savedPath << more;
  argument.endStructure();
  return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, DetailRow& detail) {
  DownloadRow& row = detail.row;
  qlonglong received = 0;
  qlonglong size = 0;
  QVariantMap more;
  argument.beginStructure();
  argument >> row.id >> row.index >> row.name >> row.url >> row.state >> received >> size >> row.percent >>
      row.savedPath >> more;
  argument.endStructure();
  row.received = static_cast<int>(received);
  row.size = static_cast<int>(size);
  if (more.contains(kSilentKey)) row.silentSeconds = more.value(kSilentKey).toUInt();
  return argument;
}

void RegisterBusTypes() {
  qDBusRegisterMetaType<DownloadRow>();
  qDBusRegisterMetaType<QList<DownloadRow>>();
  qDBusRegisterMetaType<DetailRow>();
  qDBusRegisterMetaType<QList<DetailRow>>();
}

}  // namespace pellora
