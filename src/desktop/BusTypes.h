// BusTypes: bus names and types shared by the program and its command-line companion.
#pragma once

#include <QDBusArgument>
#include <QList>
#include <QMetaType>
#include <QString>
#include <optional>

namespace pellora {

inline constexpr const char* kBusName = "PelloraProject.Pellora";
inline constexpr const char* kBusPath = "/PelloraProject/Pellora";
inline constexpr const char* kAutomationInterface = "PelloraProject.Pellora";
inline constexpr const char* kDownloadsInterface = "PelloraProject.Downloads";
inline constexpr const char* kApplicationInterface = "org.freedesktop.Application";

// The action of the application interface that starts all waiting downloads.
inline constexpr const char* kResumeAllAction = "resume-all";

// Keys of the requests and replies of the downloads interface.
inline constexpr const char* kUrlKey = "url";
inline constexpr const char* kIdKey = "id";
inline constexpr const char* kReasonKey =
    "reason";  // why nothing was done, or why a download does not go on, in one sentence
inline constexpr const char* kSilentKey = "silent";
inline constexpr const char* kSpeedKey = "speed";

// One record of the list, (isssiids) on the bus, where bytes are held at the largest 32-bit value.
struct DownloadRow {
  int index = 0;
  QString name;
  QString url;
  QString state;        // "finished", "active", "scheduled", "failed", "queued", "paused" or "waiting"
  qint64 received = 0;  // bytes
  qint64 size = 0;      // bytes; 0 if unknown
  double percent = 0;
  QString savedPath;  // empty until finished
  // In a DetailRow only:
  QString id;                              // unique to this record while the program runs
  std::optional<uint> silentSeconds;       // since the last byte; nullopt unless active
  std::optional<double> bytesPerSecond{};  // over the last seconds; nullopt unless the web engine is fetching it
  QString reason{};                        // why it was stopped, waits or cannot be started, in one sentence
};

// A record in full, (sisssxxdsa{sv}) on the bus: id, index, name, URL, state, received, size, percent, path, and a map
// of properties that not every record has; keys may be added. A map for everything would take five times as long.
struct DetailRow {
  DownloadRow row;
};

QDBusArgument& operator<<(QDBusArgument& argument, const DownloadRow& row);
const QDBusArgument& operator>>(const QDBusArgument& argument, DownloadRow& row);
QDBusArgument& operator<<(QDBusArgument& argument, const DetailRow& detail);
const QDBusArgument& operator>>(const QDBusArgument& argument, DetailRow& detail);

// Call once in a process, before a list of rows is sent or read.
void RegisterBusTypes();

}  // namespace pellora

Q_DECLARE_METATYPE(pellora::DownloadRow)
Q_DECLARE_METATYPE(QList<pellora::DownloadRow>)
Q_DECLARE_METATYPE(pellora::DetailRow)
Q_DECLARE_METATYPE(QList<pellora::DetailRow>)
