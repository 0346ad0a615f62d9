#include "fetch/WebRecords.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <map>
#include <optional>

#include "core/Program.h"
#include "core/WebAddress.h"
#include "fetch/WebServices.h"
#include "ports/Background.h"
#include "ports/DownloadFiles.h"
#include "ports/Failure.h"
#include "ports/Files.h"

namespace pellora {

namespace {

std::string LastPartOf(const std::string& path) { return path.substr(path.rfind('/') + 1); }

std::int32_t Held32(std::int64_t value) {
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, 0, std::numeric_limits<std::int32_t>::max()));
}

// Some file systems give a renamed file another inode: then length and time of modification count.
bool IsSameFile(const FileState& found, const FileState& renamed) {
  return found.length == renamed.length && (found.identity == renamed.identity || found.modified == renamed.modified);
}

bool HasItsName(const DownloadFiles& files, const JournalEntry& entry) {
  if (entry.state != JournalState::Renaming || !entry.renamed) return false;
  std::optional<FileState> found;
  Skip([&] { found = files.StateOf(entry.path); });
  return found && IsSameFile(*found, *entry.renamed);
}

DownloadRecord RecordOf(const JournalEntry& entry) {
  DownloadRecord record;
  record.Segments.resize(1);
  record.URL = entry.key.url;
  record.DateAdded = std::bit_cast<double>(entry.key.addedBits);
  if (const std::optional<WebAddress> address = ParseWebAddress(record.URL)) {
    record.Host = address->host;
    record.UserName = address->user;
    record.Path = address->path + address->query;
  }
  record.FileName = LastPartOf(entry.path);
  record.InUse = true;
  record.Valid = true;
  record.Paused = true;
  return record;
}

void TakeFigures(Program& program, int index, const JournalEntry& entry) {
  DownloadRecord& record = program.Download(index);
  WebFigures& figures = program.AddWeb(index);
  figures.received = entry.held.Bytes();
  figures.size = entry.facts.total;
  record.Active = false;
  record.Received = Held32(figures.received);
  record.FileSize = Held32(figures.size);
  if (entry.state == JournalState::Finished) {
    figures.standing = WebStanding::Finished;
    record.Finished = true;
    record.Paused = false;
    record.Percent = 100.0F;
    record.SavePath = entry.path;
    record.HasSavePath = true;
    record.FileName = LastPartOf(entry.path);
    return;
  }
  figures.standing = entry.state == JournalState::Stopped ? WebStanding::Stopped : WebStanding::Paused;
  if (entry.state == JournalState::Stopped) figures.reason = entry.reason;
  record.Paused = true;
}

void RemovePart(const Platform& platform, const std::string& path, const FileIdentity& identity) {
  if (path.empty()) return;
  platform.background.Run(
      [downloads = platform.downloadFiles, files = &platform.files, path, identity] {
        const std::optional<FileState> found = downloads->StateOf(path);
        if (found && found->identity == identity) files->Delete(path);
      },
      [](const std::exception_ptr&) {});
}

std::map<JournalKey, int> ListedIn(Program& program) {
  std::map<JournalKey, int> listed;
  for (int i = 1; i <= program.DownloadCount; ++i) {
    const DownloadRecord& record = program.Download(i);
    if (record.InUse) listed[JournalKeyOf(record.URL, record.DateAdded)] = i;
  }
  return listed;
}

void Drop(const Platform& platform, Journal& journal, const JournalEntry& entry) {
  journal.Remove(entry.key);
  RemovePart(platform, entry.partPath, entry.part);
  RemovePart(platform, entry.oldPartPath, entry.oldPart);
}

}  // namespace

void RestoreWebRecords(Program& program, WebServices& services) {
  Journal& journal = services.journal;
  journal.Open();
  if (!program.listLoaded) return;
  const std::map<JournalKey, int> listed = ListedIn(program);
  for (JournalEntry entry : journal.Entries()) {
    if (HasItsName(*program.platform.downloadFiles, entry)) {
      entry.state = JournalState::Finished;
      entry.partPath.clear();
      journal.Put(entry);
    }
    const auto at = listed.find(entry.key);
    services.listed.insert(entry.key);
    if (at != listed.end()) {
      TakeFigures(program, at->second, entry);
    } else if (program.DownloadCount < kMaxRecords) {
      // What was deleted has left the journal: the list was damaged, or is an older one.
      program.ResizeDownloads(static_cast<std::int16_t>(program.DownloadCount + 1));
      program.Download(program.DownloadCount) = RecordOf(entry);
      TakeFigures(program, program.DownloadCount, entry);
    }
  }
}

void SweepJournal(Program& program, WebServices& services) {
  if (!program.listLoaded) return;
  const std::map<JournalKey, int> listed = ListedIn(program);
  for (const JournalEntry& entry : services.journal.Entries()) {
    if (listed.contains(entry.key)) {
      services.listed.insert(entry.key);
    } else if (services.listed.erase(entry.key) > 0) {
      Drop(program.platform, services.journal, entry);
    }
  }
}

}  // namespace pellora
