#include "archive/ArchiveDirectory.h"

#include <algorithm>
#include <array>
#include <utility>

#include "archive/LittleEndian.h"

namespace pellora {

namespace {

using namespace std::string_view_literals;

constexpr std::string_view kEntrySignature = "PK\1\2"sv;
constexpr std::size_t kFixedLength = 46;
constexpr std::uint32_t kFull32 = 0xFFFFFFFFU;
constexpr std::int64_t kModulo = 65536;  // of the number of entries without ZIP64

// Extra fields (section 4.5).
constexpr std::uint16_t kZip64Field = 0x0001;
constexpr std::uint16_t kTimesField = 0x5455;
constexpr std::uint16_t kUnicodePathField = 0x7075;
constexpr std::uint16_t kAesField = 0x9901;

// Systems that wrote the entry.
constexpr std::uint8_t kDos = 0;
constexpr std::uint8_t kUnix = 3;
constexpr std::uint8_t kNtfs = 10;
constexpr std::uint8_t kVfat = 14;
constexpr std::uint8_t kMac = 19;

constexpr std::uint16_t kEncrypted = 1U << 0U;
constexpr std::uint16_t kStrong = 1U << 6U;

// Methods of packing (section 4.4.5).
constexpr std::uint16_t kStored = 0;
constexpr std::uint16_t kDeflate = 8;
constexpr std::uint16_t kAes = 99;
constexpr std::array<std::uint16_t, 7> kMethods = {kStored,     kDeflate, 12 /* bzip2 */, 14 /* LZMA */, 93 /* zstd */,
                                                   95 /* xz */, 98 /* PPMd */};

std::size_t LengthAt(std::string_view text, std::size_t start) {
  return kFixedLength + LittleEndian16(text, start + 28) + LittleEndian16(text, start + 30) +
         LittleEndian16(text, start + 32);
}

bool IsEntry(std::string_view text, std::size_t start) {
  return text.substr(start).starts_with(kEntrySignature) && text.size() - start >= kFixedLength &&
         text.size() - start >= LengthAt(text, start);
}

// The values that did not fit, in this order.
void TakeZip64(ArchiveEntry& entry, std::string_view field, bool hasSize, bool hasPacked, bool hasOffset) {
  std::size_t at = 0;
  const auto take = [&](std::int64_t& value, bool wanted) {
    if (!wanted || field.size() < at + 8) return;
    value = LittleEndian64(field, at);
    at += 8;
  };
  take(entry.size, hasSize);
  take(entry.packed, hasPacked);
  take(entry.offset, hasOffset);
}

// Programs disagree whether it has a sign. What would lie before 1970 has none if the other time is after 2037.
std::int64_t SecondsOf(std::uint32_t time, std::uint16_t dosDate) {
  constexpr int kFirstYear = 1980;
  constexpr int kOverflow = 2038;
  const int year = kFirstYear + (dosDate >> 9U);
  return year < kOverflow ? static_cast<std::int32_t>(time) : static_cast<std::int64_t>(time);
}

void TakeField(ArchiveEntry& entry, std::uint16_t id, std::string_view field) {
  switch (id) {
    case kTimesField:
      if (field.size() >= 5 && (static_cast<unsigned char>(field[0]) & 1U) != 0) {
        entry.modified = SecondsOf(LittleEndian32(field, 1), entry.dosDate);
      }
      break;
    case kUnicodePathField:
      if (field.size() >= 5 && field[0] == 1) {
        entry.unicodeNameCrc = LittleEndian32(field, 1);
        entry.unicodeName = field.substr(5);
      }
      break;
    case kAesField:
      if (field.size() >= 7) entry.aes = field.substr(0, 7);
      break;
    default:
      break;
  }
}

// `namesFolder`: the name ends with a separator.
EntryKind KindOf(const ArchiveEntry& entry, std::uint32_t attributes, bool namesFolder) {
  constexpr std::uint32_t kTypeMask = 0170000;
  constexpr std::uint32_t kFolderType = 0040000;
  constexpr std::uint32_t kFileType = 0100000;
  constexpr std::uint32_t kDosFolder = 0x10;
  if (entry.madeBy == kUnix || entry.madeBy == kMac) {
    const std::uint32_t type = attributes >> 16U & kTypeMask;
    if (type == kFolderType) return EntryKind::Folder;
    if (type == kFileType) return namesFolder ? EntryKind::Folder : EntryKind::File;
    if (type != 0) return EntryKind::Other;
  }
  return namesFolder || (attributes & kDosFolder) != 0 ? EntryKind::Folder : EntryKind::File;
}

Obstacle ObstacleOf(const ArchiveEntry& entry) {
  if (entry.kind == EntryKind::Other) return Obstacle::Kind;
  if (entry.kind == EntryKind::Folder) return Obstacle::None;
  const bool known = std::find(kMethods.begin(), kMethods.end(), entry.method) != kMethods.end();
  if (entry.method == kAes) return Obstacle::Encryption;  // nothing says how
  if ((entry.flags & kEncrypted) == 0) return known ? Obstacle::None : Obstacle::Method;
  if ((entry.flags & kStrong) != 0) return Obstacle::Encryption;
  if (!known) return Obstacle::Method;
  const bool decrypted = entry.method == kStored || entry.method == kDeflate;
  return decrypted ? Obstacle::Password : Obstacle::Encryption;
}

}  // namespace

bool HasTooManyEntries(std::string_view text) {
  if (text.size() / kFixedLength <= static_cast<std::size_t>(kMostEntries)) return false;
  std::int64_t count = 0;
  std::size_t start = 0;
  for (; start < text.size() && IsEntry(text, start); start += LengthAt(text, start)) ++count;
  return start == text.size() && count > kMostEntries;
}

std::optional<ArchiveDirectory> ArchiveDirectory::Read(std::string text, std::int64_t at, const ArchiveEnd& end) {
  if (static_cast<std::int64_t>(text.size()) > kLargestDirectory) return {};
  ArchiveDirectory directory;
  std::size_t start = 0;
  while (start < text.size() && IsEntry(text, start)) {
    if (static_cast<std::int64_t>(directory.starts_.size()) == kMostEntries) return {};
    directory.starts_.push_back(static_cast<std::uint32_t>(start));
    const std::string_view name = std::string_view(text).substr(start + kFixedLength, LittleEndian16(text, start + 28));
    directory.hasSlash_ |= name.find('/') != std::string_view::npos;
    start += LengthAt(text, start);
  }
  const auto count = static_cast<std::int64_t>(directory.starts_.size());
  if (end.zip64 ? count != end.entries : count % kModulo != end.entries) return {};
  directory.text_ = std::move(text);
  directory.at_ = at;
  directory.shift_ = at - end.directoryOffset;
  return directory;
}

ArchiveEntry ArchiveDirectory::Entry(std::size_t index) const {
  const std::string_view text = std::string_view(text_).substr(starts_.at(index));
  ArchiveEntry entry;
  entry.madeBy = static_cast<std::uint8_t>(text[5]);
  entry.flags = LittleEndian16(text, 8);
  entry.method = LittleEndian16(text, 10);
  entry.dosTime = LittleEndian16(text, 12);
  entry.dosDate = LittleEndian16(text, 14);
  entry.crc = LittleEndian32(text, 16);
  entry.packed = LittleEndian32(text, 20);
  entry.size = LittleEndian32(text, 24);
  const std::size_t nameLength = LittleEndian16(text, 28);
  entry.extraLength = LittleEndian16(text, 30);
  const std::uint32_t attributes = LittleEndian32(text, 38);
  entry.offset = LittleEndian32(text, 42);
  entry.rawName = text.substr(kFixedLength, nameLength);

  const bool fullSize = entry.size == kFull32;
  const bool fullPacked = entry.packed == kFull32;
  const bool fullOffset = entry.offset == kFull32;
  std::string_view extra = text.substr(kFixedLength + nameLength, entry.extraLength);
  while (extra.size() >= 4) {
    const std::uint16_t id = LittleEndian16(extra, 0);
    const std::string_view field = extra.substr(4, LittleEndian16(extra, 2));
    extra.remove_prefix(4 + field.size());
    if (id == kZip64Field) {
      TakeZip64(entry, field, fullSize, fullPacked, fullOffset);
    } else {
      TakeField(entry, id, field);
    }
  }
  if (entry.method == kAes && !entry.aes.empty()) entry.method = LittleEndian16(entry.aes, 5);
  if (entry.madeBy == kUnix || entry.madeBy == kMac) entry.mode = static_cast<std::uint16_t>(attributes >> 16U & 0777U);
  const bool namesFolder = entry.rawName.ends_with('/') || (entry.rawName.ends_with('\\') && BackslashSeparates(entry));
  entry.kind = KindOf(entry, attributes, namesFolder);
  entry.obstacle = ObstacleOf(entry);
  // Held where a sum would leave the range.
  if (entry.offset < INT64_MAX / 2) entry.offset += shift_;
  return entry;
}

bool ArchiveDirectory::BackslashSeparates(const ArchiveEntry& entry) const {
  return !hasSlash_ && (entry.madeBy == kDos || entry.madeBy == kNtfs || entry.madeBy == kVfat);
}

}  // namespace pellora
