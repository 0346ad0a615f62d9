// NewPart: the name and the part file of a download whose first answer has come.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "fetch/Journal.h"
#include "ports/DownloadFiles.h"

namespace pellora {

class Files;
class Program;

// What a running download of the classic engine is still to write.
struct Need {
  std::string folder;
  std::uint64_t bytes = 0;
};
// The rest of their parts, and the whole file beside them.
std::vector<Need> NeedsOfClassic(Program& program);

// What unfinished downloads other than `own` will be called, of either engine.
std::set<std::string> ClaimedPaths(Program& program, const Journal& journal, const JournalKey& own);

// One of those that claim the path has left the list: its claim goes with the next save.
bool IsClaimedByRemoved(Program& program, const Journal& journal, const std::string& path);

inline constexpr int kMostNumbers = 10000;  // "NAME (2)", "NAME (3)", ... that are tried

struct WantedPart {
  std::string path;               // of the complete file, if nothing has it; absolute
  bool keepsPath = false;         // whatever is there now: only the part gets another name
  std::set<std::string> claimed;  // by other downloads, which are not finished
  std::optional<FileState> replaces;
  std::vector<Need> others;
  std::int64_t total = -1;  // bytes; -1: not known
  // Of the total, bytes that will be written, if the disk keeps the gaps; -1: all.
  std::int64_t filled = -1;
  std::int64_t besides = 0;  // bytes that will be written to other files meanwhile
};

struct NewPart {
  std::string path;  // of the complete file
  std::string partPath;
  std::shared_ptr<DownloadFile> file;  // locked; null if there is no room for it
  FileIdentity identity;
  std::uint64_t needed = 0;    // bytes, besides what others need
  std::uint64_t room = 0;      // on the disk, bytes
  std::uint64_t reserved = 0;  // of the disk's room: for running downloads of the classic engine
  std::uint64_t longest = 0;   // file that the disk takes
  bool fillsGaps = false;      // as DownloadFiles::FillsGaps
};

// Creates the part file, empty, at the first name that is free for the file and for its part, where the disk has room
// for all of it. Belongs into the background; Failure(File).
NewPart CreateNewPart(DownloadFiles& files, Files& all, const WantedPart& wanted);

}  // namespace pellora
