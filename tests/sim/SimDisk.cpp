#include "SimDisk.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <span>

#include "SimFaults.h"
#include "ports/Failure.h"

namespace pellora {

namespace {

[[noreturn]] void Fail(const std::string& path, const std::string& reason) {
  throw Failure(FailureNumber::File, path + ": " + reason);
}

std::string ParentOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == 0 || slash == std::string::npos ? "/" : path.substr(0, slash);
}

std::uint64_t Footprint(const SimFileData& data) { return std::max(data.Size(), data.reserved); }

const char* NameOf(DiskCall call) {
  constexpr std::array<const char*, 27> kNames{"disk open",      "disk look at part",  "disk open for reading",
                                               "disk delete",    "disk create folder", "disk exists",
                                               "disk length of", "disk listing",       "disk write",
                                               "disk read",      "disk length",        "disk reserve",
                                               "disk copy",      "disk create",        "disk adopt",
                                               "disk journal",   "disk replace",       "disk state of",
                                               "disk rename",    "disk flush folder",  "disk room",
                                               "disk number",    "disk longest",       "disk fills gaps",
                                               "disk flush",     "disk set length",    "disk state"};
  return kNames[static_cast<std::size_t>(call)];
}

}  // namespace

class SimFile final : public File {
 public:
  SimFile(SimDisk& disk, std::string path, std::shared_ptr<SimFileData> data, bool writable)
      : disk_(disk), path_(std::move(path)), data_(std::move(data)), writable_(writable) {}

  void WriteAt(std::uint64_t offset, std::string_view bytes) override {
    const bool torn = disk_.Enter(DiskCall::Write, path_, offset, bytes.size());
    if (!writable_) Fail(path_, "opened for reading only");
    if (torn) {
      data_->Write(offset, bytes.substr(0, bytes.size() / 2));
      disk_.Touch(*data_);
      throw SimKilled();
    }
    if (SimFails(NameOf(DiskCall::Write), path_)) {
      // Existing bytes are not changed; half of what extends the file is written.
      const std::uint64_t end = offset + bytes.size();
      const std::uint64_t held = std::max(offset, Footprint(*data_));
      if (end > held) disk_.Write(*data_, path_, offset, bytes.substr(0, (end - held) / 2));
      Fail(path_, "input/output error");
    }
    disk_.Write(*data_, path_, offset, bytes);
  }
  std::size_t ReadAt(std::uint64_t offset, std::span<char> buffer) override {
    disk_.Enter(DiskCall::Read, path_, offset, buffer.size());
    return data_->Read(offset, buffer);
  }
  // A failed copy copies nothing, as the port requires. A torn one does half.
  std::size_t CopyFrom(File& source, std::uint64_t from, std::uint64_t offset, std::size_t size) override {
    const auto* const other = dynamic_cast<const SimFile*>(&source);
    try {
      const bool torn = disk_.Enter(DiskCall::Copy, path_, offset, size);
      if (!writable_ || other == nullptr || other->data_ == data_) return 0;
      std::string bytes(size, '\0');
      bytes.resize(other->data_->Read(from, bytes));
      if (torn) {
        data_->Write(offset, std::string_view(bytes).substr(0, bytes.size() / 2));
        throw SimKilled();
      }
      disk_.Write(*data_, path_, offset, bytes);
      return bytes.size();
    } catch (const Failure&) {
      return 0;
    }
  }
  bool IsPrivate() override { return !data_->openToOthers && !data_->ofAnotherUser; }
  std::uint64_t Length() override {
    disk_.Enter(DiskCall::Length, path_);
    return data_->Size();
  }
  void Reserve(std::uint64_t size) override {
    disk_.Enter(DiskCall::Reserve, path_, 0, size);
    if (!writable_) Fail(path_, "opened for reading only");
    disk_.Reserve(*data_, path_, size);
  }

 private:
  SimDisk& disk_;
  std::string path_;
  std::shared_ptr<SimFileData> data_;
  bool writable_;
};

bool SimDisk::Enter(DiskCall call, const std::string& path, std::uint64_t offset, std::uint64_t size) const {
  if (cut_) throw SimKilled();
  ++calls_;
  loop_.Trace().Note(loop_.Time(), "disk", static_cast<std::uint64_t>(call), calls_, path);
  if (log_) {
    log_->push_back(NameOf(call) + (" " + path + " ") + std::to_string(offset) + " " + std::to_string(size));
  }
  if (calls_ >= cutAt_) {
    cut_ = true;
    loop_.NoteKilled();
    if (torn_ && (call == DiskCall::Write || call == DiskCall::Copy)) return true;
    throw SimKilled();
  }
  bool fails = failOnce_.count(calls_) > 0 || calls_ >= failFrom_;
  for (Rule& rule : rules_) {
    if (rule.left == 0 || !rule.matches(call, path)) continue;
    if (rule.left == 1) fails = true;
    if (rule.left > 1 || !rule.fromThenOn) --rule.left;
  }
  // These two can only fail by their result, and a torn write itself decides what reaches the disk.
  if (call == DiskCall::Exists || call == DiskCall::LookAtPart) return fails;
  if (call != DiskCall::Write) fails = SimFails(NameOf(call), path) || fails;
  if (fails) Fail(path, "input/output error");
  return false;
}

// Resolves ".", ".." and doubled separators; a relative path is below the user's home folder.
std::string SimDisk::Resolve(const std::string& path) const {
  if (path.empty()) Fail(path, "an empty name");
  if (path.find('\0') != std::string::npos) Fail(path, "a name with a zero byte");
  const std::string whole = path.front() == '/' ? path : "/home/u/" + path;
  std::vector<std::string> parts;
  std::size_t at = 0;
  while (at < whole.size()) {
    const std::size_t slash = std::min(whole.find('/', at), whole.size());
    const std::string part = whole.substr(at, slash - at);
    at = slash + 1;
    if (part.size() > 255) Fail(path, "a name that is too long");
    if (part == "..") {
      if (!parts.empty()) parts.pop_back();
    } else if (!part.empty() && part != ".") {
      parts.push_back(part);
    }
  }
  std::string resolved;
  for (const std::string& part : parts) resolved += "/" + part;
  return resolved.empty() ? "/" : resolved;
}

std::string SimDisk::Follow(const std::string& path) const {
  std::string at = Resolve(path);
  for (int links = 0; state_.links.contains(at); ++links) {
    if (links == 40) Fail(path, "too many links");
    at = Resolve(state_.links.at(at).target);
  }
  return at;
}

std::string SimDisk::FollowOwn(const std::string& path) const {
  std::string at = Resolve(path);
  for (int links = 0; state_.links.contains(at); ++links) {
    if (links == 40) Fail(path, "too many links");
    const SimLink& link = state_.links.at(at);
    if (link.ofAnotherUser) throw Failure(FailureNumber::ForeignFile, path + ": a link of another user");
    at = Resolve(link.target);
  }
  return at;
}

void SimDisk::DemandParent(const std::string& resolved, const std::string& path) const {
  if (state_.folders.count(ParentOf(resolved)) == 0) Fail(path, "no such folder");
}

std::unique_ptr<File> SimDisk::Open(const std::string& path, FileKind kind) {
  Enter(DiskCall::Open, path);
  if (kind == FileKind::Part && PartNameOf(Resolve(path)) == PartName::Foreign) {
    throw Failure(FailureNumber::ForeignFile, path + ": not a part file");
  }
  const std::string at = FollowOwn(path);
  if (state_.folders.count(at) > 0 || path.back() == '/') Fail(path, "is a folder");
  DemandParent(at, path);
  std::shared_ptr<SimFileData> data = Find(at);
  if (!data) data = NewFile(at);
  if (kind != FileKind::Output) data->openToOthers = false;
  return std::make_unique<SimFile>(*this, path, data, true);
}

PartName SimDisk::LookAtPart(const std::string& path) const {
  if (Enter(DiskCall::LookAtPart, path) || SimFails(NameOf(DiskCall::LookAtPart), path)) return PartName::Free;
  try {
    return PartNameOf(Resolve(path));
  } catch (const Failure&) {
    return PartName::Free;
  }
}

PartName SimDisk::PartNameOf(const std::string& at) const {
  if (state_.links.contains(at) || state_.folders.contains(at)) return PartName::Foreign;
  const auto found = state_.files.find(at);
  if (found == state_.files.end()) return PartName::Free;
  return found->second->ofAnotherUser || found->second->names > 1 ? PartName::Foreign : PartName::Own;
}

std::unique_ptr<File> SimDisk::Opened(const std::string& path, std::shared_ptr<SimFileData> data) {
  return std::make_unique<SimFile>(*this, path, std::move(data), true);
}

std::unique_ptr<File> SimDisk::OpenForReading(const std::string& path) {
  Enter(DiskCall::OpenForReading, path);
  const auto found = state_.files.find(Follow(path));
  if (found == state_.files.end()) Fail(path, "no such file");
  return std::make_unique<SimFile>(*this, path, found->second, false);
}

void SimDisk::Delete(const std::string& path) {
  Enter(DiskCall::Delete, path);
  const std::string at = Resolve(path);
  if (state_.links.erase(at) > 0) return;
  const std::shared_ptr<SimFileData> data = Find(at);
  if (!data) Fail(path, "no such file");
  Remove(at);
  Changed({at, data, nullptr, {}});
}

void SimDisk::CreateFolder(const std::string& path) {
  Enter(DiskCall::CreateFolder, path);
  const std::string at = Resolve(path);
  if (state_.files.count(at) > 0) Fail(path, "is a file");
  if (state_.folders.count(at) > 0) return;
  DemandParent(at, path);
  state_.folders.insert(at);
}

bool SimDisk::Exists(const std::string& path) const {
  const std::optional<std::string> at = Found(path);
  return at && (state_.files.count(*at) > 0 || state_.folders.count(*at) > 0);
}

bool SimDisk::FolderExists(const std::string& path) const {
  const std::optional<std::string> at = Found(path);
  return at && state_.folders.count(*at) > 0;
}

// Where a look for something at the path ends.
std::optional<std::string> SimDisk::Found(const std::string& path) const {
  if (Enter(DiskCall::Exists, path) || SimFails(NameOf(DiskCall::Exists), path)) return {};
  try {
    return Follow(path);
  } catch (const Failure&) {
    return {};
  }
}

std::uint64_t SimDisk::LengthOf(const std::string& path) const {
  Enter(DiskCall::LengthOf, path);
  const auto found = state_.files.find(Follow(path));
  if (found == state_.files.end()) Fail(path, "no such file");
  return found->second->Size();
}

std::vector<std::string> SimDisk::FilesIn(const std::string& folder) const {
  Enter(DiskCall::FilesIn, folder);
  const std::string at = Resolve(folder);
  const std::string prefix = at == "/" ? at : at + "/";
  std::vector<std::string> names;
  for (auto file = state_.files.lower_bound(prefix); file != state_.files.end(); ++file) {
    if (file->first.compare(0, prefix.size(), prefix) != 0) break;
    std::string name = file->first.substr(prefix.size());
    if (name.find('/') == std::string::npos) names.push_back(std::move(name));
  }
  return names;
}

void SimDisk::Write(SimFileData& data, const std::string& path, std::uint64_t offset, std::string_view bytes) {
  const std::uint64_t before = Footprint(data);
  const std::uint64_t room = capacity_ > used_ ? capacity_ - used_ : 0;
  const std::uint64_t end = offset + bytes.size();
  // Writes what fits, like a full disk.
  std::string_view fitting = bytes;
  if (data.onDisk && end > before && end - before > room) {
    const std::uint64_t reach = before + room;
    fitting = bytes.substr(0, static_cast<std::size_t>(reach > offset ? reach - offset : 0));
  }
  if (end > longestFile_) Fail(path, "file too large");
  data.Write(offset, fitting);
  Touch(data);
  written_ += fitting.size();
  if (data.onDisk) used_ += Footprint(data) - before;
  if (fitting.size() < bytes.size()) Fail(path, "no space left on the disk");
}

void SimDisk::Reserve(SimFileData& data, const std::string& path, std::uint64_t size) {
  const std::uint64_t before = Footprint(data);
  if (size <= before) return;
  const std::uint64_t room = capacity_ > used_ ? capacity_ - used_ : 0;
  if (data.onDisk && size - before > room) Fail(path, "no space left on the disk");
  data.reserved = size;
  if (data.onDisk) used_ += size - before;
}

void SimDisk::SetLength(SimFileData& data, const std::string& path, std::uint64_t length) {
  const std::uint64_t before = Footprint(data);
  const std::uint64_t room = capacity_ > used_ ? capacity_ - used_ : 0;
  if (length > longestFile_) Fail(path, "file too large");
  if (data.onDisk && length > before && length - before > room) Fail(path, "no space left on the disk");
  data.SetSize(length);
  if (length < data.reserved) data.reserved = length;
  Touch(data);
  if (data.onDisk) used_ = used_ + Footprint(data) - before;
}

void SimDisk::Touch(SimFileData& data) const {
  constexpr double kDaysTo1970 = 25569.0;
  constexpr double kMillisecondsPerDay = 86'400'000.0;
  data.modified = static_cast<std::int64_t>(std::round((loop_.Now() - kDaysTo1970) * kMillisecondsPerDay)) * 1'000'000;
}

std::shared_ptr<SimFileData> SimDisk::NewData() {
  auto data = std::make_shared<SimFileData>();
  data->inode = ++state_.lastInode;
  Touch(*data);
  return data;
}

std::shared_ptr<SimFileData> SimDisk::NewFile(const std::string& resolved) {
  std::shared_ptr<SimFileData> data = NewData();
  state_.files[resolved] = data;
  made_.insert(resolved);
  Changed({resolved, nullptr, data, {}});
  return data;
}

std::shared_ptr<SimFileData> SimDisk::Find(const std::string& resolved) const {
  const auto found = state_.files.find(resolved);
  return found == state_.files.end() ? nullptr : found->second;
}

// Older changes have reached the disk without a flush.
void SimDisk::Changed(SimNameChange change) {
  constexpr std::size_t kMostUnflushed = 32;
  state_.unflushedNames.push_back(std::move(change));
  if (state_.unflushedNames.size() > kMostUnflushed) state_.unflushedNames.pop_front();
}

// Over a file that has the new name.
void SimDisk::Rename(const std::string& from, const std::string& to) {
  const std::shared_ptr<SimFileData> data = state_.files.at(from);
  const std::shared_ptr<SimFileData> before = Find(to);
  if (before) Remove(to);
  state_.files.erase(from);
  state_.files[to] = data;
  made_.insert(to);
  Changed({to, before, data, from});
}

void SimDisk::PowerCut(std::uint64_t seed) {
  constexpr std::uint64_t kPowerSeed = 0x706F776572;  // differs from the others derived from the seed
  CutNow();
  SimRandom random(seed + kPowerSeed);
  auto& changes = state_.unflushedNames;
  for (std::uint64_t undone = random.Below(changes.size() + 1); undone > 0; --undone) {
    const SimNameChange change = std::move(changes.back());
    changes.pop_back();
    if (Find(change.path) != change.after) continue;
    if (change.before) {
      state_.files[change.path] = change.before;
    } else {
      state_.files.erase(change.path);
    }
    if (!change.from.empty() && !Find(change.from)) state_.files[change.from] = change.after;
  }
  changes.clear();
  std::set<SimFileData*> cut;
  for (const auto& [path, data] : state_.files) {
    const bool first = cut.insert(data.get()).second;
    data->names = first ? 1 : data->names + 1;
    data->onDisk = true;
    if (first) data->CutPower(random);
  }
}

void SimDisk::Remove(const std::string& path) {
  const auto found = state_.files.find(path);
  if (found == state_.files.end()) return;
  if (--found->second->names == 0) {
    found->second->onDisk = false;
    used_ -= Footprint(*found->second);
  }
  state_.files.erase(found);
}

void SimDisk::MakeFolder(const std::string& path) {
  std::string at = Resolve(path);
  given_.insert(at);
  while (state_.folders.insert(at).second && at != "/") at = ParentOf(at);
}

void SimDisk::Put(const std::string& path, const SimContent& content) {
  const std::string at = Resolve(path);
  MakeFolder(ParentOf(at));
  Remove(at);
  const std::shared_ptr<SimFileData> data = NewData();
  data->Write(0, content.All());
  data->Flush();
  used_ += data->Size();
  state_.files[at] = data;
}

void SimDisk::PutNumbered(const std::string& path, const SimContent& content, std::uint64_t inode) {
  Put(path, content);
  state_.files.at(Resolve(path))->inode = inode;
}

void SimDisk::PutLink(const std::string& path, const std::string& target, bool ofAnotherUser) {
  state_.links[Resolve(path)] = {target, ofAnotherUser};
}

void SimDisk::PutSecondName(const std::string& path, const std::string& of) {
  const std::shared_ptr<SimFileData> data = state_.files.at(Resolve(of));
  ++data->names;
  state_.files[Resolve(path)] = data;
}

void SimDisk::GiveToAnother(const std::string& path) { state_.files.at(Resolve(path))->ofAnotherUser = true; }

void SimDisk::SetOpenToOthers(const std::string& path, bool open) {
  state_.files.at(Resolve(path))->openToOthers = open;
}

void SimDisk::LockByAnother(const std::string& path) { state_.files.at(Resolve(path))->lockedByAnother = true; }

void SimDisk::Renumber() {
  for (const auto& [path, data] : state_.files) data->inode = ++state_.lastInode;
}

bool SimDisk::IsOpenToOthers(const std::string& path) const {
  const auto found = state_.files.find(Resolve(path));
  return found != state_.files.end() && found->second->openToOthers;
}

std::string SimDisk::Get(const std::string& path) const {
  const auto found = state_.files.find(Resolve(path));
  if (found == state_.files.end()) throw std::logic_error("no such file on the simulated disk: " + path);
  std::string bytes(static_cast<std::size_t>(found->second->Size()), '\0');
  found->second->Read(0, bytes);
  return bytes;
}

bool SimDisk::Has(const std::string& path) const { return state_.files.count(Resolve(path)) > 0; }

bool SimDisk::WasCutByPower(const std::string& path) const {
  const std::shared_ptr<SimFileData> data = Find(Resolve(path));
  return data && data->cutByPower;
}

std::uint64_t SimDisk::Size(const std::string& path) const {
  const auto found = state_.files.find(Resolve(path));
  return found == state_.files.end() ? 0 : found->second->Size();
}

bool SimDisk::Holds(const std::string& path, const SimContent& content) const {
  return Has(path) && Size(path) == content.Length() && Holds(path, content, 0, content.Length());
}

bool SimDisk::Holds(const std::string& path, const SimContent& content, std::uint64_t offset,
                    std::uint64_t length) const {
  constexpr std::uint64_t kBlock = 16384;
  const std::shared_ptr<SimFileData> data = Find(Resolve(path));
  if (!data || offset + length > content.Length()) return false;
  std::array<char, kBlock> held;
  std::array<char, kBlock> expected;
  for (std::uint64_t at = offset, end = offset + length; at < end; at += kBlock) {
    const auto size = static_cast<std::size_t>(std::min(kBlock, end - at));
    content.Read(at, std::span(expected).first(size));
    if (data->Read(at, std::span(held).first(size)) < size) return false;
    if (std::memcmp(held.data(), expected.data(), size) != 0) return false;
  }
  return true;
}

void SimDisk::Lose(const std::string& path) {
  lost_.insert(Resolve(path));
  Remove(Resolve(path));
}

std::vector<std::string> SimDisk::Paths() const {
  std::vector<std::string> paths;
  for (const auto& [path, data] : state_.files) paths.push_back(path);
  return paths;
}

void SimDisk::FailWhere(Predicate matches, std::uint64_t n, bool fromThenOn) {
  rules_.push_back({std::move(matches), n, fromThenOn});
}

void SimDisk::NoFaults() {
  failOnce_.clear();
  failFrom_ = UINT64_MAX;
  rules_.clear();
  capacity_ = UINT64_MAX;
  longestFile_ = INT64_MAX;
}

void SimDisk::CutAt(std::uint64_t number, bool torn) {
  cutAt_ = number;
  torn_ = torn;
}

void SimDisk::CutNow() {
  cut_ = true;
  loop_.NoteKilled();
}

SimDiskState SimDisk::TakeState() {
  CutNow();  // open files can no longer be written
  used_ = 0;
  SimDiskState taken;
  std::swap(taken, state_);
  return taken;
}

void SimDisk::SetState(SimDiskState state) {
  state_ = std::move(state);
  used_ = 0;
  for (const auto& [path, data] : state_.files) {
    data->reserved = 0;
    used_ += data->Size();
  }
}

}  // namespace pellora
