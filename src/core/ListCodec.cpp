#include "core/ListCodec.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace pellora {

namespace {

static_assert(std::endian::native == std::endian::little, "numbers are copied as they lie in memory");
static_assert(sizeof(float) == 4 && sizeof(double) == 8);

constexpr std::size_t kSegmentBytes = 34;  // without its string
constexpr std::size_t kSegmentHeaderBytes = 2 + 4 + 4;
constexpr std::size_t kFixedRecordBytes = 90;  // without its strings and segments
constexpr std::int16_t kMostSegments = 8;

std::size_t StoredLength(const std::string& text) { return std::min(text.size(), kLongestListString); }

std::size_t StoredSize(const DownloadRecord& record) {
  std::size_t size = kFixedRecordBytes + 2;
  for (const std::string* text :
       {&record.FileName, &record.Path, &record.Host, &record.UserName, &record.Password, &record.Reserved1,
        &record.SavePath, &record.RestState, &record.ConnectState, &record.Reserved4, &record.Referer, &record.URL}) {
    size += StoredLength(*text);
  }
  if (record.Segments.empty()) return size;
  size += kSegmentHeaderBytes - 2;
  for (const SegmentRecord& segment : record.Segments) size += kSegmentBytes + StoredLength(segment.TempFile);
  return size;
}

// Writes fields one after the other into memory of the right size.
class Writer {
 public:
  explicit Writer(char* at) : at_(at) {}

  template <class Number>
  void Put(Number value) {
    std::memcpy(at_, &value, sizeof value);
    at_ += sizeof value;
  }
  void Put(bool flag) { Put(static_cast<std::int16_t>(flag ? -1 : 0)); }
  void Put(const std::string& text) {
    const std::size_t length = StoredLength(text);
    Put(static_cast<std::uint16_t>(length));
    std::memcpy(at_, text.data(), length);
    at_ += length;
  }
  void Put(const SegmentRecord& segment) {
    Put(segment.RangeStart);
    Put(segment.RangeEnd);
    Put(segment.ReceivedNow);
    Put(segment.ReceivedTotal);
    Put(segment.RangeSize);
    Put(segment.Enabled);
    Put(segment.Watched);
    Put(segment.Reserved);
    Put(segment.TempFile);
    Put(segment.State);
    Put(segment.LastActivity);
  }
  void PutSegments(const std::vector<SegmentRecord>& segments) {
    Put(static_cast<std::uint16_t>(segments.empty() ? 0 : 1));
    if (segments.empty()) return;
    Put(static_cast<std::int32_t>(segments.size()));
    Put(std::int32_t{0});
    for (const SegmentRecord& segment : segments) Put(segment);
  }
  const char* At() const { return at_; }

 private:
  char* at_;
};

}  // namespace

void AppendListHeader(std::string& out, std::int16_t downloadCount) {
  const std::size_t begin = out.size();
  out.resize(begin + sizeof kListMagic + sizeof downloadCount);
  Writer writer(out.data() + begin);
  writer.Put(kListMagic);
  writer.Put(downloadCount);
}

void AppendRecord(std::string& out, const DownloadRecord& record) {
  const std::size_t begin = out.size();
  out.resize(begin + StoredSize(record));
  Writer writer(out.data() + begin);
  writer.Put(record.DownloadKind);
  writer.PutSegments(record.Segments);
  writer.Put(record.SegmentCount);
  writer.Put(record.FileName);
  writer.Put(record.Path);
  writer.Put(record.Host);
  writer.Put(record.Port);
  writer.Put(record.UserName);
  writer.Put(record.Password);
  writer.Put(record.Reserved1);
  writer.Put(record.Reserved2);
  writer.Put(record.SavePath);
  writer.Put(record.HasSavePath);
  writer.Put(record.Reserved3);
  writer.Put(record.RestState);
  writer.Put(record.ConnectState);
  writer.Put(record.Reserved4);
  writer.Put(record.Referer);
  writer.Put(record.Queued);
  writer.Put(record.Scheduled);
  writer.Put(record.Paused);
  writer.Put(record.ContinueSegments);
  writer.Put(record.LastTick);
  writer.Put(record.FileSize);
  writer.Put(record.Received);
  writer.Put(record.ElapsedSeconds);
  writer.Put(record.RemainingSeconds);
  writer.Put(record.InUse);
  writer.Put(record.Valid);
  writer.Put(record.Finished);
  writer.Put(record.Removed);
  writer.Put(record.Active);
  writer.Put(record.Percent);
  writer.Put(record.URL);
  writer.Put(record.Protocol);
  writer.Put(record.DateAdded);
}

ListDecoder::ListDecoder(std::string_view bytes) : rest_(bytes) {
  std::int32_t magic = 0;
  Take(magic);
  hasMagic_ = magic == kListMagic;
  if (!hasMagic_) {
    sound_ = false;
    return;
  }
  Take(count_);
  if (count_ >= 0) return;
  count_ = 0;
  rest_ = {};
  sound_ = false;
}

void ListDecoder::Next(DownloadRecord& record) {
  Take(record.DownloadKind);
  TakeSegments(record.Segments);
  Take(record.SegmentCount);
  Take(record.FileName);
  Take(record.Path);
  Take(record.Host);
  Take(record.Port);
  Take(record.UserName);
  Take(record.Password);
  Take(record.Reserved1);
  Take(record.Reserved2);
  Take(record.SavePath);
  Take(record.HasSavePath);
  Take(record.Reserved3);
  Take(record.RestState);
  Take(record.ConnectState);
  Take(record.Reserved4);
  Take(record.Referer);
  Take(record.Queued);
  Take(record.Scheduled);
  Take(record.Paused);
  Take(record.ContinueSegments);
  Take(record.LastTick);
  Take(record.FileSize);
  Take(record.Received);
  Take(record.ElapsedSeconds);
  Take(record.RemainingSeconds);
  Take(record.InUse);
  Take(record.Valid);
  Take(record.Finished);
  Take(record.Removed);
  Take(record.Active);
  Take(record.Percent);
  Take(record.URL);
  Take(record.Protocol);
  Take(record.DateAdded);
  // A plan with missing segments would be joined to an incomplete file; without a plan the download starts afresh.
  const auto elements = static_cast<std::int64_t>(record.Segments.size());
  if (record.SegmentCount > kMostSegments || (record.SegmentCount > 0 && record.SegmentCount >= elements)) {
    record.SegmentCount = 0;
    sound_ = false;
  }
}

const char* ListDecoder::Bytes(std::size_t length) {
  if (length > rest_.size()) {
    rest_ = {};  // nothing can be found after a field that is cut off
    sound_ = false;
    return nullptr;
  }
  const char* begin = rest_.data();
  rest_.remove_prefix(length);
  return begin;
}

template <class Number>
void ListDecoder::Take(Number& value) {
  if (const char* bytes = Bytes(sizeof value)) std::memcpy(&value, bytes, sizeof value);
}

void ListDecoder::Take(bool& flag) {
  std::int16_t value = flag ? -1 : 0;
  Take(value);
  flag = value != 0;
}

void ListDecoder::Take(std::string& text) {
  std::uint16_t length = 0;
  Take(length);
  if (const char* bytes = Bytes(length)) text.assign(bytes, length);
}

void ListDecoder::Take(SegmentRecord& segment) {
  Take(segment.RangeStart);
  Take(segment.RangeEnd);
  Take(segment.ReceivedNow);
  Take(segment.ReceivedTotal);
  Take(segment.RangeSize);
  Take(segment.Enabled);
  Take(segment.Watched);
  Take(segment.Reserved);
  Take(segment.TempFile);
  Take(segment.State);
  Take(segment.LastActivity);
}

void ListDecoder::TakeSegments(std::vector<SegmentRecord>& segments) {
  std::uint16_t dimensions = 0;
  Take(dimensions);
  if (dimensions == 0) return;
  std::int32_t elements = 0;
  std::int32_t lowerBound = 0;
  Take(elements);
  Take(lowerBound);
  // Not more elements than the remaining bytes can hold, so that a damaged number costs no memory.
  const bool possible = dimensions == 1 && lowerBound == 0 && elements >= 0 &&
                        static_cast<std::size_t>(elements) <= rest_.size() / kSegmentBytes;
  if (!possible) {
    rest_ = {};
    sound_ = false;
    return;
  }
  segments.resize(static_cast<std::size_t>(elements));
  for (SegmentRecord& segment : segments) Take(segment);
}

}  // namespace pellora
