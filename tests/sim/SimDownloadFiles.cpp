#include "SimDownloadFiles.h"

#include <algorithm>
#include <utility>

#include "ports/Failure.h"

namespace pellora {

namespace {

constexpr std::uint64_t kDevice = 1;

[[noreturn]] void Fail(const std::string& path, const std::string& reason) {
  throw Failure(FailureNumber::File, path + ": " + reason);
}

std::string FolderOf(const std::string& resolved) {
  const std::size_t slash = resolved.rfind('/');
  return slash == 0 ? "/" : resolved.substr(0, slash);
}

}  // namespace

class SimDownloadFile final : public DownloadFile {
 public:
  using Locks = SimDownloadFiles::Locks;
  SimDownloadFile(SimDisk& disk, std::string path, std::shared_ptr<SimFileData> data,
                  std::shared_ptr<std::uint64_t> gapBytes, std::shared_ptr<Locks> locks)
      : disk_(disk),
        path_(std::move(path)),
        data_(std::move(data)),
        file_(disk.Opened(path_, data_)),
        gapBytes_(std::move(gapBytes)),
        locks_(std::move(locks)) {
    if (locks_) locks_->insert(data_.get());
  }
  ~SimDownloadFile() override {
    if (locks_) locks_->erase(data_.get());
  }
  SimDownloadFile(const SimDownloadFile&) = delete;
  SimDownloadFile& operator=(const SimDownloadFile&) = delete;

  void WriteAt(std::uint64_t offset, std::string_view bytes) override {
    const std::uint64_t end = data_->Size();
    file_->WriteAt(offset, bytes);
    if (offset > end) *gapBytes_ += offset - end;
  }
  std::size_t ReadAt(std::uint64_t offset, std::span<char> buffer) override { return file_->ReadAt(offset, buffer); }
  std::uint64_t Length() override { return file_->Length(); }
  void Reserve(std::uint64_t size) override { file_->Reserve(size); }

  void Flush() override {
    try {
      disk_.Enter(DiskCall::Flush, path_);
    } catch (const Failure&) {
      data_->FailFlush();
      throw;
    }
    data_->Flush();
    std::erase_if(disk_.state_.unflushedNames,
                  [&](const SimNameChange& change) { return change.after == data_ && change.from.empty(); });
  }
  void SetLength(std::uint64_t length) override {
    disk_.Enter(DiskCall::SetLength, path_, length);
    disk_.SetLength(*data_, path_, length);
  }
  FileState State() override {
    disk_.Enter(DiskCall::State, path_);
    return SimDownloadFiles::StateOf(*data_);
  }

 private:
  SimDisk& disk_;
  std::string path_;
  std::shared_ptr<SimFileData> data_;
  std::unique_ptr<File> file_;
  std::shared_ptr<std::uint64_t> gapBytes_;
  std::shared_ptr<Locks> locks_;  // null: it is not locked
};

FileState SimDownloadFiles::StateOf(const SimFileData& data) {
  return {{kDevice, data.inode}, data.Size(), data.modified};
}

std::unique_ptr<DownloadFile> SimDownloadFiles::Create(const std::string& path) {
  disk_.Enter(DiskCall::Create, path);
  const std::string at = disk_.Resolve(path);
  if (path.back() == '/') Fail(path, "is a folder");
  if (disk_.Find(at) || disk_.state_.links.contains(at) || disk_.state_.folders.contains(at)) return nullptr;
  disk_.DemandParent(at, path);
  const std::shared_ptr<SimFileData> data = disk_.NewFile(at);
  data->openToOthers = false;
  return std::make_unique<SimDownloadFile>(disk_, path, data, gapBytes_, locks_);
}

std::unique_ptr<DownloadFile> SimDownloadFiles::Adopt(const std::string& path, const FileIdentity& identity) {
  disk_.Enter(DiskCall::Adopt, path);
  const std::string at = disk_.Resolve(path);
  const std::shared_ptr<SimFileData> data = disk_.Find(at);
  if (!data || disk_.PartNameOf(at) != PartName::Own || StateOf(*data).identity.inode != identity.inode) return nullptr;
  if (data->lockedByAnother || locks_->contains(data.get())) return nullptr;
  return std::make_unique<SimDownloadFile>(disk_, path, data, gapBytes_, locks_);
}

std::unique_ptr<DownloadFile> SimDownloadFiles::OpenJournal(const std::string& path) {
  disk_.Enter(DiskCall::OpenJournal, path);
  const std::string at = disk_.Resolve(path);
  if (disk_.PartNameOf(at) == PartName::Foreign) {
    throw Failure(FailureNumber::ForeignFile, path + ": not the program's file");
  }
  disk_.DemandParent(at, path);
  std::shared_ptr<SimFileData> data = disk_.Find(at);
  if (!data) data = disk_.NewFile(at);
  data->openToOthers = false;
  return std::make_unique<SimDownloadFile>(disk_, path, data, gapBytes_, nullptr);
}

// The bytes go into a new file, which takes the name once it is flushed.
void SimDownloadFiles::Replace(const std::string& path, std::string_view bytes) {
  disk_.Enter(DiskCall::Replace, path, 0, bytes.size());
  const std::string at = disk_.Resolve(path);
  if (disk_.PartNameOf(at) == PartName::Foreign) {
    throw Failure(FailureNumber::ForeignFile, path + ": not the program's file");
  }
  disk_.MakeFolder(FolderOf(at));
  const std::shared_ptr<SimFileData> data = disk_.NewData();
  data->openToOthers = false;
  try {
    disk_.Write(*data, path, 0, bytes);
  } catch (const Failure&) {
    disk_.used_ -= data->Size();
    throw;
  }
  data->Flush();
  if (disk_.Find(at)) disk_.Remove(at);
  disk_.state_.files[at] = data;
  disk_.made_.insert(at);
  std::erase_if(disk_.state_.unflushedNames, [&](const SimNameChange& change) { return change.path == at; });
}

std::optional<FileState> SimDownloadFiles::StateOf(const std::string& path) const {
  disk_.Enter(DiskCall::StateOf, path);
  const std::shared_ptr<SimFileData> data = disk_.Find(disk_.Resolve(path));
  if (!data) return std::nullopt;
  return StateOf(*data);
}

bool SimDownloadFiles::Publish(const std::string& part, const std::string& path) {
  disk_.Enter(DiskCall::Rename, path);
  const std::string to = disk_.Resolve(path);
  if (disk_.Find(to) || disk_.state_.links.contains(to) || disk_.state_.folders.contains(to)) return false;
  RenameWithinFolder(part, path);
  return true;
}

bool SimDownloadFiles::PublishOver(const std::string& part, const std::string& path, const FileState& replaced) {
  disk_.Enter(DiskCall::Rename, path);
  const std::shared_ptr<SimFileData> data = disk_.Find(disk_.Resolve(path));
  if (!data || !(StateOf(*data) == replaced)) return false;
  RenameWithinFolder(part, path);
  return true;
}

void SimDownloadFiles::RenameWithinFolder(const std::string& part, const std::string& path) {
  const std::string from = disk_.Resolve(part);
  const std::string to = disk_.Resolve(path);
  const std::shared_ptr<SimFileData> data = disk_.Find(from);
  if (!data) Fail(part, "no such file");
  if (FolderOf(from) != FolderOf(to)) Fail(path, "in another folder");
  disk_.Rename(from, to);
  data->openToOthers = true;
}

void SimDownloadFiles::FlushFolder(const std::string& path) {
  const std::string folder = disk_.Follow(path);
  disk_.Enter(DiskCall::FlushFolder, folder);
  std::erase_if(disk_.state_.unflushedNames,
                [&](const SimNameChange& change) { return FolderOf(change.path) == folder; });
}

void SimDownloadFiles::DemandFolder(const std::string& path) const {
  if (!disk_.state_.folders.contains(disk_.Follow(path))) Fail(path, "no such folder");
}

bool SimDownloadFiles::IsOnOtherDisk(const std::string& folder) const {
  return otherDisk_ && disk_.Follow(folder).starts_with(*otherDisk_);
}

std::uint64_t SimDownloadFiles::RoomIn(const std::string& folder) const {
  disk_.Enter(DiskCall::RoomIn, folder);
  DemandFolder(folder);
  if (otherRoom_ && IsOnOtherDisk(folder)) return *otherRoom_;
  if (room_) return *room_;
  return disk_.capacity_ > disk_.used_ ? disk_.capacity_ - disk_.used_ : 0;
}

std::uint64_t SimDownloadFiles::DiskOf(const std::string& folder) const {
  disk_.Enter(DiskCall::DiskOf, folder);
  DemandFolder(folder);
  return IsOnOtherDisk(folder) ? kDevice + 1 : kDevice;
}

std::uint64_t SimDownloadFiles::LongestFileIn(const std::string& folder) const {
  disk_.Enter(DiskCall::LongestFileIn, folder);
  DemandFolder(folder);
  return disk_.longestFile_;
}

bool SimDownloadFiles::FillsGaps(const std::string& folder) const {
  disk_.Enter(DiskCall::FillsGaps, folder);
  DemandFolder(folder);
  return fillsGaps_;
}

}  // namespace pellora
