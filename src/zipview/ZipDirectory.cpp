#include "zipview/ZipDirectory.h"

#include <algorithm>
#include <limits>

namespace pellora {

namespace {

constexpr std::size_t kFixedPart = 46;
constexpr std::int64_t kMost = std::numeric_limits<std::int16_t>::max();

std::int64_t LittleEndian(std::int64_t position, int bytes, std::string_view text) {
  std::int64_t value = 0;
  for (int i = 0; i < bytes; ++i) {
    const std::int64_t at = position - 1 + i;
    if (at < 0 || at >= static_cast<std::int64_t>(text.size())) continue;
    value += static_cast<std::int64_t>(static_cast<unsigned char>(text[static_cast<std::size_t>(at)])) << (8 * i);
  }
  return value;
}

std::string Piece(std::string_view text, std::size_t offset, std::size_t length) {
  return std::string(text.substr(std::min(offset, text.size()), length));
}

}  // namespace

std::int64_t ReadZip16(std::int64_t position, std::string_view text) { return LittleEndian(position, 2, text); }
std::int64_t ReadZip32(std::int64_t position, std::string_view text) { return LittleEndian(position, 4, text); }

ZipEndRecord ReadEndRecord(std::string_view text) {
  ZipEndRecord record;
  record.EntryCount = static_cast<std::int16_t>(std::min(ReadZip16(9, text), kMost));
  record.DirectorySize = ReadZip32(13, text);
  return record;
}

std::vector<ZipEntry> ReadDirectory(std::string_view text, std::int16_t count) {
  std::vector<ZipEntry> entries(1);
  if (count > 0) entries.reserve(static_cast<std::size_t>(count) + 1);
  std::size_t offset = 0;
  for (int i = 1; i <= count; ++i) {
    const auto pos = static_cast<std::int64_t>(offset);
    const std::int64_t nameLength = ReadZip16(pos + 29, text);
    if (nameLength > kMost) break;
    const auto length = static_cast<std::size_t>(nameLength);
    ZipEntry entry;
    entry.NameLength = static_cast<std::int16_t>(nameLength);
    entry.RawRecord = Piece(text, offset, kFixedPart + length);
    entry.Name = Piece(text, offset + kFixedPart, length);
    entry.IsDirectory = entry.Name.ends_with('/');
    entry.Position = static_cast<std::int16_t>(i);
    entry.CrcField = ReadZip32(pos + 16, text);
    entry.LocalHeaderOffset = ReadZip32(pos + 43, text);
    entry.PackedSize = ReadZip32(pos + 21, text);
    entry.NormalSize = ReadZip32(pos + 25, text);
    entries.push_back(std::move(entry));
    offset += kFixedPart + length;
  }
  return entries;
}

}  // namespace pellora
