#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>

#include "TestArchive.h"
#include "archive/ArchiveDirectory.h"

namespace pellora {
namespace {

// The directory of an archive with this entry alone.
ArchiveDirectory DirectoryOf(TestEntry entry) {
  TestArchive archive;
  archive.entries.push_back(std::move(entry));
  (void)archive.Bytes();
  ArchiveEnd end;
  end.entries = 1;
  end.directoryOffset = archive.directoryAt;
  std::optional<ArchiveDirectory> directory = ArchiveDirectory::Read(archive.directory, archive.directoryAt, end);
  EXPECT_TRUE(directory);
  return std::move(*directory);
}

TEST(ArchiveDirectory, ReadsTheFieldsOfAnEntry) {
  const ArchiveDirectory directory =
      DirectoryOf({.name = "a", .data = "12345", .size = 9, .crc = 0xDEADBEEF, .flags = 8, .method = 8});
  const ArchiveEntry entry = directory.Entry(0);
  EXPECT_EQ(entry.rawName, "a");
  EXPECT_EQ(entry.packed, 5);
  EXPECT_EQ(entry.size, 9);
  EXPECT_EQ(entry.crc, 0xDEADBEEF);
  EXPECT_EQ(entry.method, 8);
  EXPECT_EQ(entry.mode, 0644);
  EXPECT_EQ(entry.kind, EntryKind::File);
  EXPECT_EQ(entry.obstacle, Obstacle::None);
}

TEST(ArchiveDirectory, Zip64FieldHasTheValuesThatDidNotFitInTheirOrder) {
  TestEntry entry{.name = "a", .data = "", .size = 0xFFFFFFFF};
  entry.stated = 0xFFFFFFFF;
  entry.offset = 0xFFFFFFFF;
  entry.extra = ExtraField(1, Little(5'000'000'000, 8) + Little(6'000'000'000, 8) + Little(7, 8));
  const ArchiveDirectory directory = DirectoryOf(entry);
  EXPECT_EQ(directory.Entry(0).size, 5'000'000'000);
  EXPECT_EQ(directory.Entry(0).packed, 6'000'000'000);
  EXPECT_EQ(directory.Entry(0).offset, 7);
  entry.size = 4;
  entry.extra = ExtraField(1, Little(6'000'000'000, 8) + Little(7, 8));
  EXPECT_EQ(DirectoryOf(entry).Entry(0).packed, 6'000'000'000);
  EXPECT_EQ(DirectoryOf(entry).Entry(0).size, 4);
}

TEST(ArchiveDirectory, KindsComeFromTheAttributesOfTheSystemThatWroteThem) {
  const auto kind = [](std::uint16_t madeBy, std::uint32_t attributes, const std::string& name) {
    return DirectoryOf({.name = name, .data = "", .madeBy = madeBy, .attributes = attributes}).Entry(0).kind;
  };
  EXPECT_EQ(kind(0x0314, 0100755U << 16U, "f"), EntryKind::File);
  EXPECT_EQ(kind(0x0314, 0040755U << 16U, "d/"), EntryKind::Folder);
  EXPECT_EQ(kind(0x0314, 0120777U << 16U, "l"), EntryKind::Other);
  EXPECT_EQ(kind(0x1314, 0060600U << 16U, "block"), EntryKind::Other);
  EXPECT_EQ(kind(0x0014, 0x10, "d"), EntryKind::Folder);
  EXPECT_EQ(kind(0x0014, 0, "d/"), EntryKind::Folder);
  EXPECT_EQ(kind(0x0014, 0120777U << 16U, "f"), EntryKind::File) << "not an attribute of that system";
  EXPECT_EQ(kind(0x0314, 0, "d/"), EntryKind::Folder);
  EXPECT_EQ(kind(0x0314, 0100644U << 16U | 0x10U, "f"), EntryKind::File) << "its mode says so";
}

TEST(ArchiveDirectory, BackslashAtTheEndNamesAFolderWhereItSeparates) {
  const auto kind = [](std::uint16_t madeBy, const std::string& name) {
    return DirectoryOf({.name = name, .data = "", .madeBy = madeBy, .attributes = 0}).Entry(0).kind;
  };
  EXPECT_EQ(kind(0x0014, "a\\d\\"), EntryKind::Folder);
  EXPECT_EQ(kind(0x0314, "f\\"), EntryKind::File);
  EXPECT_EQ(kind(0x0014, "a/f\\"), EntryKind::File);
}

TEST(ArchiveDirectory, SaysWhatPreventsUnpacking) {
  const auto obstacle = [](std::uint16_t method, std::uint16_t flags, const std::string& extra = {}) {
    return DirectoryOf({.name = "f", .data = "", .extra = extra, .flags = flags, .method = method}).Entry(0).obstacle;
  };
  for (const std::uint16_t method : {0, 8, 12, 14, 93, 95, 98})
    EXPECT_EQ(obstacle(method, 0), Obstacle::None) << method;
  for (const std::uint16_t method : {1, 6, 9, 97}) EXPECT_EQ(obstacle(method, 0), Obstacle::Method) << method;
  EXPECT_EQ(obstacle(8, 1), Obstacle::Password);
  EXPECT_EQ(obstacle(0, 1), Obstacle::Password);
  EXPECT_EQ(obstacle(12, 1), Obstacle::Encryption);
  EXPECT_EQ(obstacle(8, 1 | 64), Obstacle::Encryption);
  const std::string aes = ExtraField(0x9901, Little(2, 2) + "AE" + Little(3, 1) + Little(8, 2));
  EXPECT_EQ(obstacle(99, 1, aes), Obstacle::Password);
  EXPECT_EQ(obstacle(99, 1), Obstacle::Encryption);  // without its field
}

TEST(ArchiveDirectory, TimesOfAnExtraFieldAreSecondsSince1970) {
  TestEntry entry{.name = "f", .data = ""};
  entry.extra = ExtraField(0x5455, Little(1, 1) + Little(1700000000, 4));
  EXPECT_EQ(DirectoryOf(entry).Entry(0).modified, 1700000000);
  entry.extra = ExtraField(0x5455, Little(2, 1) + Little(1700000000, 4));
  EXPECT_FALSE(DirectoryOf(entry).Entry(0).modified);
}

TEST(ArchiveDirectory, TimesAfter2037HaveNoSignAndThoseBefore1970HaveOne) {
  TestEntry entry{"a", "x"};
  entry.extra = ExtraField(0x5455, Little(1, 1) + Little(2'500'000'000, 4));
  EXPECT_EQ(DirectoryOf(entry).Entry(0).modified, 2'500'000'000 - 4'294'967'296);
  entry.date = (2049 - 1980) << 9 | 3 << 5 | 22;
  EXPECT_EQ(DirectoryOf(entry).Entry(0).modified, 2'500'000'000);
  entry.extra = ExtraField(0x5455, Little(1, 1) + Little(1700000000, 4));
  EXPECT_EQ(DirectoryOf(entry).Entry(0).modified, 1'700'000'000);
}

TEST(ArchiveDirectory, BackslashSeparatesOnlyForSystemsThatUseItAndWhereNoNameHasASlash) {
  const auto separates = [](std::uint16_t madeBy, const std::string& name) {
    const ArchiveDirectory directory = DirectoryOf({.name = name, .data = "", .madeBy = madeBy});
    return directory.BackslashSeparates(directory.Entry(0));
  };
  EXPECT_TRUE(separates(0x0014, "a\\b"));
  EXPECT_TRUE(separates(0x0A14, "a\\b"));
  EXPECT_FALSE(separates(0x0314, "a\\b"));
  EXPECT_FALSE(separates(0x0014, "a/b\\c"));
}

}  // namespace
}  // namespace pellora
