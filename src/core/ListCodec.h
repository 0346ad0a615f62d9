// ListCodec: the bytes of the list file, as pure functions.
//
// Little-endian, without padding or checksum: magic (4 bytes), DownloadCount (2), then the records 0 to
// DownloadCount. A record is its fields in the order of DownloadRecord: a string as a 16-bit length and
// its raw bytes, a flag as 16-bit -1 or 0, the segments as a 16-bit dimension count (0: no array), the
// number of elements and the lower bound. A segment takes 34 bytes plus its string, a list of none 98.
// Anything after the last record is ignored.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/Record.h"

namespace pellora {

inline constexpr std::int32_t kListMagic = 99951;
inline constexpr std::size_t kLongestListString = 65535;  // bytes; its length is stored in 16 bits

void AppendListHeader(std::string& out, std::int16_t downloadCount);
// Never fails: a string too long for the format is cut.
void AppendRecord(std::string& out, const DownloadRecord& record);

// Reads a list from bytes that may be cut short or damaged. Fields that cannot be read keep their values.
class ListDecoder {
 public:
  explicit ListDecoder(std::string_view bytes);  // the bytes must outlive the decoder

  bool HasMagic() const { return hasMagic_; }
  // Element 0 and this many more follow. 0 without the magic or for an impossible count.
  std::int16_t DownloadCount() const { return count_; }
  // Reads the next record into a blank one.
  void Next(DownloadRecord& record);
  // Everything read so far was there and made sense.
  bool Sound() const { return sound_; }

 private:
  template <class Number>
  void Take(Number& value);
  void Take(bool& flag);
  void Take(std::string& text);
  void Take(SegmentRecord& segment);
  void TakeSegments(std::vector<SegmentRecord>& segments);
  // The next `length` bytes, or null once the bytes have run out.
  const char* Bytes(std::size_t length);

  std::string_view rest_;
  bool hasMagic_ = false;
  bool sound_ = true;
  std::int16_t count_ = 0;
};

}  // namespace pellora
