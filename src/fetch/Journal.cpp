#include "fetch/Journal.h"

#include <algorithm>
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

bool HasPart(const Files& files, const JournalEntry& entry) {
  return (!entry.partPath.empty() && files.Exists(entry.partPath)) ||
         (!entry.oldPartPath.empty() && files.Exists(entry.oldPartPath));
}

std::set<std::uint64_t> IdsOfDeleted(const std::vector<JournalEntry>& entries) {
  std::set<std::uint64_t> ids;
  for (const JournalEntry& entry : entries) {
    if (entry.state == JournalState::Gone && entry.id != 0) ids.insert(entry.id);
  }
  return ids;
}

}  // namespace

// Used by works alone, which run one at a time.
struct Journal::Store {
  Store(DownloadFiles* theFiles, std::string thePath) : files(theFiles), path(std::move(thePath)) {}

  DownloadFiles* const files;
  const std::string path;
  std::unique_ptr<DownloadFile> file;
  std::optional<std::uint64_t> length;  // up to the last good line; unknown for a new file

  // Cuts off what does not end with a good line.
  void OpenFile() {
    if (!files->StateOf(path)) files->Replace(path, {});  // a new one's name is to be on the disk with its first line
    std::unique_ptr<DownloadFile> opened = files->OpenJournal(path);
    const std::uint64_t there = opened->Length();
    const std::uint64_t good = std::min(length.value_or(there), there);
    if (good < there) opened->SetLength(good);
    length = good;
    file = std::move(opened);
  }

  void Append(const std::string& line) {
    if (!file) OpenFile();
    try {
      file->WriteAt(*length, line);
      file->Flush();
    } catch (const Failure&) {
      Skip([this] { file->SetLength(*length); });
      throw;
    }
    *length += line.size();
  }

  void Rewrite(const std::string& whole) {
    file.reset();
    files->Replace(path, whole);
    length.reset();
  }
};

Journal::Journal(const Platform& platform, std::string path)
    : platform_(platform), store_(std::make_shared<Store>(platform.downloadFiles, std::move(path))) {}

void Journal::Open() {
  if (!platform_.files.Exists(store_->path)) return;
  readable_ = false;
  const std::string bytes = ReadWholeFile(platform_.files, store_->path, kLongest);
  readable_ = true;
  JournalReading reading = ReadJournal(bytes);
  nextId_ = reading.nextId;
  damaged_ = reading.badLines > 0;
  const std::set<std::uint64_t> deleted = IdsOfDeleted(reading.entries);
  std::erase_if(reading.entries, [&](const JournalEntry& entry) {
    // Its line stays until its part file is gone too.
    if (entry.state == JournalState::Gone) return !HasPart(platform_.files, entry);
    // Its address was being changed when the download was deleted.
    return deleted.contains(entry.id);
  });
  const std::string whole = WholeJournal(reading.entries, nextId_);
  for (JournalEntry& entry : reading.entries) {
    if (entry.state == JournalState::Gone) {
      gone_.push_back(std::move(entry));
    } else {
      onDisk_->insert(entry.key);
      const JournalKey key = entry.key;
      entries_[key] = std::move(entry);
    }
  }
  // Where that fails the old one serves on; its torn end is cut before the next line.
  if (Skip([&] { store_->Rewrite(whole); })) return;
  store_->length = reading.wholeLength;
  Skip([&] { store_->OpenFile(); });
}

const std::string& Journal::Path() const { return store_->path; }

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
  for (const auto& [key, entry] : entries_) {
    const bool isOwn = key == own || (mine != nullptr && entry.id == mine->id);
    // What is chosen of an archive is not written under the archive's name.
    if (!isOwn && entry.selection.empty() && entry.state != JournalState::Finished && !entry.path.empty())
      paths.insert(entry.path);
  }
  return paths;
}

void Journal::Put(const JournalEntry& entry, Done done) {
  entries_[entry.key] = entry;
  Append(JournalLine(entry), [onDisk = onDisk_, key = entry.key, done = std::move(done)](bool written) {
    if (written) onDisk->insert(key);
    if (done) done(written);
  });
}

void Journal::Remove(const JournalKey& key, Done done) {
  const auto at = entries_.find(key);
  if (at == entries_.end()) {
    if (done) done(true);
    return;
  }
  JournalEntry gone = std::move(at->second);
  entries_.erase(at);
  onDisk_->erase(key);
  gone.state = JournalState::Gone;
  const std::string line = JournalLine(gone);
  KeepGone(std::move(gone));  // first: appending may rewrite the whole
  Append(line, std::move(done));
}

void Journal::Drop(const JournalKey& key) {
  if (entries_.erase(key) == 0) return;
  onDisk_->erase(key);
  JournalEntry dropped;
  dropped.key = key;
  dropped.state = JournalState::Gone;
  Append(JournalLine(dropped), {});
}

// Its line is as that of a deleted download, whose address is the path.
void Journal::Discard(const std::string& part, const FileIdentity& identity) {
  if (part.empty()) return;
  JournalEntry litter;
  litter.key.url = part;
  litter.state = JournalState::Gone;
  litter.partPath = part;
  litter.part = identity;
  KeepGone(litter);
  Append(JournalLine(litter), {});
  DeletePartFile(platform_, part, identity);
}

// A work may be writing the first of these lines, at the same place or before it: a line that is there twice does no
// harm. Nothing is flushed, as for the list: a busy disk would hold the user up.
void Journal::Finish() {
  if (!readable_ || pending_->empty()) return;
  std::string lines;
  for (const std::string& line : *pending_) lines += line;
  Skip([&] {
    const std::unique_ptr<DownloadFile> file = platform_.downloadFiles->OpenJournal(store_->path);
    file->WriteAt(file->Length(), lines);
  });
}

std::string Journal::Whole() const {
  std::vector<JournalEntry> lines = gone_;
  for (const auto& [key, entry] : entries_) lines.push_back(entry);
  return WholeJournal(lines, nextId_);
}

void Journal::KeepGone(JournalEntry gone) {
  if (gone.partPath.empty() && gone.oldPartPath.empty()) return;
  std::erase_if(gone_, [&](const JournalEntry& kept) { return kept.key == gone.key; });
  gone_.push_back(std::move(gone));
}

void Journal::Append(std::string line, Done done) {
  if (!readable_) {
    if (done) done(false);
    return;
  }
  appended_ += line.size();
  std::string whole;
  if (appended_ > kRewriteAbove || *lacksLine_) {
    whole = Whole();
    appended_ = 0;
  }
  const auto rewritten = std::make_shared<bool>(false);
  pending_->push_back(line);
  platform_.background.Run(
      [store = store_, line = std::move(line), whole = std::move(whole), rewritten] {
        *rewritten = !whole.empty() && Skip([&] { store->Rewrite(whole); });
        if (!*rewritten) store->Append(line);
      },
      [lacksLine = lacksLine_, pending = pending_, rewritten,
       done = std::move(done)](const std::exception_ptr& failure) {
        pending->pop_front();
        if (failure != nullptr || *rewritten) *lacksLine = failure != nullptr;
        if (done) done(failure == nullptr);
      });
}

}  // namespace pellora
