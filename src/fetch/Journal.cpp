#include "fetch/Journal.h"

#include <algorithm>
#include <atomic>
#include <deque>
#include <optional>
#include <utility>

#include "fetch/PartFile.h"
#include "ports/Background.h"
#include "ports/Failure.h"
#include "ports/Files.h"

namespace pellora {

namespace {

constexpr std::uint64_t kRewriteAbove = std::uint64_t{1} << 20;
constexpr std::uint64_t kLongest = std::uint64_t{256} << 20;

// A part file and what it was found by; the path may be empty.
using Part = std::pair<std::string, FileIdentity>;

std::vector<Part> PartsOf(const JournalEntry& entry) {
  return {{entry.oldPartPath, entry.oldPart}, {entry.partPath, entry.part}};
}

// A deletion that leaves no part files.
std::string GoneLine(const JournalKey& key, std::uint64_t id = 0) {
  JournalEntry gone;
  gone.key = key;
  gone.id = id;
  gone.state = JournalState::Gone;
  return JournalLine(gone);
}

// The line of a part file that is to be deleted is as that of a deleted download, whose address is the path: no line of
// the download that had it comes over it.
JournalEntry EntryOfLeft(const std::string& part, const FileIdentity& identity) {
  JournalEntry left;
  left.key.url = part;
  left.state = JournalState::Gone;
  left.partPath = part;
  left.part = identity;
  return left;
}

std::set<std::uint64_t> IdsOfDeleted(const std::vector<JournalEntry>& entries) {
  std::set<std::uint64_t> ids;
  for (const JournalEntry& entry : entries) {
    if (entry.state == JournalState::Gone && entry.id != 0) ids.insert(entry.id);
  }
  return ids;
}

}  // namespace

// What is chosen of an archive is not written under the archive's name.
bool ClaimsPath(const JournalEntry& entry) {
  return entry.selection.empty() && entry.state != JournalState::Finished && !entry.path.empty();
}

// Used by works alone, which run one at a time.
struct Journal::Store {
  Store(DownloadFiles* theFiles, std::string thePath) : files(theFiles), path(std::move(thePath)) {}

  DownloadFiles* const files;
  const std::string path;
  std::shared_ptr<DownloadFile> file;
  std::optional<std::uint64_t> length;  // up to the last good line; unknown for a new file
  std::uint64_t flushed = 0;            // up to the last one that is on the disk
  std::uint64_t rewrites = 0;
  std::string unflushed;               // what Write has written since
  std::string missing;                 // lines that could not be written or flushed; they come with the next one
  bool lost = false;                   // one of these does not: only the whole has it
  std::atomic<bool> finished = false;  // Finish has written what was left

  // Cuts off what does not end with a good line.
  void OpenFile() {
    if (!files->StateOf(path)) files->Replace(path, {});  // a new one's name is to be on the disk with its first line
    std::unique_ptr<DownloadFile> opened = files->OpenJournal(path);
    const std::uint64_t there = opened->Length();
    const std::uint64_t good = std::min(length.value_or(there), there);
    if (good < there) opened->SetLength(good);
    length = flushed = good;
    file = std::move(opened);
  }

  void DemandUnfinished() const {
    if (finished) throw Failure(FailureNumber::File, path);
  }
  // A line, which counts once it is flushed.
  void Write(std::string_view line) {
    DemandUnfinished();
    missing += line;
    const std::string lines = std::exchange(missing, {});
    try {
      if (!file) OpenFile();
      file->WriteAt(*length, lines);
    } catch (const Failure&) {
      Miss(lines);
      if (file && !finished) Skip([this] { file->SetLength(*length); });
      throw;
    }
    *length += lines.size();
    unflushed += lines;
  }
  // A disk that takes nothing for long is given the whole journal once it does.
  void Miss(const std::string& lines) {
    missing.insert(0, lines);
    if (missing.size() <= kRewriteAbove) return;
    missing.clear();
    lost = true;
  }
  void Flushed(const Line& line);

  // What it knows may be older than what Finish has written.
  void Rewrite(const std::string& whole) {
    DemandUnfinished();
    file.reset();
    files->Replace(path, whole);
    length.reset();
    unflushed.clear();
    missing.clear();
    lost = false;
    ++rewrites;
  }
};

// `whole` is the journal with this line; empty: it is not to be rewritten.
class Journal::Line final : public DiskStep {
 public:
  Line(std::shared_ptr<Store> store, std::string text, std::string whole)
      : store_(std::move(store)), text_(std::move(text)), whole_(std::move(whole)) {}

  void Begin(DownloadFiles&) override {
    rewritten_ = !whole_.empty() && Skip([this] { store_->Rewrite(whole_); });
    if (rewritten_) return;
    store_->Write(text_);
    file = store_->file;
    rewrites_ = store_->rewrites;
  }
  void End(DownloadFiles&) override {
    if (file && rewrites_ == store_->rewrites) {
      store_->Flushed(*this);
    } else if (file) {
      failure = nullptr;  // a new journal has the line
    }
    lost_ = store_->lost;
  }
  bool HasWhole() const { return !whole_.empty(); }
  bool Rewritten() const { return rewritten_; }
  // A line, this one or an earlier one, comes with no later one.
  bool Lost() const { return lost_; }

 private:
  const std::shared_ptr<Store> store_;
  const std::string text_;
  const std::string whole_;
  std::uint64_t rewrites_ = 0;
  bool rewritten_ = false;
  bool lost_ = true;  // until it is over: its work may not start
};

void Journal::Store::Flushed(const Line& line) {
  if (finished) return;
  if (line.file != file) {
    lost = lost || line.failure;  // its lines may count as flushed
    return;
  }
  const std::string lines = std::exchange(unflushed, {});
  if (!line.failure) {
    flushed = *length;
  } else if (*length > flushed) {
    length = flushed;
    Miss(lines);
    Skip([this] { file->SetLength(flushed); });
  }
}

// What is known of the lines given to works, whose ends may come after that of the journal.
struct Journal::Reported {
  // A line could not be written: the next one or Finish rewrites the whole, or a deleted download would come back.
  bool lacksLine = false;
  int rewriting = 0;                // pending lines that come with the whole
  bool lost = false;                // and comes with no other line
  std::deque<std::string> pending;  // lines whose works are not over
  std::set<JournalKey> onDisk;
  std::set<JournalKey> late;  // of lines that could not be written

  void Over(bool written, const Line& line) {
    pending.pop_front();
    rewriting -= line.HasWhole() ? 1 : 0;
    if (!written || line.Rewritten()) lacksLine = !written;
    lost = !line.Rewritten() && (lost || line.Lost());
    if (written && !lost) onDisk.merge(std::exchange(late, {}));
  }
};

Journal::Journal(const Platform& platform, DiskTurns& turns, std::string path)
    : platform_(platform),
      store_(std::make_shared<Store>(platform.downloadFiles, std::move(path))),
      reported_(std::make_shared<Reported>()),
      turns_(turns) {}

void Journal::Open() {
  readable_ = false;
  // One that only seems missing, because the disk fails for a moment, would be written over.
  if (!platform_.files.Exists(store_->path) && !store_->files->StateOf(store_->path)) {
    readable_ = true;
    return;
  }
  const std::string bytes = ReadWholeFile(platform_.files, store_->path, kLongest);
  readable_ = true;
  const JournalReading reading = ReadJournal(bytes);
  nextId_ = reading.nextId;
  damaged_ = reading.badLines > 0;
  const std::set<std::uint64_t> deleted = IdsOfDeleted(reading.entries);
  for (const JournalEntry& entry : reading.entries) {
    if (entry.state == JournalState::Gone) {
      KeepLeft(entry);
    } else if (!deleted.contains(entry.id)) {  // else its address was being changed when the download was deleted
      Keep(entry);
      reported_->onDisk.insert(entry.key);
    }
  }
  const std::string whole = Whole();
  // Where that fails the old one serves on; its torn end is cut before the next line.
  if (Skip([&] { store_->Rewrite(whole); })) return;
  store_->length = reading.wholeLength;
  Skip([&] { store_->OpenFile(); });
}

const std::string& Journal::Path() const { return store_->path; }

bool Journal::IsOnDisk(const JournalKey& key) const { return reported_->onDisk.contains(key); }

bool Journal::IsWritten() const { return reported_->pending.empty(); }

const JournalEntry* Journal::Find(const JournalKey& key) const {
  const auto at = entries_.find(key);
  return at == entries_.end() ? nullptr : &at->second;
}

std::vector<JournalEntry> Journal::Entries() const {
  std::vector<JournalEntry> all;
  for (const auto& [key, entry] : entries_) all.push_back(entry);
  return all;
}

std::set<std::string> Journal::ClaimedPaths(const JournalKey& own) const {
  std::set<std::string> paths;
  const JournalEntry* const mine = Find(own);
  for (const JournalKey& key : claiming_) {
    const JournalEntry& entry = entries_.at(key);
    const bool isOwn = key == own || (mine != nullptr && entry.id == mine->id);
    if (!isOwn) paths.insert(entry.path);
  }
  return paths;
}

void Journal::Keep(const JournalEntry& entry) {
  entries_[entry.key] = entry;
  if (ClaimsPath(entry)) {
    claiming_.insert(entry.key);
  } else {
    claiming_.erase(entry.key);
  }
}

bool Journal::Forget(const JournalKey& key) {
  claiming_.erase(key);
  reported_->onDisk.erase(key);
  reported_->late.erase(key);
  return entries_.erase(key) > 0;
}

void Journal::Put(const JournalEntry& entry, Done done, Place place) {
  Keep(entry);
  Done noted = [reported = reported_, key = entry.key, done = std::move(done)](bool written) {
    (written ? reported->onDisk : reported->late).insert(key);
    if (done) done(written);
  };
  Append(JournalLine(entry), std::move(noted), place);
}

void Journal::Remove(const JournalKey& key, Done done) {
  const auto at = entries_.find(key);
  if (at == entries_.end()) {
    if (done) done(true);
    return;
  }
  const JournalEntry gone = std::move(at->second);
  Forget(gone.key);
  // The part files first: of a torn write the beginning counts.
  std::string lines = KeepLeft(gone);  // in any case before appending, which may rewrite the whole
  lines += GoneLine(gone.key, gone.id);
  Append(std::move(lines), std::move(done));
  for (const auto& [part, identity] : PartsOf(gone)) DeleteLeft(part, identity);
}

void Journal::Drop(const JournalKey& key) {
  const std::string line = GoneLine(key);  // first: the key may be that of the entry itself
  if (Forget(key)) Append(line, {});
}

void Journal::Discard(const std::string& part, const FileIdentity& identity) {
  const std::string line = KeepLeft(EntryOfLeft(part, identity));
  if (line.empty()) return;
  Append(line, {});
  DeleteLeft(part, identity);
}

// Of the part files that the entry names.
std::string Journal::KeepLeft(const JournalEntry& gone) {
  std::string lines;
  for (const auto& [part, identity] : PartsOf(gone)) {
    if (part.empty()) continue;
    left_.insert_or_assign(part, identity);
    lines += JournalLine(EntryOfLeft(part, identity));
  }
  return lines;
}

// Names and numbers of deleted files are given again.
bool Journal::NeedsPart(const std::string& path) const {
  return std::any_of(entries_.begin(), entries_.end(),
                     [&](const auto& kept) { return kept.second.partPath == path || kept.second.oldPartPath == path; });
}

void Journal::DeleteLeft() {
  std::erase_if(left_, [this](const auto& left) { return NeedsPart(left.first); });
  for (const auto& [part, identity] : left_) DeleteLeft(part, identity);
}

void Journal::DeleteLeft(const std::string& part, const FileIdentity& identity) {
  if (part.empty()) return;
  const auto folder = std::make_shared<std::string>();
  Background::Work work = [part, identity, folder, files = &platform_.files, downloads = platform_.downloadFiles] {
    *folder = DeletePart(*files, *downloads, part, identity);
  };
  Background::Done flush = [this, alive = std::weak_ptr<char>(alive_), part, identity,
                            folder](const std::exception_ptr& failure) {
    if (failure != nullptr || folder->empty() || alive.expired()) return;
    turns_.Give(std::make_shared<FolderStep>(*folder), [this, alive, part, identity](const std::exception_ptr& failed) {
      if (failed == nullptr && !alive.expired()) ForgetLeft(part, identity);
    });
  };
  platform_.background.Run(std::move(work), std::move(flush));
}

// A later start would take another file for it that has got its name and its number. Not before it is gone for good: a
// power cut may undo a deletion.
void Journal::ForgetLeft(const std::string& part, const FileIdentity& identity) {
  const auto left = left_.find(part);
  if (left == left_.end() || !(left->second == identity)) return;
  left_.erase(left);
  Append(GoneLine(EntryOfLeft(part, identity).key), {});
}

// A work may have written the first of these lines: a line that is there twice does no harm. From now on it writes
// none, which would come over these. Nothing is flushed, as for the list: a busy disk would hold the user up. Only a
// journal that lacks a line is replaced, which flushes it.
void Journal::Finish() {
  if (!readable_ || (IsWritten() && !reported_->lacksLine)) return;
  store_->finished = true;
  std::string pending;
  for (const std::string& line : reported_->pending) pending += line;
  std::string deletions;
  std::string whole;
  if (reported_->lacksLine) {
    whole = Whole();
    if (Skip([&] { platform_.downloadFiles->Replace(store_->path, whole); })) return;
    Skip([&] { deletions = MissingDeletions(); });
  }
  Skip([&] {
    const std::unique_ptr<DownloadFile> file = platform_.downloadFiles->OpenJournal(store_->path);
    // The folder may take no new file, and a full disk may have room for the first of these alone.
    for (const std::string& lines : {pending, deletions, whole}) {
      const std::uint64_t before = file->Length();
      if (Skip([&] { file->WriteAt(before, lines); })) continue;
      file->SetLength(before);  // the first line alone may be older than what a work has written
    }
  });
}

std::string Journal::Whole() const {
  std::vector<JournalEntry> lines;
  for (const auto& [part, identity] : left_) lines.push_back(EntryOfLeft(part, identity));
  for (const auto& [key, entry] : entries_) lines.push_back(entry);
  return WholeJournal(lines, nextId_);
}

// A whole journal says that something is gone by its silence, which says nothing after the lines of the file.
std::string Journal::MissingDeletions() const {
  std::string lines;
  for (const auto& [part, identity] : left_) lines += JournalLine(EntryOfLeft(part, identity));
  for (const JournalEntry& entry : ReadJournal(ReadWholeFile(platform_.files, store_->path, kLongest)).entries) {
    const bool isGone = entry.state != JournalState::Gone && !entries_.contains(entry.key);
    if (isGone) lines += GoneLine(entry.key);
  }
  return lines;
}

void Journal::Append(std::string line, Done done, Place place) {
  if (!readable_) {
    if (done) done(false);
    return;
  }
  appended_ += line.size();
  std::string whole;
  // One at a time: a whole may be long, and lines many.
  if (appended_ > kRewriteAbove || (reported_->lacksLine && reported_->rewriting == 0)) {
    whole = Whole();
    appended_ = 0;
    ++reported_->rewriting;
  }
  reported_->pending.push_back(line);
  const auto step = std::make_shared<Line>(store_, std::move(line), std::move(whole));
  Background::Done over = [step, reported = reported_, done = std::move(done)](const std::exception_ptr& failure) {
    reported->Over(failure == nullptr, *step);
    if (done) done(failure == nullptr);
  };
  turns_.Give(step, std::move(over), place);
}

}  // namespace pellora
