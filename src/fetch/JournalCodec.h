// JournalCodec: the journal of the web engine's downloads, as pure functions.
//
// One line says all about one download at one moment, so that the last line of each counts and any line rebuilds its
// record. Lines are those of FieldLines. A download is known by its address without password and the bits of its
// DateAdded. There are no passwords, cookies and referring pages in a journal.
//
// A line that is cut, damaged or senseless counts for nothing, wherever it is. Fields that a later version has added
// are kept and written again.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "core/Checksum.h"
#include "core/IntervalSet.h"
#include "core/Mirror.h"
#include "core/Pieces.h"
#include "fetch/ReplyCheck.h"
#include "ports/DownloadFiles.h"

namespace pellora {

struct JournalKey {
  std::string url;  // WithoutPassword of the record's
  std::uint64_t addedBits = 0;
  bool operator==(const JournalKey&) const = default;
  bool operator<(const JournalKey& other) const {
    return std::tie(addedBits, url) < std::tie(other.addedBits, other.url);  // addresses have long beginnings in common
  }
};
JournalKey JournalKeyOf(std::string_view url, double dateAdded);

enum class JournalState : std::uint8_t {
  Paused,    // also for a word that only a later version knows
  Waiting,   // in the queue, for a place or its time
  Active,    // from the first request to the end of the flush
  Stopped,   // with a reason
  Renaming,  // from the part file to `path`: `renamed` is what the file is to be found by
  Finished,
  Gone,  // deleted or reset: part file and record are to go
  // Nothing but what the user has set for a listed record. The web engine has not begun it, and either engine may; the
  // entry makes no record, and none the web engine's.
  Listed,
};

struct JournalEntry {
  JournalKey key;
  std::uint64_t id = 0;  // never given to another download, of whatever run
  JournalState state = JournalState::Paused;
  std::string reason;       // of Stopped, for the user
  std::string path;         // of the finished file; absolute; empty until the first answer
  std::string folder;       // that the user has named for it; absolute; empty: that of the settings
  std::string partPath;     // absolute; empty while there is none
  FileIdentity part;        // the part file was this one
  FileFacts facts;          // of the first answer
  IntervalSet held;         // bytes of the part file that are on the disk
  bool hadCookies = false;  // the hand-over had some: without them the server may answer something else
  bool hadPage = false;     // the hand-over named the page: without it the server may refuse
  bool quiet = false;       // added among many: no window opens by itself
  bool undecided = false;   // as in Program; a list that has the record is right
  bool ofMetalink = false;  // as in WebAdd
  std::optional<FileState> renamed;
  std::optional<FileState> replaces;  // the user has allowed that this very file at `path` be replaced
  std::string oldPartPath;            // "begin anew": goes once the new file is finished
  FileIdentity oldPart;
  std::optional<Checksum> checksum;        // of the whole file, as the user or its source has it
  std::optional<PieceHashes> pieces;       // of the file
  bool piecesWereFound = false;            // as foundChecksum
  std::optional<Checksum> foundChecksum;   // of the whole file, as the replies or a list beside it say
  std::int64_t speedLimit = 0;             // bytes per second; 0: none
  std::optional<double> startAt;           // begin later: days since 30 December 1899
  std::optional<std::int64_t> queuePlace;  // lower ones start first
  bool hashesAreSafe = true;               // as in WebAdd
  std::int64_t size = -1;                  // that the file is to have; -1: not known
  std::vector<Mirror> mirrors;
  std::string title;            // what the list calls it, if not by its file's name: of chosen entries of an archive
  std::string selection;        // these: the name of a file beside the journal; empty: the file as it is
  std::int64_t toFetch = -1;    // bytes of the archive that are to be fetched for them
  IntervalSet unpacked;         // numbers of those that have been unpacked
  IntervalSet begun;            // numbers of those that may have been
  std::uint64_t factsFrom = 0;  // the facts are those of the address, 0, or a mirror, from 1
  std::vector<std::pair<std::string, std::string>> others;  // of a later version: names and encoded values

  bool operator==(const JournalEntry&) const = default;
};

// A whole line, with its line feed. The password in `key.url` is cut.
std::string JournalLine(const JournalEntry& entry);
// A line that keeps ids from returning once the entries that had them are dropped.
std::string NextIdLine(std::uint64_t nextId);
// A journal rewritten: the next id, then the entries.
std::string WholeJournal(std::span<const JournalEntry> entries, std::uint64_t nextId);

struct JournalReading {
  // One for each key, as its last good line has it, in the order of the first ones; those that are Gone too. Two of the
  // same id are one download whose address was being changed: the list says which of them it is. The former address of
  // one that was changed is Gone with the id 0.
  std::vector<JournalEntry> entries;
  std::uint64_t nextId = 1;  // above every id that was read
  std::size_t badLines = 0;  // whole lines that count for nothing
  std::size_t wholeLength =
      0;  // bytes up to and with the last line feed: what follows is torn and to be cut off before appending
};
JournalReading ReadJournal(std::string_view bytes);

}  // namespace pellora
