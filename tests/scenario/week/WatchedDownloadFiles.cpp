#include "WatchedDownloadFiles.h"

#include <algorithm>
#include <deque>
#include <utility>

#include "fetch/JournalCodec.h"
#include "ports/Failure.h"

namespace pellora {

class WatchedDownloadFile final : public DownloadFile {
 public:
  WatchedDownloadFile(WatchedDownloadFiles& files, std::string path, std::unique_ptr<DownloadFile> file)
      : files_(files), path_(std::move(path)), file_(std::move(file)) {}

  void WriteAt(std::uint64_t offset, std::string_view bytes) override {
    files_.Enter(DiskCall::Write, path_);
    if (files_.planted_ == Planted::LateJournal && bytes.find("state=renaming") != std::string_view::npos) {
      files_.lateLine_ = bytes;
      return;
    }
    if (files_.planted_ == Planted::EarlyFlush && IsWebPart(path_)) {
      unflushed_.emplace_back(offset, bytes);
      return;
    }
    try {
      file_->WriteAt(offset, bytes);
    } catch (const Failure&) {
      if (path_ == kJournalPath) files_.journalFailed_ = true;  // the disk is full
      throw;
    }
    if (path_ == kJournalPath) lines_ += bytes;
  }
  std::size_t ReadAt(std::uint64_t offset, std::span<char> buffer) override {
    files_.Enter(DiskCall::Read, path_);
    WriteAll();
    return file_->ReadAt(offset, buffer);
  }
  std::uint64_t Length() override {
    files_.Enter(DiskCall::Length, path_);
    return file_->Length();
  }
  void Reserve(std::uint64_t size) override {
    files_.Enter(DiskCall::Reserve, path_);
    file_->Reserve(size);
  }
  void Flush() override {
    const std::string lines = std::exchange(lines_, {});  // after a failure they are written over
    files_.Enter(DiskCall::Flush, path_);
    file_->Flush();
    WriteAll();
    files_.FlushedJournal(lines);
  }
  void SetLength(std::uint64_t length) override {
    files_.Enter(DiskCall::SetLength, path_);
    file_->SetLength(length);
  }
  FileState State() override {
    files_.Enter(DiskCall::State, path_);
    WriteAll();
    return file_->State();
  }

 private:
  void WriteAll() {
    for (const auto& [offset, bytes] : std::exchange(unflushed_, {})) file_->WriteAt(offset, bytes);
  }

  WatchedDownloadFiles& files_;
  const std::string path_;
  std::unique_ptr<DownloadFile> file_;
  std::deque<std::pair<std::uint64_t, std::string>> unflushed_;  // for Planted::EarlyFlush
  std::string lines_;                                            // of the journal, written since the last flush
};

void WatchedDownloadFiles::FlushedJournal(const std::string& lines) {
  if (lines.empty()) return;
  for (const JournalEntry& entry : ReadJournal(lines).entries) {
    if (entry.state != JournalState::Gone) unnamed_.erase(entry.partPath);  // that may be of a former file there
  }
}

std::unique_ptr<DownloadFile> WatchedDownloadFiles::Watched(std::string path, std::unique_ptr<DownloadFile> file) {
  if (!file) return nullptr;
  return std::make_unique<WatchedDownloadFile>(*this, std::move(path), std::move(file));
}

std::unique_ptr<DownloadFile> WatchedDownloadFiles::Create(const std::string& path) {
  Enter(DiskCall::Create, path);
  auto file = Watched(path, sim_.downloadFiles().Create(path));
  if (file) unnamed_.insert(path);
  return file;
}

std::unique_ptr<DownloadFile> WatchedDownloadFiles::Adopt(const std::string& path, const FileIdentity& identity) {
  Enter(DiskCall::Adopt, path);
  return Watched(path, sim_.downloadFiles().Adopt(path, identity));
}

std::unique_ptr<DownloadFile> WatchedDownloadFiles::OpenJournal(const std::string& path) {
  Enter(DiskCall::OpenJournal, path);
  return Watched(path, sim_.downloadFiles().OpenJournal(path));
}

void WatchedDownloadFiles::Replace(const std::string& path, std::string_view bytes) {
  Enter(DiskCall::Replace, path);
  try {
    sim_.downloadFiles().Replace(path, bytes);
  } catch (const Failure&) {
    journalFailed_ = true;
    throw;
  }
}

std::optional<FileState> WatchedDownloadFiles::StateOf(const std::string& path) const {
  Enter(DiskCall::StateOf, path);
  return sim_.downloadFiles().StateOf(path);
}

bool WatchedDownloadFiles::Publish(const std::string& part, const std::string& path) {
  Enter(DiskCall::Rename, path);
  if (watcher_) watcher_->Publishing(part, path);
  const bool published = sim_.downloadFiles().Publish(part, path);
  if (published && watcher_) watcher_->Published(path);
  if (!lateLine_.empty()) {
    const std::unique_ptr<DownloadFile> journal = sim_.downloadFiles().OpenJournal(std::string(kJournalPath));
    journal->WriteAt(journal->Length(), std::exchange(lateLine_, {}));
  }
  return published;
}

bool WatchedDownloadFiles::PublishOver(const std::string& part, const std::string& path, const FileState& replaced) {
  Enter(DiskCall::Rename, path);
  if (watcher_) watcher_->Publishing(part, path);
  const bool published = sim_.downloadFiles().PublishOver(part, path, replaced);
  if (published && watcher_) watcher_->Published(path);
  return published;
}

void WatchedDownloadFiles::FlushFolder(const std::string& folder) {
  Enter(DiskCall::FlushFolder, folder);
  sim_.downloadFiles().FlushFolder(folder);
}

std::uint64_t WatchedDownloadFiles::RoomIn(const std::string& folder) const {
  Enter(DiskCall::RoomIn, folder);
  return sim_.downloadFiles().RoomIn(folder);
}

std::uint64_t WatchedDownloadFiles::LongestFileIn(const std::string& folder) const {
  Enter(DiskCall::LongestFileIn, folder);
  return sim_.downloadFiles().LongestFileIn(folder);
}

bool WatchedDownloadFiles::FillsGaps(const std::string& folder) const { return sim_.downloadFiles().FillsGaps(folder); }

void WatchedDownloadFiles::FailCalls(std::uint64_t salt) {
  struct Kind {
    const char* name;
    std::vector<DiskCall> calls;
    bool journal = false;
  };
  static const std::vector<Kind> kinds = {
      {"parts: a write fails", {DiskCall::Write}},
      {"parts: a flush fails", {DiskCall::Flush}},
      {"parts: an opening fails", {DiskCall::Create, DiskCall::Adopt, DiskCall::Reserve}},
      {"parts: a look at a file fails",
       {DiskCall::StateOf, DiskCall::State, DiskCall::RoomIn, DiskCall::LongestFileIn}},
      {"parts: a rename fails", {DiskCall::Rename}},
      {"parts: a read fails", {DiskCall::Read}},
      {"journal: a call fails", {}, true},
  };
  SimRandom random(salt);
  const Kind& kind = kinds[random.Below(kinds.size())];
  Rule rule;
  rule.name = kind.name;
  rule.calls = kind.calls;
  rule.journal = kind.journal;
  rule.skip = random.Below(4);
  rule.once = random.Below(3) != 0;
  rule.until = sim_.loop().Time() + static_cast<SimLoop::Micros>(random.Between(1, 20)) * SimLoop::kSecond;
  rules_.push_back(std::move(rule));
}

void WatchedDownloadFiles::Enter(DiskCall call, const std::string& path) const {
  if (rules_.empty()) return;
  const SimLoop::Micros now = sim_.loop().Time();
  for (auto rule = rules_.begin(); rule != rules_.end(); ++rule) {
    if (now > rule->until || rule->journal != (path == kJournalPath)) continue;
    if (!rule->calls.empty() && std::find(rule->calls.begin(), rule->calls.end(), call) == rule->calls.end()) continue;
    if (rule->skip > 0) {
      --rule->skip;
      continue;
    }
    ++counts_.faults[rule->name];
    if (rule->journal) journalFailed_ = true;
    if (call == DiskCall::StateOf) unseen_.insert(path);
    if (rule->once) rules_.erase(rule);
    throw Failure(FailureNumber::File, path + ": input/output error");
  }
}

}  // namespace pellora
