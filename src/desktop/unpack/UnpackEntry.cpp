#include "desktop/unpack/UnpackEntry.h"

#include <archive.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <memory>
#include <vector>

namespace pellora {

namespace {

constexpr std::size_t kBlock = std::size_t{64} << 10;
constexpr std::uint16_t kDescriptorFlag = 1U << 3U;
constexpr std::uint16_t kEncryptedFlag = 1U;
constexpr std::uint16_t kAesMethod = 99;

void Append(std::string& bytes, std::uint64_t value, int length) {
  for (int i = 0; i < length; ++i) bytes += static_cast<char>(value >> (8U * static_cast<unsigned>(i)) & 0xFFU);
}

template <class Number>
bool Take(Number& number, std::string_view word) {
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
  return error == std::errc() && end == word.data() + word.size();
}

bool TakeHex(std::string& bytes, std::string_view word) {
  bytes.clear();
  if (word == "-") return true;
  if (word.size() % 2 != 0) return false;
  for (; !word.empty(); word.remove_prefix(2)) {
    unsigned value = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + 2, value, 16);
    if (error != std::errc() || end != word.data() + 2) return false;
    bytes += static_cast<char>(value);
  }
  return true;
}

std::vector<std::string_view> WordsOf(std::string_view line) {
  std::vector<std::string_view> words;
  while (true) {
    words.push_back(line.substr(0, line.find(' ')));
    if (words.back().size() == line.size()) return words;
    line.remove_prefix(words.back().size() + 1);
  }
}

// What libarchive reads: the header, then the packed bytes, no more of them than there are.
class Input {
 public:
  Input(std::string header, std::uint64_t packed, int descriptor)
      : header_(std::move(header)), left_(packed), descriptor_(descriptor) {}

  static la_ssize_t Read(archive* /*reader*/, void* self, const void** bytes) {
    return static_cast<Input*>(self)->Next(bytes);
  }
  bool EndedEarly() const { return endedEarly_; }

 private:
  la_ssize_t Next(const void** bytes) {
    if (!headerRead_) {
      headerRead_ = true;
      *bytes = header_.data();
      return static_cast<la_ssize_t>(header_.size());
    }
    if (left_ == 0) return 0;
    ssize_t count = 0;
    do {
      count = read(descriptor_, buffer_.data(), static_cast<std::size_t>(std::min<std::uint64_t>(left_, kBlock)));
    } while (count < 0 && errno == EINTR);
    endedEarly_ = count <= 0;
    if (count <= 0) return 0;
    left_ -= static_cast<std::uint64_t>(count);
    *bytes = buffer_.data();
    return count;
  }

  const std::string header_;
  bool headerRead_ = false;
  std::uint64_t left_;
  const int descriptor_;
  bool endedEarly_ = false;
  std::array<char, kBlock> buffer_{};
};

bool WriteAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(descriptor, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

}  // namespace

std::optional<PackedEntry> ParseOrder(std::string_view line) {
  const std::vector<std::string_view> words = WordsOf(line);
  PackedEntry entry;
  const bool read = words.size() == 10 && words[0] == "unpack" && Take(entry.method, words[1]) &&
                    Take(entry.flags, words[2]) && Take(entry.dosTime, words[3]) && Take(entry.dosDate, words[4]) &&
                    Take(entry.crc, words[5]) && Take(entry.packed, words[6]) && Take(entry.size, words[7]) &&
                    TakeHex(entry.aes, words[8]) && TakeHex(entry.password, words[9]);
  // Passphrases end at a NUL.
  if (!read || entry.password.find('\0') != std::string::npos) return {};
  return entry;
}

std::string LocalHeader(const PackedEntry& entry) {
  constexpr std::uint32_t kInField = 0xFFFFFFFFU;
  constexpr std::string_view kName = "x";
  std::string fields;
  Append(fields, 0x0001, 2);
  Append(fields, 16, 2);
  Append(fields, entry.size, 8);
  Append(fields, entry.packed, 8);
  if (!entry.aes.empty()) {
    Append(fields, 0x9901, 2);
    Append(fields, entry.aes.size(), 2);
    fields += entry.aes;
  }
  // With that flag a password was checked against the time, else against the sum: the reader knows the latter alone.
  std::uint32_t crc = entry.crc;
  const bool byTime = (entry.flags & kDescriptorFlag) != 0 && (entry.flags & kEncryptedFlag) != 0;
  if (byTime) crc = (crc & 0x00FFFFFFU) | static_cast<std::uint32_t>(entry.dosTime >> 8U) << 24U;
  std::string header = "PK\3\4";
  Append(header, 45, 2);
  Append(header, entry.flags & static_cast<std::uint16_t>(~kDescriptorFlag), 2);
  Append(header, entry.aes.empty() ? entry.method : kAesMethod, 2);
  Append(header, entry.dosTime, 2);
  Append(header, entry.dosDate, 2);
  Append(header, crc, 4);
  Append(header, kInField, 4);
  Append(header, kInField, 4);
  Append(header, kName.size(), 2);
  Append(header, fields.size(), 2);
  return header.append(kName).append(fields);
}

UnpackExit UnpackEntry(const PackedEntry& entry, int from, int to) {
  if (entry.size == 0) return kUnpackDone;  // some methods have a few packed bytes for it, which the reader refuses
  const std::unique_ptr<archive, decltype(&archive_read_free)> reader(archive_read_new(), &archive_read_free);
  archive_read_support_format_zip_streamable(reader.get());
  archive_read_set_format_option(reader.get(), "zip", "ignorecrc32", "1");  // the sum here may be another (LocalHeader)
  if (!entry.password.empty()) archive_read_add_passphrase(reader.get(), entry.password.c_str());
  Input input(LocalHeader(entry), entry.packed, from);
  archive_entry* head = nullptr;
  if (archive_read_open(reader.get(), &input, nullptr, &Input::Read, nullptr) != ARCHIVE_OK ||
      archive_read_next_header(reader.get(), &head) != ARCHIVE_OK) {
    return input.EndedEarly() ? kUnpackEnded : kUnpackDamaged;
  }
  std::uint64_t left = entry.size;
  while (true) {
    const void* bytes = nullptr;
    std::size_t count = 0;
    la_int64_t offset = 0;
    const int result = archive_read_data_block(reader.get(), &bytes, &count, &offset);
    if (result == ARCHIVE_EOF) break;
    if (input.EndedEarly()) return kUnpackEnded;
    if (result != ARCHIVE_OK || count > left) return kUnpackDamaged;
    left -= count;
    if (!WriteAll(to, {static_cast<const char*>(bytes), count})) return kUnpackEnded;
  }
  return left == 0 ? kUnpackDone : kUnpackDamaged;
}

}  // namespace pellora
