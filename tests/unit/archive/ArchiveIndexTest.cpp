#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "TestArchive.h"
#include "archive/ArchiveIndex.h"

namespace pellora {
namespace {

ArchiveIndex IndexOf(std::vector<TestEntry> entries) {
  TestArchive archive{.entries = std::move(entries)};
  (void)archive.Bytes();
  ArchiveEnd end;
  end.entries = static_cast<std::int64_t>(archive.entries.size());
  end.directoryOffset = archive.directoryAt;
  std::optional<ArchiveDirectory> directory = ArchiveDirectory::Read(archive.directory, archive.directoryAt, end);
  EXPECT_TRUE(directory);
  return {std::make_shared<ArchiveContents>(ArchiveContents{"a.zip", {}, std::move(*directory)}), CodePage::Dos437};
}

TestEntry Folder(const std::string& name) { return {.name = name, .data = "", .attributes = 040755U << 16U}; }

std::vector<std::string> NamesOf(const ArchiveIndex& index, const std::vector<std::size_t>& entries) {
  std::vector<std::string> names;
  for (const std::size_t at : entries) names.push_back(index.NameOf(index.Entry(at)));
  return names;
}

std::vector<std::string> Matching(const ArchiveIndex& index, const std::string& pattern) {
  return NamesOf(index, index.Matching(std::vector<std::string>{pattern}));
}

// As archivers do with the folder ".".
ArchiveIndex IndexOfWholeFolder() {
  return IndexOf({Folder("./"), Folder("./docs/"), {"./docs/a.pdf", "x"}, {"./b//c/./d.txt", "y"}});
}

using Names = std::vector<std::string>;

TEST(ArchiveIndex, NamesAreThePathsOfTheFiles) {
  const ArchiveIndex index = IndexOfWholeFolder();
  EXPECT_EQ(NamesOf(index, {1, 2, 3}), (Names{"docs", "docs/a.pdf", "b/c/d.txt"}));
  EXPECT_EQ(Matching(index, "docs/*.pdf"), Names{"docs/a.pdf"});
}

TEST(ArchiveIndex, NamesThatLeadOutStayAsTheyAre) {
  const ArchiveIndex index = IndexOf({{"./../a", "x"}, {"/b//c", "y"}});
  EXPECT_EQ(NamesOf(index, {0, 1}), (Names{"./../a", "/b//c"}));
}

TEST(ArchiveIndex, FolderThatIsUnpackedIntoIsNoFaultAndNoEntryOfTheSelection) {
  const ArchiveIndex index = IndexOfWholeFolder();
  EXPECT_EQ(index.FaultOf(0), EntryFault::None);
  EXPECT_EQ(index.Select(std::vector<std::size_t>{0, 1}, true).entries.size(), 1U);
}

TEST(ArchiveIndex, SelectionIsInTheOrderOfItsRanges) {
  const ArchiveIndex index = IndexOf({{"first", "x"}, Folder("docs/"), {"docs/a.pdf", "x"}, Folder("none/")});
  const Selection selection = index.Select(std::vector<std::size_t>{0, 1, 2, 3}, true);
  std::int64_t from = 0;
  for (const SelectedEntry& entry : selection.entries) {
    EXPECT_GE(entry.range.begin, from) << entry.rawName;
    from = entry.range.end;
  }
}

TEST(ArchiveIndex, NothingIsFetchedOfWhatCannotBeUnpacked) {
  const ArchiveIndex index = IndexOf({{.name = "fine", .data = "12345"},
                                      {.name = "locked", .data = "12345", .flags = 1},
                                      {.name = "packed otherwise", .data = "12345", .method = 9},
                                      {.name = "link", .data = "fine", .attributes = 0120777U << 16U}});
  EXPECT_EQ(index.BytesToFetch(0), 30 + 4 + 5);
  EXPECT_EQ(index.BytesToFetch(1), 30 + 6 + 5);
  EXPECT_EQ(index.BytesToFetch(2), 0);
  EXPECT_EQ(index.BytesToFetch(3), 0);
}

TEST(ArchiveIndex, PatternsTakeFoldersAlong) {
  const ArchiveIndex index = IndexOf({Folder("docs/"), {"docs/a.pdf", "x"}, Folder("docs/none/"), Folder("other/")});
  EXPECT_EQ(Matching(index, "docs"), (Names{"docs", "docs/a.pdf", "docs/none"}));
  EXPECT_EQ(Matching(index, "docs/*.pdf"), Names{"docs/a.pdf"});
  EXPECT_EQ(Matching(index, "*").size(), 4U);
}

TEST(ArchiveIndex, NamesThatNoFileCanHaveLeadNowhere) {
  const ArchiveIndex index = IndexOf({{"Icon\r", "x"}, {std::string(256, 'n'), "y"}, {"../up", "z"}, {"fine", "f"}});
  EXPECT_EQ(index.FaultOf(0), EntryFault::BadName);
  EXPECT_EQ(index.FaultOf(1), EntryFault::BadName);
  EXPECT_EQ(index.FaultOf(2), EntryFault::Name);
  EXPECT_EQ(index.FaultOf(3), EntryFault::None);
}

}  // namespace
}  // namespace pellora
