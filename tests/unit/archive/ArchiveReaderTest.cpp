#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "TestArchive.h"
#include "archive/ArchiveReader.h"

namespace pellora {
namespace {

struct Reading {
  std::vector<std::string> names;
  std::vector<std::int64_t> offsets;
  ArchiveFault fault = ArchiveFault::None;
  int requests = 0;
  std::int64_t fetched = 0;
};

Reading ReadAll(const std::string& file) {
  Reading reading;
  ArchiveReader reader(static_cast<std::int64_t>(file.size()));
  while (const std::optional<Range> range = reader.Wants()) {
    EXPECT_GE(range->begin, 0);
    EXPECT_LE(range->end, static_cast<std::int64_t>(file.size()));
    ++reading.requests;
    reading.fetched += range->Length();
    reader.Take(file.substr(static_cast<std::size_t>(range->begin), static_cast<std::size_t>(range->Length())));
  }
  reading.fault = reader.Fault();
  EXPECT_EQ(reader.Directory().has_value(), reading.fault == ArchiveFault::None);
  if (!reader.Directory()) return reading;
  for (std::size_t i = 0; i < reader.Directory()->Count(); ++i) {
    const ArchiveEntry entry = reader.Directory()->Entry(i);
    reading.names.emplace_back(entry.rawName);
    reading.offsets.push_back(entry.offset);
  }
  return reading;
}

std::vector<TestEntry> Two() { return {{"a.txt", "hello"}, {"b/c.txt", "world!"}}; }
const std::vector<std::string> kTwoNames = {"a.txt", "b/c.txt"};

TEST(ArchiveReader, ASmallArchiveIsReadWithOneRequest) {
  TestArchive archive{Two()};
  const std::string file = archive.Bytes();
  const Reading reading = ReadAll(file);
  EXPECT_EQ(reading.names, kTwoNames);
  EXPECT_EQ(reading.offsets, archive.offsets);
  EXPECT_EQ(reading.requests, 1);
}

TEST(ArchiveReader, ALargeDirectoryIsASecondRequestAndNothingElseIsFetched) {
  TestArchive archive;
  for (int i = 0; i < 5000; ++i) archive.entries.push_back({"folder/file number " + std::to_string(i), "x"});
  const std::string file = archive.Bytes();
  const Reading reading = ReadAll(file);
  EXPECT_EQ(reading.names.size(), 5000U);
  EXPECT_EQ(reading.offsets, archive.offsets);
  EXPECT_EQ(reading.requests, 2);
  EXPECT_EQ(reading.fetched, ArchiveReader::kTail + static_cast<std::int64_t>(archive.directory.size()));
}

TEST(ArchiveReader, FindsTheEndBeforeTheLongestComment) {
  TestArchive archive{Two()};
  archive.comment = std::string(65535, 'c');
  EXPECT_EQ(ReadAll(archive.Bytes()).names, kTwoNames);
}

TEST(ArchiveReader, MoreEntriesThanAreReadAreTooManyWithoutZip64Too) {
  constexpr std::size_t kCount = 2'000'001;
  const std::string entry = "PK\1\2" + std::string(42, '\0');
  std::string file;
  file.reserve(kCount * entry.size() + 22);
  for (std::size_t i = 0; i < kCount; ++i) file += entry;
  const std::size_t length = file.size();
  file += "PK\5\6" + Little(0, 4) + Little(kCount % 65536, 2) + Little(kCount % 65536, 2) + Little(length, 4) +
          Little(0, 4) + Little(0, 2);
  EXPECT_EQ(ReadAll(file).fault, ArchiveFault::TooLarge);
}

TEST(ArchiveReader, ACommentThatLooksLikeAnEndRecordIsNoEnd) {
  TestArchive archive{Two()};
  archive.comment =
      "PK\5\6" + Little(0, 4) + Little(3, 2) + Little(3, 2) + Little(300, 4) + Little(0, 4) + Little(0, 2);
  EXPECT_EQ(ReadAll(archive.Bytes()).names, kTwoNames);
}

TEST(ArchiveReader, AnEndRecordOfNoEntriesHidesNoArchive) {
  const std::string empty = TestArchive().Bytes();
  TestArchive commented{Two()};
  commented.comment = empty;
  EXPECT_EQ(ReadAll(commented.Bytes()).names, kTwoNames);
  TestArchive followed{Two()};
  followed.after = empty + empty;
  EXPECT_EQ(ReadAll(followed.Bytes()).names, kTwoNames);
}

TEST(ArchiveReader, ACommentThatIsCutOffHidesNoArchive) {
  TestArchive archive{Two()};
  archive.comment = "a remark";
  std::string file = archive.Bytes();
  file.resize(file.size() - 3);
  EXPECT_EQ(ReadAll(file).names, kTwoNames);
}

TEST(ArchiveReader, CommentsAndExtraFieldsOfEntriesAreStepped) {
  TestArchive archive{Two()};
  archive.entries[0].comment = "PK\1\2 a comment";
  archive.entries[0].extra = ExtraField(0xCAFE, "12345");
  EXPECT_EQ(ReadAll(archive.Bytes()).names, kTwoNames);
}

TEST(ArchiveReader, WhatPrecedesTheArchiveShiftsAllOffsets) {
  TestArchive archive{Two()};
  archive.before = std::string(1000, '#');
  const std::string file = archive.Bytes();
  const Reading reading = ReadAll(file);
  EXPECT_EQ(reading.names, kTwoNames);
  EXPECT_EQ(reading.offsets, archive.offsets);
  for (const std::int64_t offset : reading.offsets) {
    EXPECT_EQ(file.substr(static_cast<std::size_t>(offset), 4), "PK\3\4");
  }
}

TEST(ArchiveReader, BytesAfterTheEndAreAllowed) {
  TestArchive archive{Two()};
  archive.after = std::string(10240, '\0');
  EXPECT_EQ(ReadAll(archive.Bytes()).names, kTwoNames);
}

TEST(ArchiveReader, Zip64EndRecordsCountAlsoWhereNoFieldIsFull) {
  for (const bool full : {true, false}) {
    TestArchive archive{Two()};
    archive.zip64 = true;
    archive.fullFields = full;
    const Reading reading = ReadAll(archive.Bytes());
    EXPECT_EQ(reading.names, kTwoNames) << full;
    EXPECT_EQ(reading.offsets, archive.offsets) << full;
  }
}

TEST(ArchiveReader, Zip64EndRecordsAreFoundAlsoAfterSomethingElse) {
  TestArchive archive{Two()};
  archive.zip64 = archive.fullFields = true;
  archive.before = std::string(77, '#');
  const Reading reading = ReadAll(archive.Bytes());
  EXPECT_EQ(reading.names, kTwoNames);
  EXPECT_EQ(reading.offsets, archive.offsets);
}

TEST(ArchiveReader, MoreEntriesThanTheEndRecordCanCountAreRead) {
  TestArchive archive;
  archive.entries.resize(70000, {"n", ""});
  archive.promised = 70000 % 65536;
  EXPECT_EQ(ReadAll(archive.Bytes()).names.size(), 70000U);
}

TEST(ArchiveReader, AnEmptyArchiveHasNoEntries) {
  TestArchive archive;
  const Reading reading = ReadAll(archive.Bytes());
  EXPECT_EQ(reading.fault, ArchiveFault::None);
  EXPECT_TRUE(reading.names.empty());
}

TEST(ArchiveReader, AnEmptyArchiveWithADirectoryBeyondTheFileIsNone) {
  std::string file = TestArchive().Bytes();
  file.replace(12, 4, Little(0x10000000, 4));
  const Reading reading = ReadAll(file);
  EXPECT_EQ(reading.fault, ArchiveFault::NoArchive);
  EXPECT_EQ(reading.requests, 1);
}

TEST(ArchiveReader, AnEmptyArchiveAfterSomethingElseIsReadWithOneRequest) {
  TestArchive archive;
  archive.before = std::string(200'000, 'x');
  const Reading reading = ReadAll(archive.Bytes());
  EXPECT_EQ(reading.fault, ArchiveFault::None);
  EXPECT_EQ(reading.requests, 1);
}

TEST(ArchiveReader, WhatIsNoArchiveIsSaidToBeNone) {
  for (const std::string& file :
       {std::string(), std::string(1, 'P'), std::string(300000, 'x'), std::string("PK\5\6")}) {
    EXPECT_EQ(ReadAll(file).fault, ArchiveFault::NoArchive) << file.size();
  }
}

TEST(ArchiveReader, ADirectoryThatLacksPromisedEntriesIsNone) {
  TestArchive archive{Two()};
  archive.promised = 3;
  EXPECT_EQ(ReadAll(archive.Bytes()).fault, ArchiveFault::NoArchive);
}

TEST(ArchiveReader, OneOfSeveralVolumesIsSaidToBeSplit) {
  TestArchive archive{Two()};
  archive.disk = 2;
  EXPECT_EQ(ReadAll(archive.Bytes()).fault, ArchiveFault::Split);
}

// The file is as long as it says, but only its end is made.
TEST(ArchiveReader, ADirectoryBeyondTheLimitIsRefusedWithoutFetchingIt) {
  const std::int64_t size = kLargestDirectory + 1;
  const std::int64_t length = size + 22;
  const std::string end = "PK\5\6" + Little(0, 4) + Little(5, 2) + Little(5, 2) +
                          Little(static_cast<std::uint64_t>(size), 4) + Little(0, 4) + Little(0, 2);
  ArchiveReader reader(length);
  ASSERT_TRUE(reader.Wants());
  reader.Take(std::string(static_cast<std::size_t>(reader.Wants()->Length()) - end.size(), 'x') + end);
  EXPECT_FALSE(reader.Wants());
  EXPECT_EQ(reader.Fault(), ArchiveFault::TooLarge);
}

TEST(ArchiveReader, ManyFalseEndsCostAFewRequests) {
  std::string file(3 << 20, 'x');
  for (int i = 0; i < 50; ++i) {
    file +=
        "PK\5\6" + Little(0, 4) + Little(9, 2) + Little(9, 2) + Little(2000000 + i, 4) + Little(5, 4) + Little(0, 2);
  }
  const Reading reading = ReadAll(file);
  EXPECT_EQ(reading.fault, ArchiveFault::NoArchive);
  EXPECT_LE(reading.requests, 4);
}

TEST(ArchiveReader, NoDamageOfTheBytesIsMoreThanAFault) {
  TestArchive archive{Two()};
  archive.zip64 = true;
  const std::string file = archive.Bytes();
  std::mt19937 random(7);
  for (int round = 0; round < 20000; ++round) {
    std::string damaged = file;
    for (int i = 0; i < 3; ++i) damaged[random() % damaged.size()] = static_cast<char>(random());
    if (round % 3 == 0) damaged.resize(random() % damaged.size());
    (void)ReadAll(damaged);
  }
}

}  // namespace
}  // namespace pellora
