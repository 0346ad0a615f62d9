// The web engine's records, requests, part files and journal.
#include <algorithm>
#include <set>
#include <vector>

#include "Invariants.h"
#include "core/EngineChoice.h"
#include "core/FileNames.h"
#include "core/RecordLife.h"
#include "fetch/JournalCodec.h"
#include "transferwin/TransferWindow.h"
#include "zipview/LookInside.h"

namespace pellora {

namespace {

// A transfer without a slot notices at its next event, and what it closes is closed then.
constexpr SimLoop::Micros kStrangeTime = 5 * SimLoop::kSecond;

std::vector<JournalEntry> EntriesOn(const SimDisk& disk) {
  const std::string path(kJournalPath);
  return disk.Has(path) ? ReadJournal(disk.Get(path)).entries : std::vector<JournalEntry>();
}

bool NeedsPart(const JournalEntry& entry) {
  return entry.state != JournalState::Gone && entry.state != JournalState::Finished;
}

}  // namespace

void Invariants::BeginWeb(WebOrigin& origin, WatchedDownloadFiles& downloads, WatchedFetcher& fetcher) {
  web_ = &origin;
  downloads_ = &downloads;
  fetcher_ = &fetcher;
  downloads.Watch(this);
  for (const JournalEntry& entry : EntriesOn(sim_->disk())) CheckClaim(entry);
}

void Invariants::EndWeb() {
  if (downloads_) {
    downloads_->Watch(nullptr);
    unnamed_.insert(downloads_->Unnamed().begin(), downloads_->Unnamed().end());
    unnamed_.insert(downloads_->Unseen().begin(), downloads_->Unseen().end());
    unnamed_.insert(files_->NotDeleted().begin(), files_->NotDeleted().end());
    journalFailed_ = journalFailed_ || downloads_->JournalFailed() || files_->JournalFailed();
  }
  web_ = nullptr;
  downloads_ = nullptr;
  fetcher_ = nullptr;
  webRecords_.clear();
  webWindows_.clear();
}

void Invariants::AfterStallOfWeb() {
  for (WebWindow& live : webWindows_) live.strangeSince = -1;
  if (!fetcher_) return;
  for (WatchedFetcher::OpenFetch& one : fetcher_->Open()) one.strangeSince = -1;
}

// What the journal claims of a part file is there, and is of one version.
void Invariants::CheckClaim(const JournalEntry& entry) {
  const int file = WebOrigin::FileOf(entry.path);
  if (!on || file < 0 || !NeedsPart(entry) || entry.partPath.empty() || entry.held.Ranges().empty()) return;
  ++counts_.faults["web: a claim of an earlier session"];
  if (entry.renamed && sim_->disk().Has(entry.path)) return;  // and another download may have the part file's name
  // Where the journal could not be written it does not know what became of the file.
  if (journalFailed_) return;
  if (!sim_->disk().Has(entry.partPath)) {
    Note("the journal claims bytes of a part file that is gone: " + entry.partPath);
  } else if (!web_->Holds(file, entry.held, sim_->disk(), entry.partPath)) {
    Note("the journal claims bytes that are not in the part file: " + entry.partPath);
  }
}

void Invariants::CheckWebRecord(int index) {
  Program& program = app_->program();
  const DownloadRecord& record = program.Download(index);
  const auto wrong = [&](const std::string& what) { Note(Name(index) + what); };
  WebShadow& shadow = webRecords_[static_cast<std::size_t>(index)];
  const bool same = shadow.listed && shadow.serial == program.Serial(index);
  if (!record.InUse) {
    if (same && record.RestState == kEndedFatally) wrong("a failure has taken it off the list: " + shadow.url);
    shadow.listed = false;
    return;
  }
  const WebFigures* const figures = program.Web(index);
  const bool began = record.Active && !(same && shadow.active);
  shadow = {figures != nullptr, program.Serial(index), record.Active, record.URL};
  if (figures == nullptr) return;
  if (record.SegmentCount != 0) wrong("has segments of the other engine");
  const bool finished = figures->standing == WebStanding::Finished;
  if (finished != record.Finished) wrong("is finished in the list or the figures alone");
  if (figures->standing == WebStanding::Stopped && figures->reason.empty()) wrong("is stopped without a reason");
  if ((figures->standing == WebStanding::Active) != record.Active && program.TransferWindowAt(index)) {
    wrong("is active in the list or the figures alone");
  }
  if (record.Active && record.Queued != 0) wrong("is active and queued");
  if (figures->size >= 0 && figures->received > figures->size) wrong("holds more than there is");
  if (began) ++counts_.faults["web: begun or resumed"];
}

// A window that reads an archive is open on that address.
bool Invariants::IsLookedInto(const std::string& url) const {
  const std::vector<Window*> windows = sim_->windows().Loaded("LookInside");
  return std::any_of(windows.begin(), windows.end(),
                     [&](Window* window) { return dynamic_cast<const LookInside&>(*window).Label2.Caption() == url; });
}

// An open request is that of an active record, or of a window that reads an archive.
void Invariants::CheckFetches() {
  Program& program = app_->program();
  std::set<int> active;
  std::set<std::string> urls;
  for (int i = 1; i <= program.DownloadCount; ++i) {
    const DownloadRecord& record = program.Download(i);
    if (!record.InUse || !record.Active || record.Finished) continue;
    active.insert(WebOrigin::FileOf(record.URL));
    urls.insert(NameOf(record.URL));
  }
  const SimLoop::Micros now = sim_->loop().Time();
  for (WatchedFetcher::OpenFetch& one : fetcher_->Open()) {
    const int file = WebOrigin::FileOf(one.url);
    // Redirects of the other servers lead to other names.
    const bool explained = file >= 0 ? active.contains(file) : !urls.empty() || IsLookedInto(one.url);
    if (explained) {
      one.strangeSince = -1;
      continue;
    }
    if (one.strangeSince < 0) one.strangeSince = now;
    if (now - one.strangeSince >= kStrangeTime) Note("a request is open that no active record explains: " + one.url);
  }
  const std::size_t most = fetcher_->Open().size() + sim_->fetcher().Kept();
  const auto others = static_cast<std::size_t>(sim_->network().Open()) - network_->Open().size();
  if (others > most)
    Note(std::to_string(others) + " connections of requests, where " + std::to_string(most) + " may be");
}

void Invariants::CheckWebWindows() {
  std::erase_if(webWindows_, [](const WebWindow& live) { return live.alive.expired(); });
  Program& program = app_->program();
  const SimLoop::Micros now = sim_->loop().Time();
  for (WebWindow& live : webWindows_) {
    const std::shared_ptr<TransferWindow> window = live.window.lock();
    const bool placed = window && program.TransferWindowAt(window->RecordIndex) == window;
    if (placed || live.strangeSince < 0 || sim_->dialogs().OpenCount() > 0) live.strangeSince = placed ? -1 : now;
    if (!placed && now - live.strangeSince >= kStrangeTime && sim_->background().Pending() == 0) {
      Note("an engine without a slot stays");
    }
  }
}

// No part file goes that its download still needs.
void Invariants::DeletingPart(const std::string& path) {
  for (const JournalEntry& entry : EntriesOn(sim_->disk())) {
    const bool holds = !entry.held.Ranges().empty();
    if (entry.partPath == path && holds && NeedsPart(entry) && !downloads_->JournalFailed()) {
      Note("a part file is deleted that the journal needs: " + path);
    }
  }
}

void Invariants::Publishing(const std::string& part, const std::string& path) {
  if (!on || !app_ || downloads_->JournalFailed()) return;
  for (const JournalEntry& entry : EntriesOn(sim_->disk())) {
    if (entry.partPath == part && entry.state == JournalState::Renaming && entry.path == path) return;
  }
  Note("renamed before the journal says so: " + path);
}

void Invariants::Published(const std::string& path) {
  ++counts_.faults["web: finished"];
  if (path.find(" (") != std::string::npos) ++counts_.faults["web: finished beside another file"];
  CheckWhole(path);
}

void Invariants::CheckWhole(const std::string& path) {
  const int file = WebOrigin::FileOf(path);
  if (file >= 0 && path != kForeignFile && !web_->IsWhole(file, sim_->disk(), path)) {
    Note("a file that is no version of the origin's, of " + std::to_string(sim_->disk().Size(path)) +
         " bytes: " + path);
  }
}

void Invariants::CheckWebFiles(bool atRest) {
  if (web_ == nullptr) return;
  const std::vector<JournalEntry> entries = EntriesOn(sim_->disk());
  for (const std::string& path : sim_->disk().Paths()) {
    if (WebOrigin::FileOf(path) >= 0 && !IsWebPart(path)) CheckWhole(path);
    if (!atRest || !IsWebPart(path) || unnamed_.contains(path) || downloads_->Unnamed().contains(path)) continue;
    const bool needed = std::any_of(entries.begin(), entries.end(), [&](const JournalEntry& entry) {
      return NeedsPart(entry) && (entry.partPath == path || entry.oldPartPath == path);
    });
    if (!needed) Note("a part file that no download needs: " + path);
  }
}

// What the journal has is listed.
void Invariants::CheckRestored() {
  if (web_ == nullptr || !on) return;
  Program& program = app_->program();
  if (!program.listLoaded || downloads_->JournalFailed() || files_->JournalFailed()) return;
  std::set<JournalKey> listed;
  for (int i = 1; i <= program.DownloadCount; ++i) {
    const DownloadRecord& record = program.Download(i);
    if (record.InUse) listed.insert(JournalKeyOf(record.URL, record.DateAdded));
  }
  for (const JournalEntry& entry : EntriesOn(sim_->disk())) {
    if (entry.state != JournalState::Gone && !listed.contains(entry.key)) {
      Note("the journal has a download that is not listed: " + entry.key.url);
    }
  }
}

}  // namespace pellora
