#include "desktop/BusTypes.h"

#include <QDBusMetaType>
#include <QVariantMap>
#include <algorithm>
#include <limits>

namespace pellora {

namespace {

int Held(qint64 bytes) { return static_cast<int>(std::min(bytes, qint64{std::numeric_limits<int>::max()})); }

}  // namespace

QDBusArgument& operator<<(QDBusArgument& argument, const DownloadRow& row) {
  argument.beginStructure();
  argument << row.index << row.name << row.url << row.state << Held(row.received) << Held(row.size) << row.percent
           << row.savedPath;
  argument.endStructure();
  return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, DownloadRow& row) {
  int received = 0;
  int size = 0;
  argument.beginStructure();
  argument >> row.index >> row.name >> row.url >> row.state >> received >> size >> row.percent >> row.savedPath;
  argument.endStructure();
  row.received = received;
  row.size = size;
  return argument;
}

QDBusArgument& operator<<(QDBusArgument& argument, const DetailRow& detail) {
  const DownloadRow& row = detail.row;
  QVariantMap more;
  if (row.silentSeconds) more.insert(kSilentKey, *row.silentSeconds);
  if (row.bytesPerSecond) more.insert(kSpeedKey, *row.bytesPerSecond);
  if (!row.reason.isEmpty()) more.insert(kReasonKey, row.reason);
  if (row.limit > 0) more.insert(kLimitKey, row.limit);
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
  row.received = received;
  row.size = size;
  row.reason = more.value(kReasonKey).toString();
  row.limit = more.value(kLimitKey).toInt();
  if (more.contains(kSpeedKey)) row.bytesPerSecond = more.value(kSpeedKey).toDouble();
  if (more.contains(kSilentKey)) row.silentSeconds = more.value(kSilentKey).toUInt();
  return argument;
}

QDBusArgument& operator<<(QDBusArgument& argument, const ArchiveRow& row) {
  argument.beginStructure();
  argument << row.name << qlonglong{row.size} << qlonglong{row.packed} << row.time << row.remark;
  argument.endStructure();
  return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, ArchiveRow& row) {
  qlonglong size = 0;
  qlonglong packed = 0;
  argument.beginStructure();
  argument >> row.name >> size >> packed >> row.time >> row.remark;
  argument.endStructure();
  row.size = size;
  row.packed = packed;
  return argument;
}

void RegisterBusTypes() {
  qDBusRegisterMetaType<DownloadRow>();
  qDBusRegisterMetaType<QList<DownloadRow>>();
  qDBusRegisterMetaType<DetailRow>();
  qDBusRegisterMetaType<QList<DetailRow>>();
  qDBusRegisterMetaType<ArchiveRow>();
  qDBusRegisterMetaType<QList<ArchiveRow>>();
}

}  // namespace pellora
