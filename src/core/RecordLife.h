// The life of a record: how it begins, how its transfer starts, and what its end leaves of it.
//
// Whatever ends a record frees its slot (InUse becomes False). What else changes differs, and each difference has an
// effect: the table of RecordEnds below is the one place that says which.
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

// The server did not answer in time, and the user kept the record. The next attempt clears it.
inline bool TimedOut(const DownloadRecord& record) { return record.ConnectState == kConnectTimedOut; }
// The program's own update package: once it is complete it is handed over rather than shown.
inline bool IsUpdate(const DownloadRecord& record) { return record.DownloadKind == kUpdateKind; }

// A record in use for `url`. The absolute value of `kind` becomes its DownloadKind.
DownloadRecord NewRecord(const Program& program, const std::string& url, const ParsedUrl& parsed, std::int16_t kind);

// What an end changes beside InUse. A field that is not named keeps its value.
struct RecordEnd {
  bool notValid = false;      // Valid becomes False
  bool removed = false;       // Removed becomes True
  bool emptiesUrl = false;    // no row and no duplicate question finds the record any more
  bool emptiesName = false;   // FileName
  bool notActive = false;     // Active becomes False: its part files' names are free for others
  bool fatal = false;         // RestState becomes kEndedFatally
  bool raisesSerial = false;  // its transfer and its viewer find that the slot is not theirs any more, and end
};

// The server answered with 4xx or 5xx. After a 5xx the transfer continues without its window: it needs its serial,
// and Active keeps the names of the parts that it writes from others.
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
// It was finished and the user cleared it. Its window stays in its place until it finds that out.
inline constexpr RecordEnd kCleared{.removed = true, .raisesSerial = true};
// An update package that is complete and about to be unpacked.
inline constexpr RecordEnd kHandedOver{};

// Frees the record's slot. Emptying its place and refreshing the lists is the caller's.
void Release(Program& program, std::int16_t index, const RecordEnd& end);

// What becomes of the transfer whose place is emptied.
enum class Evicted {
  Unloaded,
  Hidden,  // not stopped: its slot belongs to another record, and it ends when it finds that out
};

// Takes transfer and viewer out of their places and unloads them. The places are empty before the handlers of either
// run, so that nothing finds them there.
void EmptyPlace(Program& program, std::int16_t index, Evicted evicted = Evicted::Unloaded);

enum class Start {
  Added,   // a new record; Active is left to the server's first answer
  Listed,  // by the user
  Queued,  // it leaves the queue
};

// Puts a new transfer into the record's place and starts it, with the plan continued if there is one. Until the
// transfer is in its place nothing else runs. Its window is shown if windows are and the record still has it then.
Task<> StartTransfer(Program* program, std::int16_t index, Start start);

}  // namespace pellora
