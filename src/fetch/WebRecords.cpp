#include "fetch/WebRecords.h"

#include <algorithm>
#include <bit>
#include <map>
#include <memory>
#include <optional>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "core/EngineChoice.h"
#include "core/FileNames.h"
#include "core/Numbers.h"
#include "core/Program.h"
#include "core/RecordLife.h"
#include "core/SpeedLimits.h"
#include "core/WebAddress.h"
#include "core/WebTexts.h"
#include "fetch/Extraction.h"
#include "fetch/SelectionFiles.h"
#include "fetch/WebServices.h"
#include "ports/Background.h"
#include "ports/DownloadFiles.h"
#include "ports/Failure.h"
#include "ports/Files.h"

namespace pellora {

namespace {

// Some file systems give a renamed file another inode: then length and time of modification count.
bool IsSameFile(const FileState& found, const FileState& renamed) {
  return found.length == renamed.length && (found.identity == renamed.identity || found.modified == renamed.modified);
}

// When the program was killed.
bool Ran(const JournalEntry& entry) {
  return entry.state == JournalState::Active || entry.state == JournalState::Renaming;
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
  record.FileName = entry.title.empty() ? NameOf(entry.path) : entry.title;
  // What has no part file has its path from the user, or keeps it.
  record.HasSavePath = entry.selection.empty() && entry.partPath.empty() && !entry.path.empty();
  if (record.HasSavePath) record.SavePath = entry.path;
  record.InUse = true;
  record.Valid = true;
  record.Paused = true;
  record.Queued = entry.startAt || entry.state == JournalState::Waiting || Ran(entry) ? 1 : 0;
  return record;
}

// What was deleted has left the journal: the list was damaged, or is an older one. Its index; 0 if the list is full.
int AddRecordOf(Program& program, const JournalEntry& entry) {
  int index = 0;
  if (program.DownloadCount < kMaxRecords) {
    program.ResizeDownloads(static_cast<std::int16_t>(program.DownloadCount + 1));
    index = program.DownloadCount;
  } else {
    index = FreeSlot(program);  // only then, since it looks at the whole list each time
  }
  if (index != 0) program.Download(index) = RecordOf(entry);
  return index;
}

void TakeFigures(Program& program, int index, const JournalEntry& entry) {
  DownloadRecord& record = program.Download(index);
  WebFigures& figures = program.AddWeb(index);
  figures.received = entry.held.Bytes();
  figures.size = entry.facts.total;
  if (entry.toFetch >= 0) {
    figures.size = entry.toFetch;
    figures.received = std::min(figures.received, figures.size);
    figures.inFolder = entry.state == JournalState::Finished;
  }
  if (entry.quiet) program.SetQuiet(index);
  record.Active = false;
  record.Received = HeldToInt32(figures.received);
  record.FileSize = HeldToInt32(std::max<std::int64_t>(0, figures.size));
  if (entry.state == JournalState::Finished) {
    figures.standing = WebStanding::Finished;
    figures.reason = entry.reason;
    record.Finished = true;
    record.Paused = false;
    record.Queued = 0;  // the list may be older
    record.Percent = 100.0F;
    record.SavePath = entry.path;
    record.HasSavePath = true;
    record.FileName = entry.title.empty() ? NameOf(entry.path) : entry.title;
    return;
  }
  // The list may be older than the journal, or lack the record.
  if (figures.size > 0) record.Percent = UnfinishedPercent(figures);
  figures.standing = entry.state == JournalState::Stopped ? WebStanding::Stopped : WebStanding::Paused;
  if (entry.state == JournalState::Stopped) figures.reason = entry.reason;
  record.Paused = true;
  // It had left the queue, and the list is older. Without windows it continues.
  if (Ran(entry) && !program.headless) record.Queued = 0;
  if (entry.startAt && record.Queued != 0) QueueUntil(program, index, *entry.startAt);
}

// What the user has set, also for a record that the web engine has not begun.
void TakeSettings(Program& program, WebServices& services, const JournalEntry& entry, int index) {
  services.listed.insert(entry.key);
  program.speed->SetLimitOf(index, entry.speedLimit);
  if (entry.queuePlace) program.SetQueuePlace(index, *entry.queuePlace);
}

bool HasBegun(const JournalEntry& entry) {
  return !entry.partPath.empty() || !entry.held.Ranges().empty() || entry.state == JournalState::Finished;
}

std::map<JournalKey, int> ListedIn(Program& program) {
  std::map<JournalKey, int> listed;
  for (int i = 1; i <= program.DownloadCount; ++i) {
    const DownloadRecord& record = program.Download(i);
    // Most are listed in the order of their keys.
    if (record.InUse) listed.insert_or_assign(listed.end(), JournalKeyOf(record.URL, record.DateAdded), i);
  }
  return listed;
}

// With an address that is torn off too, host and name are left, and maybe the path.
bool IsTornFrom(const DownloadRecord& record, const JournalEntry& entry) {
  if (!record.URL.empty()) return record.URL == entry.key.url;
  const DownloadRecord whole = RecordOf(entry);
  const bool samePath = record.Path.empty() || record.Path == whole.Path;
  return samePath && record.Host == whole.Host && record.FileName == whole.FileName;
}

// The journal's entry of a record that a power cut has torn off; null if it is not known which.
const JournalEntry* EntryOfTorn(const Journal& journal, const std::map<JournalKey, int>& listed,
                                const DownloadRecord& record) {
  const JournalEntry* found = nullptr;
  for (const auto& [key, entry] : journal.All()) {
    if (listed.contains(key) || !IsTornFrom(record, entry)) continue;
    if (found != nullptr && found->id != entry.id) return nullptr;
    found = &entry;
  }
  return found;
}

// The list is not flushed, and a power cut may cut its end off. The record there has no date, which comes last in it,
// and would be listed beside the same download from the journal; all further ones are blank.
void CompleteTornRecord(Program& program, const Journal& journal) {
  for (int i = 1; i <= program.DownloadCount; ++i) {
    DownloadRecord& record = program.Download(i);
    if (!record.InUse || record.DateAdded != 0) continue;
    const JournalEntry* const entry = EntryOfTorn(journal, ListedIn(program), record);
    if (entry == nullptr) continue;
    if (record.URL.empty()) record = RecordOf(*entry);
    record.DateAdded = std::bit_cast<double>(entry->key.addedBits);
  }
}

// Downloads that only the journal could have continued: they have received something, by no plan of the classic
// engine's. A start would begin beside what is there, or, by the classic engine, over it.
void StopUnknown(Program& program) {
  for (int i = 1; i <= program.DownloadCount; ++i) {
    DownloadRecord& record = program.Download(i);
    if (!record.InUse || record.Finished || record.SegmentCount != 0 || record.Received <= 0) continue;
    if (program.Web(i) != nullptr) continue;
    WebFigures& figures = program.AddWeb(i);
    figures.received = record.Received;
    figures.size = record.FileSize > 0 ? record.FileSize : -1;
    figures.standing = WebStanding::Stopped;
    figures.reason = TextOf(program, WebText::ProgressLost);
    record.Active = false;
    record.Paused = true;
    record.Queued = 0;
  }
}

void Drop(const Platform& platform, Journal& journal, const JournalEntry& entry) {
  journal.Remove(entry.key);
  DeleteSelection(platform, journal, entry.selection);
}

// It is on the disk before the journal's line names it.
void RememberSelection(Program& program, WebServices& services, int index, const WebAdd& add, JournalEntry& entry) {
  entry.title = TitleOfSelection(program, *add.selection);
  entry.selection = SelectionNameOf(services.journal, entry.id);
  entry.toFetch = BytesToFetch(*add.selection);
  entry.folder = add.selection->folder;
  program.Download(index).FileName = entry.title;
  services.selections[entry.key] = add.selection;
  if (!add.archivePassword.empty()) {
    services.logins.Give({PasswordPlace(*add.selection, entry.id), {}}, {{}, add.archivePassword}, false);
  }
  program.platform.background.Run(
      [files = program.platform.downloadFiles, path = SelectionPath(services.journal, entry.selection),
       selection = add.selection] { WriteSelection(*files, path, *selection); },
      [](const std::exception_ptr&) {});  // the engine tries again, and says what is wrong
}

bool HasMore(const JournalEntry& a, const JournalEntry& b) {
  const auto progress = [](const JournalEntry& entry) {
    const bool begun = entry.state != JournalState::Listed;
    return std::tuple(entry.state == JournalState::Finished, entry.state == JournalState::Renaming, entry.held.Bytes(),
                      !entry.partPath.empty(), begun);
  };
  return progress(a) > progress(b);
}

// A kill came while the address of a download was being changed. Both entries are about the same bytes.
JournalEntry Merged(const JournalEntry& a, const JournalEntry& b) {
  JournalEntry merged = HasMore(a, b) ? a : b;
  const JournalEntry& other = HasMore(a, b) ? b : a;
  if (merged.partPath != other.partPath || !(merged.part == other.part)) return merged;
  for (const Range& range : other.held.Ranges()) merged.held.Add(range);
  return merged;
}

// The list says which of its two addresses such a download has.
void MergeChangedAddresses(Journal& journal, const std::map<JournalKey, int>& listed) {
  std::unordered_map<std::uint64_t, const JournalKey*> known;
  std::vector<std::pair<JournalKey, JournalKey>> twice;
  for (const auto& [key, entry] : journal.All()) {
    const auto [at, isFirst] = known.try_emplace(entry.id, &key);
    if (!isFirst && entry.id != 0) twice.emplace_back(key, *at->second);
  }
  std::map<std::uint64_t, JournalKey> kept;
  for (const auto& [key, first] : twice) {
    const JournalEntry entry = *journal.Find(key);
    JournalKey& other = kept.try_emplace(entry.id, first).first->second;
    JournalEntry merged = Merged(entry, *journal.Find(other));
    if (listed.contains(key)) merged.key = key;
    if (listed.contains(other)) merged.key = other;
    const JournalKey dropped = merged.key == key ? other : key;
    journal.Put(merged);
    journal.Drop(dropped);
    other = merged.key;
  }
}

// What a kill kept from being written, or from being deleted.
void PutFinished(const Platform& platform, Journal& journal, JournalEntry entry) {
  journal.Discard(entry.oldPartPath, entry.oldPart);
  if (!entry.selection.empty()) journal.Discard(entry.partPath, entry.part);
  DeleteSelection(platform, journal, std::exchange(entry.selection, {}));
  entry.state = JournalState::Finished;
  entry.partPath.clear();
  entry.oldPartPath.clear();
  journal.Put(entry, {}, Journal::Place::Kept);  // after the deletions and flushes
}

// `listed` is its record; 0: the list has none. The entry may go.
void RestoreEntry(Program& program, WebServices& services, const JournalEntry& entry, int listed) {
  Journal& journal = services.journal;
  // The setting that gave it to the web engine was changed before that began.
  const bool begunByClassic = listed != 0 && program.Download(listed).SegmentCount > 0;
  if (entry.state == JournalState::Listed || begunByClassic) {
    if (listed == 0) return journal.Drop(JournalKey(entry.key));  // a copy: the entry goes
    TakeSettings(program, services, entry, listed);
    // Or after that: there was a run that could not read the journal.
    if (HasBegun(entry)) Drop(program.platform, journal, JournalEntry(entry));
    return;
  }
  if (HasItsName(*program.platform.downloadFiles, entry)) {
    // A power cut may undo the rename until then.
    services.turns.Give(std::make_shared<FolderStep>(FolderOf(entry.path)), [](const std::exception_ptr&) {});
    PutFinished(program.platform, journal, entry);
  }
  if (entry.undecided) {
    JournalEntry decided = entry;
    // A list that has it was saved after the decision.
    if (listed == 0 && entry.state != JournalState::Finished) return Drop(program.platform, journal, decided);
    decided.undecided = false;
    journal.Put(decided);
  }
  if (listed != 0 && program.Download(listed).Finished && entry.state != JournalState::Finished) {
    // The list knew it, and the journal could not be written.
    JournalEntry known = entry;
    known.path = program.Download(listed).SavePath;
    PutFinished(program.platform, journal, known);
  }
  const int index = listed == 0 ? AddRecordOf(program, entry) : listed;
  if (index == 0) return;
  TakeSettings(program, services, entry, index);
  TakeFigures(program, index, entry);
}

// Of the classic engine: a redirect has given them another address.
void RememberLostPlaces(Program& program, WebServices& services, const std::map<JournalKey, int>& listed) {
  if (!program.HasQueuePlaces()) return;
  for (const auto& [key, index] : listed) {
    const bool lacks = program.QueuePlace(index) && !program.Download(index).Finished;
    if (lacks && services.journal.Find(key) == nullptr)
      RememberPlace(program, services, static_cast<std::int16_t>(index));
  }
}

}  // namespace

// A pause cannot stop a rename, and its line comes after the one that names the new name.
bool HasItsName(const DownloadFiles& files, const JournalEntry& entry) {
  if (!entry.renamed || entry.state == JournalState::Finished) return false;
  std::optional<FileState> found;
  std::optional<FileState> part;
  Skip([&] {
    if (entry.state != JournalState::Renaming) part = files.StateOf(entry.partPath);
    found = files.StateOf(entry.path);
  });
  const bool stays = part && part->identity == entry.part;  // else its name may be another's by now
  return found && !stays && IsSameFile(*found, *entry.renamed);
}

std::string TitleOfSelection(const Program& program, const Selection& selection) {
  const std::vector<SelectedEntry>& entries = selection.entries;
  const auto isFile = [](const SelectedEntry& entry) { return !entry.isFolder; };
  const auto files = std::count_if(entries.begin(), entries.end(), isFile);
  if (files > 1) return FillText(TextOf(program, WebText::FilesOf), {std::to_string(files), selection.archive});
  const auto file = std::find_if(entries.begin(), entries.end(), isFile);
  return (file == entries.end() ? entries.front() : *file).path.back();
}

bool LacksJournalLine(Program& program, const WebServices& services, int index) {
  if (services.selections.empty()) return false;
  const DownloadRecord& record = program.Download(index);
  if (!record.InUse) return false;
  const JournalKey key = JournalKeyOf(record.URL, record.DateAdded);
  const JournalEntry* const entry = services.journal.Find(key);
  return entry != nullptr && !entry->selection.empty() && !services.journal.IsOnDisk(key);
}

void RestoreWebRecords(Program& program, WebServices& services) {
  Journal& journal = services.journal;
  try {
    journal.Open();
  } catch (const Failure&) {
    StopUnknown(program);
    throw;
  }
  if (!program.listLoaded) return;
  journal.DeleteLeft();
  DeleteOrphanedSelections(program.platform, journal);
  CompleteTornRecord(program, journal);
  const std::map<JournalKey, int> listed = ListedIn(program);
  MergeChangedAddresses(journal, listed);
  for (auto next = journal.All().begin(); next != journal.All().end();) {
    const JournalEntry& entry = (next++)->second;
    const auto at = listed.find(entry.key);
    RestoreEntry(program, services, entry, at == listed.end() ? 0 : at->second);
  }
  if (journal.Damaged()) StopUnknown(program);
}

void RememberAdd(Program& program, WebServices& services, std::int16_t index, const WebAdd& add) {
  const HandOver& handOver = add.handOver;
  const DownloadRecord& record = program.Download(index);
  const JournalKey key = JournalKeyOf(record.URL, record.DateAdded);
  if (!add.user.empty()) services.addedLogins[key] = {add.user, add.password};
  if (add == WebAdd() && !record.HasSavePath) return;
  JournalEntry entry;
  entry.key = key;
  entry.id = services.journal.NewId();
  if (record.Queued != 0) entry.state = JournalState::Waiting;
  if (record.HasSavePath && record.SavePath.starts_with('/')) entry.path = record.SavePath;
  entry.replaces = add.replaced;
  entry.folder = add.folder;
  entry.hadPage = !handOver.referrer.empty();
  entry.hadCookies = !handOver.cookies.empty();
  entry.checksum = add.checksum;
  if (add.pieces && AreFewEnough(*add.pieces)) entry.pieces = add.pieces;
  entry.hashesAreSafe = add.hashesAreSafe;
  entry.size = add.size;
  entry.mirrors = add.mirrors;
  entry.speedLimit = add.speedLimit;
  entry.startAt = add.startAt;
  entry.quiet = add.quiet;
  entry.undecided = program.IsUndecided(index);
  entry.ofMetalink = add.ofMetalink;
  if (add.selection) RememberSelection(program, services, index, add, entry);
  services.handOvers.Keep(entry.key, handOver);
  services.listed.insert(entry.key);
  services.journal.Put(entry, {}, add.selection ? Journal::Place::Kept : Journal::Place::OrBefore);
}

void RememberDecision(Program& program, WebServices& services, std::int16_t index, std::function<void()> kept) {
  const DownloadRecord& record = program.Download(index);
  const JournalEntry* const known = services.journal.Find(JournalKeyOf(record.URL, record.DateAdded));
  if (known == nullptr || !known->undecided) return kept();
  JournalEntry entry = *known;
  entry.undecided = false;
  services.journal.Put(entry, [kept = std::move(kept)](bool) { kept(); });
}

void FinishJournal(Program& program, WebServices& services) {
  for (const auto& [key, selection] : services.selections) {
    const JournalEntry* const entry = services.journal.Find(key);
    if (entry == nullptr || entry->selection.empty()) continue;
    const std::string path = SelectionPath(services.journal, entry->selection);
    if (program.platform.files.Exists(path)) continue;
    Skip([&, chosen = selection] { WriteSelection(*program.platform.downloadFiles, path, *chosen); });
  }
  services.journal.Finish();
}

WebAdd AddOf(Program& program, const WebServices& services, std::int16_t index) {
  const DownloadRecord& record = program.Download(index);
  const JournalKey key = JournalKeyOf(record.URL, record.DateAdded);
  WebAdd add;
  add.user = record.UserName;
  add.password = record.Password;
  if (const auto login = services.addedLogins.find(key); login != services.addedLogins.end()) {
    add.user = login->second.user;
    add.password = login->second.password;
  }
  add.handOver = services.handOvers.Of(key);
  return add;
}

void KeepSpeedLimit(Program& program, WebServices& services, std::int16_t index) {
  const DownloadRecord& record = program.Download(index);
  const JournalKey key = JournalKeyOf(record.URL, record.DateAdded);
  const JournalEntry* const known = services.journal.Find(key);
  if (known == nullptr && ChooseEngine(program, index).engine != EngineName::Web) return;
  JournalEntry entry;
  if (known != nullptr) {
    entry = *known;
  } else {
    entry.key = key;
    entry.id = services.journal.NewId();
    services.listed.insert(key);
  }
  entry.speedLimit = program.speed->LimitOf(index);
  services.journal.Put(entry);
}

bool TakeHandOver(Program& program, WebServices& services, std::int16_t index, const HandOver& handOver) {
  const DownloadRecord& record = program.Download(index);
  const JournalKey key = JournalKeyOf(record.URL, record.DateAdded);
  const JournalEntry* const entry = services.journal.Find(key);
  if (entry == nullptr || record.Finished || record.Active) return false;
  const bool lacksCookies = entry->hadCookies && !services.handOvers.HasCookies(key);
  const bool lacksPage = entry->hadPage && !services.handOvers.HasPage(key);
  const bool hasAny = !handOver.cookies.empty() || !handOver.referrer.empty();
  const bool takes = lacksCookies ? !handOver.cookies.empty() : lacksPage && hasAny;
  if (takes) services.handOvers.Keep(key, handOver);
  return takes;
}

void RememberAddress(Program& program, WebServices& services, std::int16_t index, const AddressReading& address) {
  const DownloadRecord& record = program.Download(index);
  services.newAddresses.insert_or_assign(JournalKeyOf(record.URL, record.DateAdded), address);
}

void RememberPlace(Program& program, WebServices& services, std::int16_t index) {
  const DownloadRecord& record = program.Download(index);
  JournalEntry entry;
  entry.key = JournalKeyOf(record.URL, record.DateAdded);
  if (const JournalEntry* const known = services.journal.Find(entry.key)) {
    entry = *known;
  } else {
    entry.id = services.journal.NewId();
    entry.state = JournalState::Listed;
  }
  entry.queuePlace = program.QueuePlace(index);
  services.listed.insert(entry.key);
  services.journal.Put(entry);
}

void SweepJournal(Program& program, WebServices& services) {
  if (!program.listLoaded) return;
  const std::map<JournalKey, int> listed = ListedIn(program);
  for (const JournalKey& former : std::exchange(services.superseded, {})) {
    if (!listed.contains(former)) services.journal.Drop(former);
  }
  const std::map<JournalKey, JournalEntry>& all = services.journal.All();
  // All three are in the same order: with thousands of each, looking for every one would hold the user up.
  auto at = listed.begin();
  auto known = services.listed.begin();
  for (auto next = all.begin(); next != all.end();) {
    const JournalEntry& entry = (next++)->second;
    while (at != listed.end() && at->first < entry.key) ++at;
    while (known != services.listed.end() && *known < entry.key) ++known;
    if (at != listed.end() && at->first == entry.key) {
      known = services.listed.insert(known, entry.key);
      const bool isOver = entry.state == JournalState::Listed && program.Download(at->second).Finished;
      if (isOver) services.journal.Drop(JournalKey(entry.key));  // a copy: the entry goes
    } else if (known != services.listed.end() && *known == entry.key) {
      known = services.listed.erase(known);
      services.handOvers.Forget(entry.key);
      services.selections.erase(entry.key);
      services.addedLogins.erase(entry.key);
      services.newAddresses.erase(entry.key);
      Drop(program.platform, services.journal, JournalEntry(entry));
    }
  }
  RememberLostPlaces(program, services, listed);
}

}  // namespace pellora
