// RecordLife: how a record begins, how its transfer starts, and what remains of it at its end.
//
// Every end frees the slot (InUse becomes False). What else changes differs from end to end, and only the RecordEnds
// below say how.
#pragma once

#include <cstdint>
#include <string>

#include "async/Task.h"
#include "core/Record.h"

namespace pellora {

class Program;
struct ParsedUrl;

// ConnectState
inline constexpr const char* kConnectTried = "0";
inline constexpr const char* kConnectTimedOut = "1";
// RestState
inline constexpr const char* kRestAccepted = "0";
inline constexpr const char* kRestRefused = "-1";
inline constexpr const char* kEndedFatally = "1";
// DownloadKind
inline constexpr std::int16_t kUpdateKind = 1;

// The server did not answer in time and the user kept the record. The next attempt clears it.
inline bool TimedOut(const DownloadRecord& record) { return record.ConnectState == kConnectTimedOut; }
// The server refused it, or what it sends is no file, where nobody sees a box. The next attempt clears it.
inline bool Refused(const DownloadRecord& record) { return record.InUse && record.RestState == kEndedFatally; }
// The program's own update package: once complete it is handed over rather than shown.
inline bool IsUpdate(const DownloadRecord& record) { return record.DownloadKind == kUpdateKind; }

// A record in use for `url`. The absolute value of `kind` becomes its DownloadKind.
DownloadRecord NewRecord(const Program& program, const std::string& url, const ParsedUrl& parsed, std::int16_t kind);

// The first free slot, growing the list if necessary; 0 if it is full.
std::int16_t FreeSlot(Program& program);

// What an end changes besides InUse.
struct RecordEnd {
  bool notValid = false;
  bool removed = false;
  bool emptiesUrl = false;  // rows and duplicate questions no longer find the record
  bool emptiesName = false;
  bool notActive = false;     // its part files' names are free for others
  bool fatal = false;         // sets RestState
  bool raisesSerial = false;  // its transfer and viewer see that the slot is no longer theirs, and end
};

// The server replied 4xx or 5xx. After a 5xx the transfer continues without its window: it needs its serial, and Active
// reserves the names of its parts.
inline constexpr RecordEnd kRefused{
    .notValid = true, .removed = true, .emptiesUrl = true, .emptiesName = true, .fatal = true};
// The reply is a web page, or its file has a bad name.
inline constexpr RecordEnd kNoFile{.notValid = true, .removed = true, .emptiesUrl = true};
// The FTP server refused the login or does not have the file.
inline constexpr RecordEnd kFtpRefused{.notValid = true};
// The server did not answer, and the user did not keep the record.
inline constexpr RecordEnd kGivenUp{.notValid = true, .removed = true, .emptiesUrl = true, .emptiesName = true};
// The user deleted it, running or not.
inline constexpr RecordEnd kDeleted{.notValid = true, .removed = true, .notActive = true, .raisesSerial = true};
// The user cleared it when it was finished. Its window keeps its place until it notices.
inline constexpr RecordEnd kCleared{.removed = true, .raisesSerial = true};
// An update package that is complete and about to be unpacked.
inline constexpr RecordEnd kHandedOver{};

// Frees the record's slot. The caller empties its place and refreshes the lists.
void Release(Program& program, std::int16_t index, const RecordEnd& end);

// What becomes of the transfer whose place is emptied.
enum class Evicted {
  Unloaded,
  Hidden,  // not stopped: its slot belongs to another record, and it ends when it notices
};

// Takes transfer and viewer out of their places, then unloads them, so that their handlers find the places empty.
void EmptyPlace(Program& program, std::int16_t index, Evicted evicted = Evicted::Unloaded);

enum class Start {
  Added,   // a new record; with the classic engine the server's first reply sets Active
  Listed,  // by the user
  Queued,  // it leaves the queue
};

// The queue starts this record of the web engine at that date and time, in days like DateAdded.
void QueueUntil(Program& program, int index, double at);
// True while it waits for that.
bool WaitsForItsTime(Program& program, int index);

// Puts a new transfer into the record's place and starts it, continuing the plan if there is one; not if ChooseEngine
// says that no engine may fetch it now. Nothing else runs before the transfer is in its place. Its window is shown if
// windows are, the record is not quiet and it still has its place then.
Task<> StartTransfer(Program* program, std::int16_t index, Start start);

}  // namespace pellora
