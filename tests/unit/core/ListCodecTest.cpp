#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "ListSamples.h"
#include "core/ListCodec.h"

namespace pellora {
namespace {

std::string Encoded(const DownloadRecord& record) {
  std::string bytes;
  AppendRecord(bytes, record);
  return bytes;
}

struct Decoded {
  std::vector<DownloadRecord> records;
  bool sound;
};

Decoded Decode(std::string_view bytes) {
  ListDecoder decoder(bytes);
  Decoded decoded;
  if (decoder.HasMagic()) {
    decoded.records.resize(static_cast<std::size_t>(decoder.DownloadCount()) + 1);
    for (DownloadRecord& record : decoded.records) decoder.Next(record);
  }
  decoded.sound = decoder.Sound();
  return decoded;
}

DownloadRecord Reread(const DownloadRecord& record) {
  const Decoded decoded = Decode(test::EncodedList({record}));
  EXPECT_TRUE(decoded.sound);
  return decoded.records.at(0);
}

// Little-endian bytes for expectations written by hand.
template <class Number>
std::string Raw(Number value) {
  std::string bytes;
  for (std::size_t i = 0; i < sizeof value; ++i) {
    bytes += static_cast<char>(static_cast<std::uint64_t>(value) >> (8 * i));
  }
  return bytes;
}
std::string Raw16(int value) { return Raw(static_cast<std::uint16_t>(value)); }
std::string Raw32(std::int64_t value) { return Raw(static_cast<std::uint32_t>(value)); }
std::string RawText(const std::string& text) { return Raw16(static_cast<int>(text.size())) + text; }

TEST(ListCodec, HeaderIsTheMagicAndTheCount) {
  std::string bytes;
  AppendListHeader(bytes, 258);
  EXPECT_EQ(bytes, std::string("\x6F\x86\x01\x00\x02\x01", 6));
}

TEST(ListCodec, EmptyListTakes98Bytes) { EXPECT_EQ(test::EncodedList({DownloadRecord{}}).size(), 98U); }

TEST(ListCodec, BlankRecordIs92ZeroBytes) { EXPECT_EQ(Encoded(DownloadRecord{}), std::string(92, '\0')); }

TEST(ListCodec, RecordTakes100BytesPlus34PerElementAndItsStrings) {
  DownloadRecord record;
  record.Segments.resize(1);
  EXPECT_EQ(Encoded(record).size(), 100U + 34);
  record.Segments.resize(9);
  EXPECT_EQ(Encoded(record).size(), 100U + 9 * 34);
  record.URL = "12345";
  record.Segments[3].TempFile = "123";
  EXPECT_EQ(Encoded(record).size(), 100U + 9 * 34 + 5 + 3);
}

TEST(ListCodec, WritesEveryFieldInItsPlace) {
  DownloadRecord r = test::FullRecord();
  r.Segments.erase(r.Segments.begin() + 2);
  r.SegmentCount = 1;
  std::string wanted = Raw16(1);
  wanted += Raw16(1) + Raw32(2) + Raw32(0) + std::string(34, '\0');
  wanted += Raw32(100) + Raw32(199) + Raw32(20) + Raw32(30) + Raw32(150);
  wanted += "\xFF\xFF\xFF\xFF" + Raw16(7) + RawText("/t/file.zip001.tmp") + Raw16(2) + Raw32(0x47F12040);
  wanted += Raw16(1) + RawText("file.zip") + RawText("/pub/file.zip") + RawText("host.example") + Raw32(8080);
  wanted += RawText("anonymous") + RawText("secret") + RawText("r1") + Raw16(2) + RawText("/d/file.zip");
  wanted += "\xFF\xFF" + Raw16(3) + RawText("0") + RawText("1") + RawText("r4") + RawText("http://from.example/");
  wanted += Raw16(1) + Raw16(1) + Raw16(0) + "\xFF\xFF" + Raw32(0xFFFFFFFF) + Raw32(400) + Raw32(50);
  wanted += Raw32(0x3FC00000) + Raw32(0x40200000);
  wanted += "\xFF\xFF\xFF\xFF" + Raw16(0) + Raw16(0) + "\xFF\xFF" + Raw32(0x41480000);
  wanted += RawText("http://host.example:8080/pub/file.zip") + Raw16(1) + Raw(std::uint64_t{0x40E6760800000000});
  EXPECT_EQ(Encoded(r), wanted);
}

TEST(ListCodec, RoundTripsAFullRecord) { EXPECT_EQ(Reread(test::FullRecord()), test::FullRecord()); }

TEST(ListCodec, RoundTripsStringsOfAnyBytes) {
  DownloadRecord record;
  for (int c = 0; c < 256; ++c) record.Path += static_cast<char>(c);
  record.FileName = "\xFF\xFE not UTF-8 \xE9\x80";
  record.URL = std::string("a\0b", 3);
  record.Referer = "\xEF\xBB\xBF\xC3\xA9\xF0\x9F\x98\x80";
  EXPECT_EQ(Reread(record), record);
}

TEST(ListCodec, RoundTripsRandomRecordsInOrder) {
  for (std::uint32_t seed = 1; seed <= 200; ++seed) {
    test::RandomRecords random(seed);
    std::vector<DownloadRecord> records(1 + seed % 20);
    for (DownloadRecord& record : records) record = random.Next();
    const Decoded decoded = Decode(test::EncodedList(records));
    ASSERT_TRUE(decoded.sound) << "seed " << seed;
    ASSERT_EQ(decoded.records, records) << "seed " << seed;
  }
}

TEST(ListCodec, CutsAStringTooLongForTheFormat) {
  DownloadRecord record;
  record.URL = std::string(65535, 'u');
  EXPECT_EQ(Reread(record), record);
  record.URL += "beyond";
  record.Segments.resize(2);
  record.Segments[1].TempFile = std::string(70000, 't');
  record.DateAdded = 5;
  const DownloadRecord reread = Reread(record);
  EXPECT_EQ(reread.URL, std::string(65535, 'u'));
  EXPECT_EQ(reread.Segments[1].TempFile, std::string(65535, 't'));
  EXPECT_EQ(reread.DateAdded, 5);
}

TEST(ListCodec, RoundTripsAnyFloatBitByBit) {
  DownloadRecord record;
  record.Percent = std::numeric_limits<float>::quiet_NaN();
  record.RemainingSeconds = std::numeric_limits<float>::infinity();
  record.DateAdded = 1e300;
  const DownloadRecord reread = Reread(record);
  EXPECT_TRUE(std::isnan(reread.Percent));
  EXPECT_EQ(reread.RemainingSeconds, record.RemainingSeconds);
  EXPECT_EQ(reread.DateAdded, 1e300);
}

TEST(ListCodec, AcceptsAnySegmentState) {
  DownloadRecord record;
  record.Segments.resize(2);
  for (const int state : {0, 4, 5, 6, 7, 11, 99, -1, 32767}) {
    record.Segments[1].State = static_cast<std::int16_t>(state);
    EXPECT_EQ(Reread(record).Segments[1].State, state);
  }
}

TEST(ListCodec, ReadsAnyNonZeroFlagAsTrueAndWritesMinusOne) {
  std::string bytes = test::EncodedList({DownloadRecord{}});
  const std::size_t active = bytes.size() - 18;  // before Percent, URL, Protocol and DateAdded
  bytes[active] = 1;
  const DownloadRecord record = Decode(bytes).records.at(0);
  EXPECT_TRUE(record.Active);
  EXPECT_EQ(Encoded(record).substr(active - 6, 2), "\xFF\xFF");
}

TEST(ListCodec, IgnoresBytesAfterTheLastRecord) {
  const std::string bytes = test::EncodedList({DownloadRecord{}, test::FullRecord()});
  const Decoded decoded = Decode(bytes + "the tail of a longer list");
  EXPECT_TRUE(decoded.sound);
  EXPECT_EQ(decoded.records.size(), 2U);
}

TEST(ListDecoder, RequiresTheMagic) {
  for (const std::string& bytes : {std::string(), std::string("\x6F"), std::string("\x6F\x86\x01", 3),
                                   std::string(98, '\0'), std::string("foreign")}) {
    ListDecoder decoder(bytes);
    EXPECT_FALSE(decoder.HasMagic());
    EXPECT_FALSE(decoder.Sound());
    EXPECT_EQ(decoder.DownloadCount(), 0);
  }
}

TEST(ListDecoder, ReadsANegativeCountAsZero) {
  ListDecoder decoder(std::string_view("\x6F\x86\x01\x00\xFF\xFF", 6));
  EXPECT_TRUE(decoder.HasMagic());
  EXPECT_EQ(decoder.DownloadCount(), 0);
  EXPECT_FALSE(decoder.Sound());
}

TEST(ListDecoder, ReadsACountBeyondTheBytesAsBlankRecords) {
  std::string bytes = test::EncodedList({DownloadRecord{}, test::FullRecord()});
  bytes[4] = 5;
  const Decoded decoded = Decode(bytes);
  EXPECT_FALSE(decoded.sound);
  ASSERT_EQ(decoded.records.size(), 6U);
  EXPECT_EQ(decoded.records[1], test::FullRecord());
  for (std::size_t i = 2; i < 6; ++i) EXPECT_EQ(decoded.records[i], DownloadRecord{});
}

TEST(ListDecoder, HostileNumberOfElementsCostsNoMemory) {
  for (const std::int64_t elements :
       {std::int64_t{-1}, std::int64_t{4}, std::int64_t{2147483647}, std::int64_t{-2147483648}}) {
    const std::string bytes = Raw32(kListMagic) + Raw16(0) + Raw16(1) + Raw16(1) + Raw32(elements) + Raw32(0) +
                              std::string(3 * 34 + 33, '\0');
    const Decoded decoded = Decode(bytes);
    EXPECT_FALSE(decoded.sound) << elements;
    EXPECT_EQ(decoded.records[0].DownloadKind, 1);
    EXPECT_TRUE(decoded.records[0].Segments.empty());
  }
}

TEST(ListDecoder, AcceptsOnlyAOneDimensionalSegmentArrayFromZero) {
  for (const std::string& header : {Raw16(2) + Raw32(1) + Raw32(0), Raw16(1) + Raw32(1) + Raw32(1)}) {
    const Decoded decoded = Decode(Raw32(kListMagic) + Raw16(0) + Raw16(0) + header + std::string(200, '\0'));
    EXPECT_FALSE(decoded.sound);
    EXPECT_TRUE(decoded.records[0].Segments.empty());
  }
}

TEST(ListDecoder, IgnoresAPlanWithMissingSegments) {
  const struct {
    std::size_t elements;
    std::int16_t segmentCount;
    std::int16_t loaded;
  } kCases[] = {{9, 8, 8}, {9, 9, 0}, {12, 9, 0},  {3, 3, 0},    {3, 2, 2},
                {0, 1, 0}, {1, 0, 0}, {0, -1, -1}, {2, 32767, 0}};
  for (const auto& c : kCases) {
    DownloadRecord record;
    record.Segments.resize(c.elements);
    record.SegmentCount = c.segmentCount;
    record.URL = "u";
    const Decoded decoded = Decode(test::EncodedList({record}));
    EXPECT_EQ(decoded.records[0].SegmentCount, c.loaded) << c.segmentCount << " of " << c.elements;
    EXPECT_EQ(decoded.records[0].URL, "u");
    EXPECT_EQ(decoded.sound, c.segmentCount == c.loaded);
  }
}

TEST(ListDecoder, LeavesFieldsAfterACutBlank) {
  const DownloadRecord full = test::FullRecord();
  const std::string bytes = test::EncodedList({full});
  // A cut in the middle of URL: the fields before it are read; URL and the rest are blank.
  const Decoded decoded = Decode(std::string_view(bytes).substr(0, bytes.size() - 10 - 5));
  DownloadRecord wanted = full;
  wanted.URL.clear();
  wanted.Protocol = 0;
  wanted.DateAdded = 0;
  EXPECT_EQ(decoded.records[0], wanted);
  EXPECT_FALSE(decoded.sound);
}

TEST(ListDecoder, KeepsAFlagBeforeACut) {
  std::string bytes;
  AppendListHeader(bytes, 0);
  ListDecoder decoder(bytes);
  DownloadRecord record;
  record.InUse = true;
  record.Finished = false;
  decoder.Next(record);
  EXPECT_TRUE(record.InUse);
  EXPECT_FALSE(record.Finished);
  EXPECT_FALSE(decoder.Sound());
}

TEST(ListDecoder, ReadsEveryTruncationAsFarAsItGoes) {
  const std::vector<DownloadRecord> records = {DownloadRecord{}, test::FullRecord(), test::FullRecord()};
  const std::string bytes = test::EncodedList(records);
  const std::size_t secondAt = 98 + Encoded(records[1]).size();
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    // An exact copy, so that the address sanitizer sees a read beyond it.
    const std::vector<char> cut(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length));
    const Decoded decoded = Decode({cut.data(), cut.size()});
    ASSERT_FALSE(decoded.sound) << length;
    if (length < 6) {
      ASSERT_LE(decoded.records.size(), 1U) << length;
      continue;
    }
    ASSERT_EQ(decoded.records.size(), 3U) << length;
    ASSERT_EQ(decoded.records[1] == records[1], length >= secondAt) << length;
    ASSERT_NE(decoded.records[2], records[2]) << length;
  }
  EXPECT_TRUE(Decode(bytes).sound);
}

TEST(ListDecoder, ReadsRandomBytesAfterTheMagicWithinBounds) {
  std::mt19937 random(5);
  for (int round = 0; round < 300; ++round) {
    std::string bytes;
    AppendListHeader(bytes, static_cast<std::int16_t>(random() % 100));
    // Mostly small numbers, so that lengths and counts are often possible.
    for (std::size_t left = random() % 4000; left > 0; --left) {
      bytes += random() % 3 == 0 ? static_cast<char>(random()) : static_cast<char>(random() % 2);
    }
    const std::vector<char> copy(bytes.begin(), bytes.end());
    const Decoded decoded = Decode({copy.data(), copy.size()});
    std::size_t held = 0;
    for (const DownloadRecord& record : decoded.records) {
      held += record.Segments.size() * 34 + record.URL.size() + record.Path.size();
    }
    ASSERT_LE(held, bytes.size()) << round;
  }
}

TEST(ListDecoder, ReadsEveryFlippedBitWithinBounds) {
  const std::string bytes = test::EncodedList({DownloadRecord{}, test::FullRecord(), test::FullRecord()});
  for (std::size_t bit = 0; bit < bytes.size() * 8; ++bit) {
    std::vector<char> flipped(bytes.begin(), bytes.end());
    flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << (bit % 8)));
    const Decoded decoded = Decode({flipped.data(), flipped.size()});
    for (const DownloadRecord& record : decoded.records) {
      ASSERT_LE(record.Segments.size(), bytes.size() / 34) << bit;
      ASSERT_LE(record.SegmentCount, 8) << bit;
      ASSERT_TRUE(record.SegmentCount < 1 || static_cast<std::size_t>(record.SegmentCount) < record.Segments.size())
          << bit;
    }
    // The records before the flipped bit are not affected.
    if (decoded.records.size() == 3 && bit >= bytes.size() / 2 * 8 + 400) {
      ASSERT_EQ(decoded.records[1], test::FullRecord()) << bit;
    }
  }
}

}  // namespace
}  // namespace pellora
