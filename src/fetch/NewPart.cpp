#include "fetch/NewPart.h"

#include <algorithm>

#include "core/EngineChoice.h"
#include "core/FileNames.h"
#include "core/Program.h"
#include "fetch/FileNameFromReply.h"
#include "ports/Failure.h"
#include "ports/Files.h"

namespace pellora {

namespace {

std::uint64_t LengthOf(const WantedPart& wanted) {
  return static_cast<std::uint64_t>(std::max<std::int64_t>(0, wanted.total));
}

std::uint64_t NeedOf(const WantedPart& wanted, bool fillsGaps) {
  const std::int64_t filled = wanted.filled >= 0 && !fillsGaps ? wanted.filled : wanted.total;
  return static_cast<std::uint64_t>(std::max<std::int64_t>(0, filled)) + static_cast<std::uint64_t>(wanted.besides);
}

// A classic download whose write fails ends the program: its parts and the file that they are joined to have room
// first.
std::uint64_t ReservedFor(const std::vector<Need>& others, const DownloadFiles& files, const std::string& folder) {
  std::uint64_t bytes = 0;
  for (const Need& need : others) {
    Skip([&] { bytes += files.DiskOf(need.folder) == files.DiskOf(folder) ? need.bytes : 0; });
  }
  return bytes;
}

void Measure(const DownloadFiles& files, const WantedPart& wanted, const std::string& folder, NewPart& made) {
  const std::uint64_t room = files.RoomIn(folder);
  made.reserved = std::min(room, ReservedFor(wanted.others, files, folder));
  made.room = room - made.reserved;
  made.longest = files.LongestFileIn(folder);
  made.fillsGaps = files.FillsGaps(folder);
  made.needed = NeedOf(wanted, made.fillsGaps);
}

bool IsFree(const DownloadFiles& files, const Files& all, const WantedPart& wanted, const std::string& path) {
  if (wanted.keepsPath) return true;
  if (wanted.claimed.contains(path)) return false;
  return !all.Exists(path) || (wanted.replaces && files.StateOf(path) == wanted.replaces);
}

std::shared_ptr<DownloadFile> CreateAt(DownloadFiles& files, Files& all, NewPart& made) {
  std::unique_ptr<DownloadFile> file = files.Create(made.partPath);
  if (!file) return nullptr;
  try {
    made.identity = file->State().identity;
  } catch (const Failure&) {
    file.reset();
    Skip([&] { all.Delete(made.partPath); });
    throw;
  }
  return file;
}

}  // namespace

std::vector<Need> NeedsOfClassic(Program& program) {
  std::vector<Need> needs;
  const Settings& settings = program.settings;
  for (int i = 1; i <= program.DownloadCount; ++i) {
    const DownloadRecord& record = program.Download(i);
    if (!record.InUse || !record.Active || record.Finished || record.SegmentCount < 1 || IsWebRecord(program, i)) {
      continue;
    }
    const auto size = static_cast<std::uint64_t>(std::max(record.FileSize, 0));
    const auto received = static_cast<std::uint64_t>(std::max(record.Received, 0));
    needs.push_back({settings.TempFolder, size - std::min(received, size)});
    needs.push_back({record.HasSavePath ? FolderOf(record.SavePath) : settings.DownloadFolder, size});
  }
  return needs;
}

std::set<std::string> ClaimedPaths(Program& program, const Journal& journal, const JournalKey& own) {
  std::set<std::string> claimed = journal.ClaimedPaths(own);
  for (int i = 1; i <= program.DownloadCount; ++i) {
    const DownloadRecord& record = program.Download(i);
    if (!record.InUse || record.Finished || record.FileName.empty() || IsWebRecord(program, i)) continue;
    claimed.insert(record.HasSavePath ? record.SavePath : JoinFolder(program.settings.DownloadFolder, record.FileName));
  }
  return claimed;
}

bool IsClaimedByRemoved(Program& program, const Journal& journal, const std::string& path) {
  std::set<JournalKey> claiming;
  for (const auto& [key, entry] : journal.All()) {
    if (ClaimsPath(entry) && entry.path == path) claiming.insert(key);
  }
  for (int i = 1; i <= program.DownloadCount && !claiming.empty(); ++i) {
    const DownloadRecord& record = program.Download(i);
    if (record.InUse) claiming.erase(JournalKeyOf(record.URL, record.DateAdded));
  }
  return !claiming.empty();
}

NewPart CreateNewPart(DownloadFiles& files, Files& all, const WantedPart& wanted) {
  NewPart made;
  const std::string folder = FolderOf(wanted.path);
  Measure(files, wanted, folder, made);
  if (made.needed > made.room || LengthOf(wanted) > made.longest) return made;
  std::string name = NameOf(wanted.path);
  for (int tried = 0; tried < kMostNumbers; ++tried, name = FollowingName(name)) {
    made.path = wanted.keepsPath ? wanted.path : JoinFolder(folder, name);
    made.partPath = JoinFolder(folder, PartNameOf(name));
    if (IsFree(files, all, wanted, made.path)) made.file = CreateAt(files, all, made);
    if (made.file) return made;
  }
  throw Failure(FailureNumber::File, folder + ": no free name for " + NameOf(wanted.path));
}

}  // namespace pellora
