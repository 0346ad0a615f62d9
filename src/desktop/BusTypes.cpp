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

void RegisterBusTypes() {
  qDBusRegisterMetaType<DownloadRow>();
  qDBusRegisterMetaType<QList<DownloadRow>>();
}

}  // namespace pellora
