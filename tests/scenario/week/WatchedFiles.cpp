#include "WatchedFiles.h"

#include <algorithm>
#include <utility>

#include "ports/Failure.h"

namespace pellora {

class WatchedFile final : public File {
 public:
  WatchedFile(WatchedFiles& files, std::string path, std::unique_ptr<File> file)
      : files_(files), path_(std::move(path)), file_(std::move(file)) {
    files_.open_.push_back(&path_);
  }
  ~WatchedFile() override { std::erase(files_.open_, &path_); }

  void WriteAt(std::uint64_t offset, std::string_view bytes) override {
    files_.Enter(DiskCall::Write, path_);
    files_.Write(*file_, path_, offset, bytes);
  }
  std::size_t ReadAt(std::uint64_t offset, std::span<char> buffer) override {
    files_.Enter(DiskCall::Read, path_);
    if (!files_.delayed_.empty()) files_.Flush(&path_);
    return file_->ReadAt(offset, buffer);
  }
  // A failing call copies nothing, as the port requires.
  std::size_t CopyFrom(File& source, std::uint64_t from, std::uint64_t offset, std::size_t size) override {
    const auto* const other = dynamic_cast<const WatchedFile*>(&source);
    if (other == nullptr) return 0;
    try {
      files_.Enter(DiskCall::Copy, path_);
      if (!files_.delayed_.empty()) files_.Flush(&other->path_);
      std::string bytes(size, '\0');
      bytes.resize(other->file_->ReadAt(from, bytes));
      files_.Write(*file_, path_, offset, bytes);
      return bytes.size();
    } catch (const Failure&) {
      return 0;
    }
  }
  std::uint64_t Length() override {
    files_.Enter(DiskCall::Length, path_);
    return file_->Length();
  }
  void Reserve(std::uint64_t size) override {
    files_.Enter(DiskCall::Reserve, path_);
    file_->Reserve(size);
  }

 private:
  WatchedFiles& files_;
  const std::string path_;
  std::unique_ptr<File> file_;
};

WatchedFiles::WatchedFiles(SimPlatform& sim, Counts& counts, Planted planted)
    : sim_(sim), counts_(counts), planted_(planted), random_(sim.Seed() + 1) {
  for (const std::string& path : sim_.disk().Paths()) lengths_[path] = sim_.disk().Size(path);
}

WatchedFiles::~WatchedFiles() = default;

std::unique_ptr<File> WatchedFiles::Open(const std::string& path, FileKind kind) {
  Enter(DiskCall::Open, path);
  auto file = sim_.disk().Open(path, kind);
  lengths_.try_emplace(path, 0);
  return std::make_unique<WatchedFile>(*this, path, std::move(file));
}

PartName WatchedFiles::LookAtPart(const std::string& path) const { return sim_.disk().LookAtPart(path); }

std::unique_ptr<File> WatchedFiles::OpenForReading(const std::string& path) {
  Enter(DiskCall::OpenForReading, path);
  return std::make_unique<WatchedFile>(*this, path, sim_.disk().OpenForReading(path));
}

void WatchedFiles::Delete(const std::string& path) {
  Enter(DiskCall::Delete, path);
  if (watcher_) watcher_->Deleting(path);
  if (planted_ == Planted::PartLeft && path.ends_with(".part")) return;
  sim_.disk().Delete(path);
  lengths_.erase(path);
  std::erase_if(delayed_, [&](const Delayed& one) { return one.path == path; });
}

void WatchedFiles::CreateFolder(const std::string& path) {
  Enter(DiskCall::CreateFolder, path);
  sim_.disk().CreateFolder(path);
}

bool WatchedFiles::Exists(const std::string& path) const { return sim_.disk().Exists(path); }
bool WatchedFiles::FolderExists(const std::string& path) const { return sim_.disk().FolderExists(path); }

std::uint64_t WatchedFiles::LengthOf(const std::string& path) const {
  Enter(DiskCall::LengthOf, path);
  return sim_.disk().LengthOf(path);
}

std::vector<std::string> WatchedFiles::FilesIn(const std::string& folder) const {
  Enter(DiskCall::FilesIn, folder);
  return sim_.disk().FilesIn(folder);
}

void WatchedFiles::FailCalls(std::uint64_t salt) {
  SimRandom random(salt);
  Rule rule;
  switch (random.Below(7)) {
    case 0:
      rule.name = "disk: a write fails";
      rule.calls = {DiskCall::Write};
      break;
    case 1:
      rule.name = "disk: a part file fails";
      rule.where = Where::Parts;
      break;
    case 2:
      rule.name = "disk: an opening fails";
      rule.calls = {DiskCall::Open, DiskCall::OpenForReading};
      break;
    case 3:
      rule.name = "disk: the list fails";
      rule.where = Where::List;
      break;
    case 4:
      rule.name = "disk: a deletion fails";
      rule.calls = {DiskCall::Delete};
      break;
    case 5:
      rule.name = "disk: a read or its length fails";
      rule.calls = {DiskCall::Read, DiskCall::Length, DiskCall::LengthOf};
      break;
    default:
      rule.name = "disk: folder, output or another file fails";
      rule.where = Where::Elsewhere;
      break;
  }
  rule.skip = random.Below(4);
  rule.once = random.Below(3) != 0;
  rule.until = sim_.loop().Time() + static_cast<SimLoop::Micros>(random.Between(1, 20)) * SimLoop::kSecond;
  rules_.push_back(std::move(rule));
}

void WatchedFiles::FillUp(std::uint64_t salt) {
  SimRandom random(salt);
  sim_.disk().SetCapacity(sim_.disk().Used() + random.Below(random.Coin() ? 2'000 : 100'000));
  const auto span = static_cast<std::uint32_t>(random.Between(1'000, 20'000));
  fullUntil_ = sim_.loop().Time() + static_cast<SimLoop::Micros>(span) * SimLoop::kMillisecond;
  sim_.After(span, [this] { sim_.disk().SetCapacity(UINT64_MAX); });
}

void WatchedFiles::NoFaults() {
  rules_.clear();
  sim_.disk().SetCapacity(UINT64_MAX);
}

std::uint64_t WatchedFiles::Size(const std::string& path) const {
  const auto at = lengths_.find(path);
  return at == lengths_.end() ? 0 : at->second;
}

void WatchedFiles::Enter(DiskCall call, const std::string& path) const {
  if (rules_.empty()) return;
  const SimLoop::Micros now = sim_.loop().Time();
  const Where where = path == kListPath ? Where::List : IsPartFile(path) ? Where::Parts : Where::Elsewhere;
  for (auto rule = rules_.begin(); rule != rules_.end(); ++rule) {
    if (now > rule->until) continue;
    if (rule->where != Where::Anywhere && rule->where != where) continue;
    if (!rule->calls.empty() && std::find(rule->calls.begin(), rule->calls.end(), call) == rule->calls.end()) continue;
    if (rule->skip > 0) {
      --rule->skip;
      continue;
    }
    ++counts_.faults[rule->name];
    if (path == kJournalPath) journalFailed_ = true;
    if (call == DiskCall::Delete) notDeleted_.insert(path);
    if (rule->once) rules_.erase(rule);
    throw Failure(FailureNumber::File, path + ": input/output error");
  }
}

void WatchedFiles::NoteLength(const std::string& path) { lengths_[path] = sim_.disk().Size(path); }

void WatchedFiles::Write(File& file, const std::string& path, std::uint64_t offset, std::string_view bytes) {
  const bool part = IsPartFile(path);
  if (tear_ && path != kListPath) {
    ++counts_.faults["disk: torn by a kill"];
    file.WriteAt(offset, bytes.substr(0, bytes.size() / 2));
    sim_.disk().CutNow();
    throw SimKilled();
  }
  if (planted_ == Planted::WrongOffset && part && random_.Below(50) == 0) ++offset;
  if (planted_ == Planted::ListAheadOfData && part) {
    delayed_.push_back({path, offset, std::string(bytes)});
    return;
  }
  try {
    file.WriteAt(offset, bytes);
  } catch (const Failure&) {
    ++counts_.faults["disk: full"];
    NoteLength(path);
    throw;
  }
  std::uint64_t& length = lengths_[path];
  length = std::max(length, offset + bytes.size());
  if (watcher_) watcher_->Written(path, offset, bytes);
  if (path == kListPath) Flush(nullptr);
}

// Writes delayed bytes to the disk: all, or those of one file.
void WatchedFiles::Flush(const std::string* only) {
  std::deque<Delayed> kept;
  for (Delayed& one : delayed_) {
    if (only && one.path != *only) {
      kept.push_back(std::move(one));
      continue;
    }
    sim_.disk().Open(one.path, FileKind::Part)->WriteAt(one.offset, one.bytes);
    NoteLength(one.path);
  }
  delayed_.swap(kept);
}

}  // namespace pellora
