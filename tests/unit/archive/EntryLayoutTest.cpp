#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "TestArchive.h"
#include "archive/EntryLayout.h"

namespace pellora {
namespace {

ArchiveDirectory DirectoryOf(TestArchive& archive) {
  (void)archive.Bytes();
  ArchiveEnd end;
  end.entries = static_cast<std::int64_t>(archive.entries.size());
  end.directoryOffset = archive.directoryAt - static_cast<std::int64_t>(archive.before.size());
  return std::move(*ArchiveDirectory::Read(archive.directory, archive.directoryAt, end));
}

TEST(EntryLayout, AnEntryReachesToTheNextOneOrTheDirectory) {
  TestArchive archive{{{"a", "12345", "more local extra than in the directory"}, {"b", "678"}}};
  const ArchiveDirectory directory = DirectoryOf(archive);
  const EntryLayout layout(directory);
  EXPECT_EQ(layout.RangeOf(0), (Range{archive.offsets[0], archive.offsets[1]}));
  EXPECT_EQ(layout.RangeOf(1), (Range{archive.offsets[1], archive.directoryAt}));
}

TEST(EntryLayout, BeforeALargeHoleItEndsWhereTheDataIsLikelyToEnd) {
  TestArchive archive{{{"a", "12345"}}};
  archive.padding = std::string(100000, 'x');
  const ArchiveDirectory directory = DirectoryOf(archive);
  const EntryLayout layout(directory);
  EXPECT_EQ(layout.RangeOf(0), (Range{0, 30 + 1 + 5 + 512}));
  EXPECT_EQ(layout.LargestRangeOf(0), (Range{0, archive.directoryAt}));
}

TEST(EntryLayout, EntriesAtOnePlaceOrBeyondTheDataAreNotSound) {
  TestArchive archive{{{"a", "12345"}, {"b", "678"}, {"c", "9"}, {"d", "last"}}};
  archive.entries[1].offset = 0;
  archive.entries[2].offset = 1000000;
  const ArchiveDirectory directory = DirectoryOf(archive);
  const EntryLayout layout(directory);
  EXPECT_FALSE(layout.IsSound(0));
  EXPECT_FALSE(layout.IsSound(1));
  EXPECT_FALSE(layout.IsSound(2));
  EXPECT_TRUE(layout.IsSound(3));
}

TEST(EntryLayout, AnEntryThatReachesIntoTheNextOneIsNotSound) {
  TestArchive archive{{{"a", "12345"}, {"b", "678"}, {"c", "9"}}};
  archive.entries[0].stated = 40;
  const ArchiveDirectory directory = DirectoryOf(archive);
  const EntryLayout layout(directory);
  EXPECT_FALSE(layout.IsSound(0));
  EXPECT_FALSE(layout.IsSound(1)) << "it lies within what the first one claims";
}

TEST(EntryLayout, LiesAboutSizesDoNotOverflow) {
  TestArchive archive{{{"a", "1"}}};
  archive.entries[0].stated = 0xFFFFFFFF;
  archive.entries[0].offset = 0xFFFFFFFF;
  archive.entries[0].extra = ExtraField(1, std::string(16, '\xFF'));
  const ArchiveDirectory directory = DirectoryOf(archive);
  EXPECT_FALSE(EntryLayout(directory).IsSound(0));
}

TEST(EntryLayout, AnEntryThatEndsNearTheLargestNumberDoesNotOverflow) {
  const std::int64_t at = INT64_MAX - 100;
  TestArchive archive{{{"a", "1"}}};
  archive.entries[0].stated = 0xFFFFFFFF;
  archive.entries[0].extra = ExtraField(1, Little(static_cast<std::uint64_t>(at - 100), 8));
  (void)archive.Bytes();
  ArchiveEnd end;
  end.entries = 1;
  end.directoryOffset = at;
  const ArchiveDirectory directory = std::move(*ArchiveDirectory::Read(archive.directory, at, end));
  EXPECT_EQ(EntryLayout(directory).RangeOf(0), (Range{0, at}));
}

TEST(EntryLayout, RequestsJoinNeighboursAndBridgeSmallGaps) {
  const std::vector<Range> wanted = {{0, 1000000}, {1000000, 2000000}, {2010000, 3000000}, {3100000, 3200000}};
  const std::vector<Range> expected = {{0, 3000000}, {3100000, 3200000}};
  EXPECT_EQ(RequestsFor(wanted), expected);
}

TEST(EntryLayout, GapsOfAHundredthOfWhatIsWantedAreNotBridged) {
  const std::vector<Range> wanted = {{0, 100}, {101, 200}, {210, 300}};
  const std::vector<Range> expected = {{0, 200}, {210, 300}};
  EXPECT_EQ(RequestsFor(wanted), expected);
  EXPECT_TRUE(RequestsFor({}).empty());
}

}  // namespace
}  // namespace pellora
