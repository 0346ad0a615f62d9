#include <gtest/gtest.h>

#include <random>
#include <string>

#include "SimArchive.h"
#include "zipview/ZipDirectory.h"

namespace pellora {
namespace {

std::vector<SimMember> Three() { return {{"a.txt", 10, 20}, {"docs/", 0, 0}, {"docs/b.bin", 300, 301}}; }

TEST(ReadZip, ReadsLittleEndianAtOneBasedPositions) {
  const std::string text("\x01\x02\x03\x04\xff", 5);
  EXPECT_EQ(ReadZip16(1, text), 0x0201);
  EXPECT_EQ(ReadZip32(1, text), 0x04030201);
  EXPECT_EQ(ReadZip32(2, text), 0xff040302);
}

TEST(ReadZip, ReadsCharactersBeyondEitherEndAsZero) {
  const std::string text("\x01\x02\x03\x04\xff", 5);
  EXPECT_EQ(ReadZip16(5, text), 0xff);
  EXPECT_EQ(ReadZip32(4, text), 0xff04);
  EXPECT_EQ(ReadZip32(6, text), 0);
  EXPECT_EQ(ReadZip32(0, text), 0x03020100);
  EXPECT_EQ(ReadZip32(-3, text), 0);
  EXPECT_EQ(ReadZip32(INT64_MAX - 4, text), 0);
  EXPECT_EQ(ReadZip32(1, ""), 0);
}

TEST(ReadEndRecord, ReadsTheEntriesOfThisDiskAndTheDirectorysSize) {
  std::string text = SimEndRecord(30000, 1234567);
  text[10] = '\x01';  // the entries of all disks
  const ZipEndRecord record = ReadEndRecord(text);
  EXPECT_EQ(record.EntryCount, 30000);
  EXPECT_EQ(record.DirectorySize, 1234567);
}

TEST(ReadEndRecord, IgnoresTheSignature) {
  std::string text = SimEndRecord(3, 99);
  text.replace(0, 8, 8, 'x');
  EXPECT_EQ(ReadEndRecord(text).EntryCount, 3);
  EXPECT_EQ(ReadEndRecord(text).DirectorySize, 99);
}

TEST(ReadEndRecord, CountsAtMost32767Entries) {
  EXPECT_EQ(ReadEndRecord(SimEndRecord(32767, 1)).EntryCount, 32767);
  EXPECT_EQ(ReadEndRecord(SimEndRecord(32768, 1)).EntryCount, 32767);
  EXPECT_EQ(ReadEndRecord(SimEndRecord(65535, 1)).EntryCount, 32767);
}

TEST(ReadEndRecord, KeepsASizeAbove2GiBPositive) {
  EXPECT_EQ(ReadEndRecord(SimEndRecord(1, 0xffffffffU)).DirectorySize, 0xffffffffLL);
}

TEST(ReadEndRecord, ReadsAShortTextAsFarAsItGoes) {
  const std::string text = SimEndRecord(3, 0x01020304);
  for (std::size_t length = 0; length <= text.size(); ++length) {
    const ZipEndRecord record = ReadEndRecord(text.substr(0, length));
    EXPECT_EQ(record.EntryCount, length >= 9 ? 3 : 0) << length;
    if (length >= 16) {
      EXPECT_EQ(record.DirectorySize, 0x01020304) << length;
    }
    if (length < 13) {
      EXPECT_EQ(record.DirectorySize, 0) << length;
    }
  }
}

TEST(ReadDirectory, ReadsEachFieldFromItsOffset) {
  std::string text = SimCentralRecord({"docs/a.txt", 0x11121314, 0x21222324, {}, {}, 0x31323334, 0x41424344});
  const std::vector<ZipEntry> entries = ReadDirectory(text, 1);
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_TRUE(entries[0].Name.empty());
  const ZipEntry& entry = entries[1];
  EXPECT_EQ(entry.NameLength, 10);
  EXPECT_EQ(entry.Name, "docs/a.txt");
  EXPECT_EQ(entry.RawRecord, text);
  EXPECT_EQ(entry.Position, 1);
  EXPECT_EQ(entry.PackedSize, 0x11121314);
  EXPECT_EQ(entry.NormalSize, 0x21222324);
  EXPECT_EQ(entry.LocalHeaderOffset, 0x31323334);
  EXPECT_EQ(entry.CrcField, 0x4243445bLL);  // one byte of the date and three of the CRC
  EXPECT_FALSE(entry.IsDirectory);
}

TEST(ReadDirectory, RecognizesDirectoriesByTheirLastCharacter) {
  const std::vector<ZipEntry> entries = ReadDirectory(SimDirectory(Three()), 3);
  ASSERT_EQ(entries.size(), 4U);
  EXPECT_FALSE(entries[1].IsDirectory);
  EXPECT_TRUE(entries[2].IsDirectory);
  EXPECT_EQ(entries[3].Name, "docs/b.bin");
  EXPECT_EQ(entries[3].Position, 3);
}

TEST(ReadDirectory, IsEmptyWithoutEntries) {
  EXPECT_EQ(ReadDirectory("", 0).size(), 1U);
  EXPECT_EQ(ReadDirectory(SimDirectory(Three()), 0).size(), 1U);
  EXPECT_EQ(ReadDirectory(SimDirectory(Three()), -1).size(), 1U);
}

TEST(ReadDirectory, MisreadsEntriesAfterAnExtraFieldOrAComment) {
  for (const bool extra : {true, false}) {
    std::vector<SimMember> members = Three();
    (extra ? members[0].extra : members[0].comment) = "12345678";
    const std::vector<ZipEntry> entries = ReadDirectory(SimDirectory(members), 3);
    ASSERT_EQ(entries.size(), 4U);
    EXPECT_EQ(entries[1].Name, "a.txt");
    EXPECT_NE(entries[2].Name, "docs/");
    EXPECT_EQ(entries[2].RawRecord.substr(0, 8), "12345678");
  }
}

TEST(ReadDirectory, ReadsZerosAfterTheEndOfAShortText) {
  const std::vector<ZipEntry> entries = ReadDirectory("", 32767);
  ASSERT_EQ(entries.size(), 32768U);
  EXPECT_EQ(entries[32767].Position, 32767);
  EXPECT_EQ(entries[32767].NormalSize, 0);
  EXPECT_TRUE(entries[32767].Name.empty());
}

TEST(ReadDirectory, EndsBeforeAnImpossibleNameLength) {
  std::string text = SimDirectory(Three());
  const std::size_t third = SimDirectory({Three()[0], Three()[1]}).size();
  text[third + 28] = '\x00';
  text[third + 29] = '\x80';  // 32768
  EXPECT_EQ(ReadDirectory(text, 3).size(), 3U);
  text[third + 28] = '\xff';
  text[third + 29] = '\x7f';  // 32767, more than what follows
  const std::vector<ZipEntry> entries = ReadDirectory(text, 3);
  ASSERT_EQ(entries.size(), 4U);
  EXPECT_EQ(entries[3].Name, "docs/b.bin");
  EXPECT_EQ(entries[3].NameLength, 32767);
}

TEST(ReadDirectory, KeepsWholeEntriesOfATruncatedText) {
  const std::string text = SimDirectory(Three());
  const std::size_t ends[] = {0, SimDirectory({Three()[0]}).size(), SimDirectory({Three()[0], Three()[1]}).size()};
  for (std::size_t length = 0; length <= text.size(); ++length) {
    const std::vector<ZipEntry> entries = ReadDirectory(text.substr(0, length), 3);
    ASSERT_LE(entries.size(), 4U);
    for (std::size_t i = 1; i <= 2; ++i) {
      if (length < ends[i]) continue;
      ASSERT_GT(entries.size(), i) << length;
      EXPECT_EQ(entries[i].Name, Three()[i - 1].name) << length;
      EXPECT_EQ(entries[i].NormalSize, Three()[i - 1].normal) << length;
    }
  }
}

TEST(ReadDirectory, SurvivesGarbage) {
  std::mt19937 random(7);
  for (int round = 0; round < 2000; ++round) {
    std::string text(random() % 700, '\0');
    for (char& c : text) c = static_cast<char>(random() % (round % 2 == 0 ? 256 : 3));
    const auto count = static_cast<std::int16_t>(random() % 300);
    const std::vector<ZipEntry> entries = ReadDirectory(text, count);
    ASSERT_LE(entries.size(), static_cast<std::size_t>(count) + 1);
    std::size_t bytes = 0;
    for (const ZipEntry& entry : entries) {
      bytes += entry.RawRecord.size();
      ASSERT_LE(entry.Name.size(), static_cast<std::size_t>(entry.NameLength));
    }
    ASSERT_LE(bytes, text.size());
  }
}

}  // namespace
}  // namespace pellora
