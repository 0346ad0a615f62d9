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

// Actions of the application interface: start all waiting downloads; ask for an address.
inline constexpr const char* kResumeAllAction = "resume-all";
inline constexpr const char* kAddUrlAction = "add-url";

// Keys of the requests and replies of the downloads interface. All values of Add are texts but those with another type.
inline constexpr const char* kUrlKey = "url";
inline constexpr const char* kFolderKey = "folder";  // of the file, absolute
inline constexpr const char* kNameKey = "name";      // of the file
inline constexpr const char* kUserKey = "user";
inline constexpr const char* kPasswordKey = "password";
inline constexpr const char* kChecksumKey = "checksum";    // ParseChecksum
inline constexpr const char* kReferrerKey = "referrer";    // address of the page
inline constexpr const char* kCookiesKey = "cookies";      // "name=value; name=value"
inline constexpr const char* kLimitKey = "limit";          // int, KiB/s; 0: none
inline constexpr const char* kLaterKey = "later";          // bool: it is not started
inline constexpr const char* kAtKey = "at";                // "YYYY-MM-DD HH:MM": not before then
inline constexpr const char* kDuplicateKey = "duplicate";  // bool: a listed download of this address begins anew
inline constexpr const char* kQuietKey = "quiet";          // bool: no window opens
inline constexpr const char* kFileKey = "file";            // bool: the URL may be that of a local file of addresses
inline constexpr const char* kBrowserKey = "browser";      // bool: page and cookies count only for the web engine
// Of a download that a browser has begun, what its own request has sent and got:
inline constexpr const char* kUserAgentKey = "user-agent";
inline constexpr const char* kSizeKey = "size";  // int64, bytes; -1: not stated
inline constexpr const char* kTypeKey = "type";  // media type, without parameters; empty: none
// Bytes: a Metalink, whose files are added. The address is then only what the sender calls it.
inline constexpr const char* kMetalinkKey = "metalink";
// Of files in an archive:
inline constexpr const char* kPatternsKey = "patterns";                 // texts, as ArchiveIndex::Matching takes them
inline constexpr const char* kExistingKey = "existing";                 // "number", "replace" or "keep"
inline constexpr const char* kArchivePasswordKey = "archive-password";  // of encrypted entries
inline constexpr const char* kEntriesKey = "entries";                   // list of ArchiveRow
inline constexpr const char* kIdKey = "id";
inline constexpr const char* kIdsKey = "ids";  // texts: of a Metalink's files, the first one too
// Why nothing was done, or why a download does not go on, in one sentence.
inline constexpr const char* kReasonKey = "reason";
inline constexpr const char* kSilentKey = "silent";
inline constexpr const char* kSpeedKey = "speed";
inline constexpr const char* kTokenKey = "activation-token";  // of the user's action, for the desktop

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
  QString id;                              // of this download for good
  std::optional<uint> silentSeconds;       // since the last byte; nullopt unless active
  std::optional<double> bytesPerSecond{};  // over the last seconds; nullopt unless the web engine is fetching it
  QString reason{};                        // why it was stopped, waits or cannot be started, in one sentence
  int limit = 0;                           // KiB/s; 0: none
};

// A record in full, (sisssxxdsa{sv}) on the bus: id, index, name, URL, state, received, size, percent, path, and a map
// of properties that not every record has; keys may be added. A map for everything would take five times as long.
struct DetailRow {
  DownloadRow row;
};

// One entry of an archive, (sxxss) on the bus.
struct ArchiveRow {
  QString name;  // with "/" at the end of a folder's
  qint64 size = 0;
  qint64 packed = 0;
  QString time;    // "YYYY-MM-DD HH:MM:SS" on the clock of the archive's maker; empty if it is not known
  QString remark;  // why it cannot be unpacked, or "encrypted"; empty if it can be
};

QDBusArgument& operator<<(QDBusArgument& argument, const DownloadRow& row);
const QDBusArgument& operator>>(const QDBusArgument& argument, DownloadRow& row);
QDBusArgument& operator<<(QDBusArgument& argument, const DetailRow& detail);
const QDBusArgument& operator>>(const QDBusArgument& argument, DetailRow& detail);
QDBusArgument& operator<<(QDBusArgument& argument, const ArchiveRow& row);
const QDBusArgument& operator>>(const QDBusArgument& argument, ArchiveRow& row);

// Call once in a process, before a list of rows is sent or read.
void RegisterBusTypes();

}  // namespace pellora

Q_DECLARE_METATYPE(pellora::DownloadRow)
Q_DECLARE_METATYPE(QList<pellora::DownloadRow>)
Q_DECLARE_METATYPE(pellora::DetailRow)
Q_DECLARE_METATYPE(QList<pellora::DetailRow>)
Q_DECLARE_METATYPE(pellora::ArchiveRow)
Q_DECLARE_METATYPE(QList<pellora::ArchiveRow>)
