#include "SimOutputFolders.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "core/Ascii.h"
#include "ports/Failure.h"
#include "ports/RefusedName.h"

namespace pellora {

namespace {

constexpr std::uint64_t kDevice = 1;             // as SimDownloadFiles has it
constexpr std::int64_t kSecond = 1'000'000'000;  // of SimFileData::modified

[[noreturn]] void Fail(const std::string& path, const std::string& reason) {
  throw Failure(FailureNumber::File, path + ": " + reason);
}

[[noreturn]] void Refuse(const std::string& path, const std::string& reason) {
  throw RefusedName(path + ": " + reason);
}

// A local time is taken as it is: it only has to differ for different fields.
std::optional<std::int64_t> TimeOf(const OutputTraits& traits) {
  if (traits.modified) return traits.modified;
  return traits.localTime == 0 ? std::nullopt : std::optional<std::int64_t>(traits.localTime);
}

// The port promises that no such name is ever given to it.
void Demand(const std::string& name) {
  const bool good = !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos &&
                    name.find('\0') == std::string::npos;
  if (!good) throw std::logic_error("no name of a file: \"" + name + "\"");
}

}  // namespace

class SimOutputFile final : public OutputFile {
 public:
  SimOutputFile(SimOutputFolders& folders, std::string folder, std::shared_ptr<SimFileData> data,
                std::shared_ptr<std::vector<std::string>> named)
      : folders_(folders),
        disk_(folders.disk_),
        folder_(std::move(folder)),
        data_(std::move(data)),
        file_(disk_.Opened(folder_ + "/unnamed", data_)),
        named_(std::move(named)),
        unnamed_(folders.unnamed_) {
    ++*unnamed_;
  }
  ~SimOutputFile() override {
    --*unnamed_;
    if (!published_) disk_.used_ -= std::min(disk_.used_, data_->Size());
    if (!published_) data_->onDisk = false;
  }
  SimOutputFile(const SimOutputFile&) = delete;
  SimOutputFile& operator=(const SimOutputFile&) = delete;

  void Flush() {
    disk_.Enter(DiskCall::Flush, folder_);
    data_->Flush();
    flushed_ = true;
  }
  void Write(std::string_view bytes) override { file_->WriteAt(data_->Size(), bytes); }

  bool Publish(const std::string& name, const OutputTraits& traits,
               const std::optional<FileIdentity>& replaced) override {
    Demand(name);
    if (folders_.beforePublish) folders_.beforePublish(folder_ + "/" + name);
    if (!flushed_) Flush();
    disk_.Enter(DiskCall::Rename, folder_ + "/" + name);
    if (disk_.state_.links.contains(folder_) || !disk_.state_.folders.contains(folder_)) Fail(folder_, "no folder");
    folders_.CheckLength(folder_, name);
    const std::string to = folders_.AsOnDisk(folder_ + "/" + name);
    const std::shared_ptr<SimFileData> there = disk_.Find(to);
    if (disk_.state_.links.contains(to) || disk_.state_.folders.contains(to)) return false;
    if ((there != nullptr) != replaced.has_value()) return false;
    if (there && !(*replaced == FileIdentity{kDevice, there->inode})) return false;
    if (there) disk_.Remove(to);
    disk_.state_.files[to] = data_;
    disk_.made_.insert(to);
    disk_.Changed({to, there, data_, {}});
    data_->openToOthers = (traits.mode & 0044U) != 0;
    if (const auto modified = TimeOf(traits)) data_->modified = *modified * kSecond;
    folders_.traits_[to] = {static_cast<std::uint16_t>(traits.mode & 0777U), traits.modified, traits.localTime};
    published_ = true;
    named_->push_back(to);
    return true;
  }

 private:
  SimOutputFolders& folders_;
  SimDisk& disk_;
  const std::string folder_;
  const std::shared_ptr<SimFileData> data_;
  const std::unique_ptr<File> file_;
  const std::shared_ptr<std::vector<std::string>> named_;
  const std::shared_ptr<int> unnamed_;
  bool flushed_ = false;
  bool published_ = false;
};

class SimOutputFolder final : public OutputFolder {
 public:
  SimOutputFolder(SimOutputFolders& folders, std::string folder)
      : folders_(folders), disk_(folders.disk_), folder_(std::move(folder)) {}

  std::unique_ptr<OutputFile> Create(const OutputPath& path) override {
    disk_.Enter(DiskCall::Create, folder_);
    OutputPath above = path;
    Demand(above.back());
    above.pop_back();
    const std::string folder = folders_.PathOf(folder_, above, true);
    const std::shared_ptr<SimFileData> data = disk_.NewData();
    data->openToOthers = false;
    return std::make_unique<SimOutputFile>(folders_, folder, data, named_);
  }
  void FlushTogether(const std::vector<CompleteFile>& files) override {
    for (const CompleteFile& each : files) dynamic_cast<SimOutputFile&>(*each.file).Flush();
  }
  void FlushNames() override {
    disk_.Enter(DiskCall::FlushFolder, folder_);
    for (const std::string& name : std::exchange(*named_, {})) {
      std::erase_if(disk_.state_.unflushedNames, [&](const SimNameChange& change) { return change.path == name; });
    }
  }
  void AddName(const OutputPath& path) override {
    disk_.Enter(DiskCall::State, folder_);
    OutputPath above = path;
    above.pop_back();
    named_->push_back(folders_.PathOf(folder_, above, false) + "/" + path.back());
  }
  void MakeFolder(const OutputPath& path) override {
    disk_.Enter(DiskCall::CreateFolder, folder_);
    folders_.PathOf(folder_, path, true);
  }
  void SetTraits(const OutputPath& path, const OutputTraits& traits) override {
    disk_.Enter(DiskCall::State, folder_);
    const std::string at = folders_.PathOf(folder_, path, false);
    if (!disk_.state_.folders.contains(at)) Fail(at, "no such folder");
    folders_.traits_[at] = {static_cast<std::uint16_t>(traits.mode & 0777U), traits.modified, traits.localTime};
  }
  OutputFound LookAt(const OutputPath& path) override {
    disk_.Enter(DiskCall::StateOf, folder_);
    const std::string at = Find(path);
    if (at.empty()) return {};
    if (disk_.state_.links.contains(at)) return {OutputName::Other, {}, 0};
    if (disk_.state_.folders.contains(at)) return {OutputName::Folder, {}, 0};
    const std::shared_ptr<SimFileData> data = disk_.Find(at);
    if (!data) return {};
    return {OutputName::File, {kDevice, data->inode}, data->Size()};
  }
  std::unique_ptr<File> OpenFile(const OutputPath& path) override {
    disk_.Enter(DiskCall::OpenForReading, folder_);
    const std::shared_ptr<SimFileData> data = FileAt(path);
    return data ? disk_.Opened(Find(path), data) : nullptr;
  }
  bool HasTime(const OutputPath& path, const OutputTraits& traits) override {
    disk_.Enter(DiskCall::StateOf, folder_);
    const std::optional<std::int64_t> wanted = TimeOf(traits);
    const std::shared_ptr<SimFileData> data = FileAt(path);
    return wanted && data && data->modified == *wanted * kSecond;
  }

 private:
  // As the disk has it; empty if a folder above it is missing.
  std::string Find(const OutputPath& path) const {
    OutputPath above = path;
    Demand(above.back());
    above.pop_back();
    try {
      const std::string folder = folders_.PathOf(folder_, above, false);
      folders_.CheckLength(folder, path.back());
      return folders_.AsOnDisk(folder + "/" + path.back());
    } catch (const RefusedName&) {
      throw;
    } catch (const Failure&) {
      if (!IsMissing(above)) throw;
      return {};
    }
  }
  // Null if something else has the name, or nothing.
  std::shared_ptr<SimFileData> FileAt(const OutputPath& path) const {
    const std::string at = Find(path);
    return at.empty() || disk_.state_.links.contains(at) ? nullptr : disk_.Find(at);
  }
  // Some folder of `path` is, rather than something else being in its place.
  bool IsMissing(const OutputPath& path) const {
    std::string at = folder_;
    for (const std::string& part : path) {
      at = folders_.AsOnDisk(at + "/" + part);
      if (disk_.state_.links.contains(at) || disk_.Find(at)) return false;
      if (!disk_.state_.folders.contains(at)) return true;
    }
    return false;
  }

  SimOutputFolders& folders_;
  SimDisk& disk_;
  const std::string folder_;
  const std::shared_ptr<std::vector<std::string>> named_ = std::make_shared<std::vector<std::string>>();
};

std::shared_ptr<OutputFolder> SimOutputFolders::Open(const std::string& folder) {
  disk_.Enter(DiskCall::CreateFolder, folder);
  const std::string at = disk_.Follow(folder);
  if (disk_.Find(at)) Fail(folder, "is a file");
  for (std::string made = at; disk_.state_.folders.insert(made).second && made != "/";) {
    const std::size_t slash = made.rfind('/');
    made = slash == 0 ? "/" : made.substr(0, slash);
  }
  return std::make_shared<SimOutputFolder>(*this, at);
}

std::string SimOutputFolders::PathOf(const std::string& folder, const OutputPath& path, bool make) {
  if (disk_.state_.links.contains(folder) || !disk_.state_.folders.contains(folder)) Fail(folder, "no such folder");
  std::string at = folder;
  for (const std::string& part : path) {
    Demand(part);
    CheckLength(at, part);
    at = AsOnDisk(at + "/" + part);
    if (disk_.state_.links.contains(at)) Refuse(at, "a link");
    if (disk_.Find(at)) Refuse(at, "not a folder");
    if (disk_.state_.folders.contains(at)) continue;
    if (!make) Fail(at, "no such folder");
    disk_.state_.folders.insert(at);
  }
  return at;
}

void SimOutputFolders::CheckLength(const std::string& folder, const std::string& name) const {
  if (name.size() > longestName) Refuse(folder + "/" + name, "File name too long");
}

std::string SimOutputFolders::AsOnDisk(const std::string& path) const {
  if (!ignoresCase) return path;
  const std::string lower = ToLower(path);
  const auto same = [&](const std::string& other) { return ToLower(other) == lower; };
  for (const auto& [file, data] : disk_.state_.files) {
    if (same(file)) return file;
  }
  for (const auto& [link, target] : disk_.state_.links) {
    if (same(link)) return link;
  }
  for (const std::string& folder : disk_.state_.folders) {
    if (same(folder)) return folder;
  }
  return path;
}

OutputTraits SimOutputFolders::TraitsOf(const std::string& path) const {
  const auto found = traits_.find(path);
  return found == traits_.end() ? OutputTraits() : found->second;
}

}  // namespace pellora
