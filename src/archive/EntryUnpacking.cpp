#include "archive/EntryUnpacking.h"

#include <algorithm>

#include "archive/LittleEndian.h"
#include "core/Crc32.h"
#include "core/HarmlessName.h"
#include "ports/Failure.h"
#include "ports/RefusedName.h"

namespace pellora {

namespace {

// APPNOTE.TXT 6.3.10, section 4.3.7.
constexpr std::int64_t kFixedHeader = 30;
constexpr std::string_view kSignature = "PK\3\4";
constexpr std::uint16_t kEncrypted = 1;
constexpr std::uint16_t kStored = 0;
constexpr std::uint16_t kAes = 99;

constexpr std::int64_t kMostCopied = std::int64_t{1} << 20;
constexpr std::int64_t kMostPacked = std::int64_t{256} << 10;
constexpr int kMostTries = 10000;  // to find a name

bool IsEncrypted(const PackedEntry& entry) { return (entry.flags & kEncrypted) != 0; }

}  // namespace

OutputTraits TraitsOf(const SelectedEntry& entry) {
  const auto date = static_cast<std::uint32_t>(entry.packed.dosDate);
  return {entry.mode, entry.modified, date << 16U | entry.packed.dosTime};
}

bool HasSum(const PackedEntry& entry) { return entry.aes.empty() || LittleEndian16(entry.aes, 0) != 2; }

EntryUnpacking::EntryUnpacking(Unpacker& unpacker, std::shared_ptr<OutputFolder> folder,
                               std::shared_ptr<DownloadFile> part, SelectedEntry entry, std::string password,
                               Existing existing, std::shared_ptr<UnpackedFiles> files)
    : unpacker_(unpacker),
      folder_(std::move(folder)),
      part_(std::move(part)),
      entry_(std::move(entry)),
      existing_(existing),
      files_(std::move(files)) {
  entry_.packed.password = std::move(password);
}

EntryEnd EntryUnpacking::Step() {
  if (end_ != EntryEnd::None) return end_;
  try {
    end_ = Next();
  } catch (const RefusedName& refused) {
    reason_ = refused.what();
    end_ = EntryEnd::NameRefused;
  } catch (const Failure& failure) {
    reason_ = failure.what();
    end_ = EntryEnd::DiskFailed;
  }
  if (end_ != EntryEnd::None) {
    unpacking_.reset();
    file_.reset();
    read_.clear();
  }
  return end_;
}

EntryEnd EntryUnpacking::Next() {
  switch (stage_) {
    case Stage::Header:
      return entry_.isFolder ? MakeFolder() : ReadHeader();
    case Stage::Data:
      return unpacking_ ? DecodeData() : CopyData();
    case Stage::Naming:
      return GiveName();
  }
  return EntryEnd::None;
}

EntryEnd EntryUnpacking::MakeFolder() {
  folder_->MakeFolder(entry_.path);
  published_ = entry_.path;
  return EntryEnd::Unpacked;
}

EntryEnd EntryUnpacking::ReadHeader() {
  if (existing_ == Existing::Keep && IsKept(folder_->LookAt(entry_.path))) return EntryEnd::LeftOut;
  const auto nameLength = static_cast<std::int64_t>(entry_.rawName.size());
  const std::int64_t nameEnd = entry_.range.begin + kFixedHeader + nameLength;
  if (nameEnd > entry_.reach) return EntryEnd::Other;
  if (nameEnd > entry_.range.end) return Demand(nameEnd);
  const std::string header = ReadPart(entry_.range.begin, kFixedHeader + nameLength);
  const std::uint16_t method = entry_.packed.aes.empty() ? entry_.packed.method : kAes;
  const bool agrees = header.starts_with(kSignature) && LittleEndian16(header, 8) == method &&
                      LittleEndian16(header, 26) == nameLength && header.ends_with(entry_.rawName);
  if (!agrees) return EntryEnd::Other;
  const std::int64_t begin = nameEnd + LittleEndian16(header, 28);
  if (begin > entry_.reach || entry_.packed.packed > static_cast<std::uint64_t>(entry_.reach - begin)) {
    return EntryEnd::Other;
  }
  data_ = {begin, begin + static_cast<std::int64_t>(entry_.packed.packed)};
  if (data_.end > entry_.range.end) return Demand(data_.end);
  return Begin();
}

EntryEnd EntryUnpacking::Demand(std::int64_t end) {
  needs_ = {entry_.range.end, end};
  return EntryEnd::NeedsMore;
}

// Some methods have a few packed bytes for no plain ones: nothing needs to decode them.
EntryEnd EntryUnpacking::Begin() {
  const PackedEntry& packed = entry_.packed;
  const bool copied = packed.method == kStored && !IsEncrypted(packed);
  if (copied && packed.packed != packed.size) return EntryEnd::Damaged;
  if (IsEncrypted(packed) && packed.password.empty()) return EntryEnd::WrongPassword;
  file_ = folder_->Create(entry_.path);
  stage_ = Stage::Data;
  if (packed.size == 0) {
    data_.begin = data_.end;
  } else if (!copied) {
    unpacking_ = unpacker_.Begin(packed);
  }
  return EntryEnd::None;
}

EntryEnd EntryUnpacking::CopyData() {
  const std::int64_t length = std::min(kMostCopied, data_.Length());
  if (length == 0) return CheckSum();
  const std::string bytes = ReadPart(data_.begin, length);
  data_.begin += length;
  return Accept(bytes);
}

EntryEnd EntryUnpacking::DecodeData() {
  if (taken_ == read_.size()) {
    const std::int64_t length = std::min(kMostPacked, data_.Length());
    read_ = ReadPart(data_.begin, length);
    data_.begin += length;
    taken_ = 0;
  }
  std::string plain;
  taken_ += unpacking_->Exchange(std::string_view(read_).substr(taken_), plain);
  const EntryEnd accepted = Accept(plain);
  if (accepted != EntryEnd::None) return accepted;
  switch (unpacking_->State()) {
    case UnpackState::Working:
      return EntryEnd::None;
    case UnpackState::Done:
      return CheckSum();
    case UnpackState::Damaged:
      return DamagedEnd();
    case UnpackState::Failed:
      reason_ = unpacking_->Reason();
      return EntryEnd::NoUnpacker;
  }
  return EntryEnd::None;
}

EntryEnd EntryUnpacking::Accept(std::string_view plain) {
  if (plain.empty()) return EntryEnd::None;
  if (plain.size() > entry_.packed.size - static_cast<std::uint64_t>(plain_)) return DamagedEnd();
  file_->Write(plain);
  crc_ = Crc32(plain, crc_);
  plain_ += static_cast<std::int64_t>(plain.size());
  return EntryEnd::None;
}

EntryEnd EntryUnpacking::CheckSum() {
  unpacking_.reset();
  const bool whole = static_cast<std::uint64_t>(plain_) == entry_.packed.size;
  if (!whole || (HasSum(entry_.packed) && crc_ != entry_.packed.crc)) return DamagedEnd();
  stage_ = Stage::Naming;
  return EntryEnd::None;
}

EntryEnd EntryUnpacking::DamagedEnd() const {
  return IsEncrypted(entry_.packed) ? EntryEnd::WrongPassword : EntryEnd::Damaged;
}

bool EntryUnpacking::IsKept(const OutputFound& found) const {
  if (found.what == OutputName::Free) return false;
  return found.what != OutputName::File || !files_->Has(found.identity);
}

// One name in each step. What has the name may change at any time: then the same name is looked at again.
EntryEnd EntryUnpacking::GiveName() {
  if (++tries_ > kMostTries) {
    reason_ = Joined(entry_.path) + ": no name was free";
    return EntryEnd::DiskFailed;
  }
  OutputPath path = entry_.path;
  path.back() = NumberedName(path.back(), number_);
  const OutputFound found = folder_->LookAt(path);
  std::optional<FileIdentity> replaced;
  if (found.what != OutputName::Free) {
    const bool meant = number_ == 1 && IsKept(found);
    if (meant && existing_ == Existing::Keep) return EntryEnd::LeftOut;
    if (!meant || existing_ != Existing::Replace || found.what != OutputName::File) {
      number_ = files_->NextNumber(entry_.path)++;
      return EntryEnd::None;
    }
    replaced = found.identity;
  }
  if (!file_->Publish(path.back(), TraitsOf(entry_), replaced)) return EntryEnd::None;
  // The entry is there, whether or not it can be looked at.
  Skip([&] { files_->Add(folder_->LookAt(path).identity); });
  published_ = std::move(path);
  return EntryEnd::Unpacked;
}

std::string EntryUnpacking::Name() const { return Joined(published_); }

std::string EntryUnpacking::Joined(const OutputPath& path) {
  std::string joined;
  for (const std::string& part : path) joined += (joined.empty() ? "" : "/") + part;
  return joined;
}

std::string EntryUnpacking::ReadPart(std::int64_t at, std::int64_t length) {
  std::string bytes(static_cast<std::size_t>(length), '\0');
  if (part_->ReadAt(static_cast<std::uint64_t>(at), bytes) < bytes.size()) {
    throw Failure(FailureNumber::File, entry_.rawName + ": the part file has lost its end");
  }
  return bytes;
}

}  // namespace pellora
