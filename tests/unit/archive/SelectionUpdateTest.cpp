#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "TestArchive.h"
#include "archive/SelectionUpdate.h"

namespace pellora {
namespace {

ArchiveIndex IndexOf(TestArchive archive, const std::string& etag) {
  const std::string bytes = archive.Bytes();
  ArchiveEnd end;
  end.entries = static_cast<std::int64_t>(archive.entries.size());
  end.directoryOffset = archive.directoryAt;
  FileFacts facts;
  facts.total = static_cast<std::int64_t>(bytes.size());
  facts.validator.etag = etag;
  auto contents = std::make_shared<ArchiveContents>(ArchiveContents{
      "renamed.zip", facts, std::move(*ArchiveDirectory::Read(archive.directory, archive.directoryAt, end))});
  return {std::move(contents), CodePage::Dos437};
}

TestEntry File(const std::string& name, const std::string& data) {
  return {.name = name, .data = data, .size = static_cast<std::uint32_t>(data.size()), .crc = 7};
}

const std::vector<TestEntry> kFiles = {File("dir/", ""), File("dir/a", "aaaa"), File("b", "bb"), File("c", "cc")};

Selection AllOf(const ArchiveIndex& index) {
  const std::vector<std::size_t> all = {0, 1, 2, 3};
  Selection chosen = index.Select(all, true);
  chosen.archive = "a.zip";
  chosen.folder = "/out";
  chosen.existing = Existing::Keep;
  return chosen;
}

std::vector<std::string> NamesOf(const Selection& selection) {
  std::vector<std::string> names;
  for (const SelectedEntry& entry : selection.entries) names.push_back(entry.rawName);
  return names;
}

TEST(SelectionUpdate, FindsEntriesAtTheirNewPlaces) {
  const Selection chosen = AllOf(IndexOf({kFiles}, "1"));
  const std::vector<TestEntry> moved = {File("new", "n"), kFiles[3], kFiles[2], kFiles[1], kFiles[0]};
  const ArchiveIndex now = IndexOf({moved}, "2");
  const SelectionUpdate update = UpdateSelection(chosen, {}, {}, now);
  EXPECT_EQ(update.missing, 3U);
  EXPECT_EQ(update.lost, 0U);
  EXPECT_EQ(NamesOf(update.selection), (std::vector<std::string>{"dir/", "c", "b", "dir/a"}));
  EXPECT_EQ(update.selection.entries[1].range, now.Selected(1)->range);
  EXPECT_EQ(update.selection.facts, now.Contents().facts);
  EXPECT_EQ(update.selection.archive, "a.zip");
  EXPECT_EQ(update.selection.folder, "/out");
  EXPECT_EQ(update.selection.existing, Existing::Keep);
}

TEST(SelectionUpdate, PutsWhatHasNoBytesBeforeTheFirstFile) {
  const std::vector<TestEntry> files = {kFiles[2], kFiles[0]};
  const std::vector<std::size_t> both = {0, 1};
  const ArchiveIndex index = IndexOf({files}, "1");
  const Selection chosen = index.Select(both, true);
  EXPECT_EQ(NamesOf(chosen), (std::vector<std::string>{"dir/", "b"}));
  Selection former = chosen;
  std::swap(former.entries[0], former.entries[1]);
  EXPECT_EQ(NamesOf(UpdateSelection(former, {}, {}, index).selection), NamesOf(chosen));
}

TEST(SelectionUpdate, IsWhatWasChosenIfNothingHasChanged) {
  const ArchiveIndex index = IndexOf({kFiles}, "1");
  const Selection chosen = AllOf(index);
  EXPECT_EQ(UpdateSelection(chosen, {}, {}, index).selection, chosen);
}

TEST(SelectionUpdate, CountsWhatIsMissingOrOther) {
  const Selection chosen = AllOf(IndexOf({kFiles}, "1"));
  TestEntry larger = kFiles[2];
  larger.size = 3;
  TestEntry other = kFiles[3];
  other.crc = 8;
  for (const std::vector<TestEntry>& entries : {std::vector{kFiles[1], larger, other}, std::vector{kFiles[1]}}) {
    const SelectionUpdate update = UpdateSelection(chosen, {}, {}, IndexOf({entries}, "2"));
    EXPECT_EQ(update.missing, 1U);
    EXPECT_EQ(update.lost, 2U);
    EXPECT_EQ(NamesOf(update.selection), (std::vector<std::string>{"dir/", "dir/a"}));
  }
}

TEST(SelectionUpdate, KeepsWhatIsUnpackedWhetherItIsThereOrNot) {
  const Selection chosen = AllOf(IndexOf({kFiles}, "1"));
  const IntervalSet unpacked({{1, 3}});  // dir/a, b
  const std::vector<TestEntry> moved = {kFiles[3], kFiles[2]};
  const SelectionUpdate update = UpdateSelection(chosen, unpacked, IntervalSet({{0, 4}}), IndexOf({moved}, "2"));
  EXPECT_EQ(update.lost, 0U);
  EXPECT_EQ(update.missing, 1U);
  EXPECT_EQ(NamesOf(update.selection), (std::vector<std::string>{"dir/", "dir/a", "c", "b"}));
  EXPECT_EQ(update.unpacked, IntervalSet({{1, 2}, {3, 4}}));
  EXPECT_EQ(update.begun, IntervalSet({{0, 4}}));
  EXPECT_EQ(update.selection.entries[1].range, Range());
}

TEST(SelectionUpdate, KeepsThePathThatWasChosen) {
  const ArchiveIndex index = IndexOf({kFiles}, "1");
  const std::vector<std::size_t> one = {1};
  const SelectionUpdate update = UpdateSelection(index.Select(one, false), {}, {}, IndexOf({kFiles}, "2"));
  EXPECT_EQ(update.selection.entries.at(0).path, std::vector<std::string>{"a"});
}

TEST(SelectionUpdate, LeavesOutWhatCannotBeUnpackedAnyMore) {
  const Selection chosen = AllOf(IndexOf({kFiles}, "1"));
  std::vector<TestEntry> now = kFiles;
  now[1].attributes = 0120777U << 16U;  // a link
  now[2].method = 9;
  now[3].offset = 1;  // where another one lies
  const SelectionUpdate update = UpdateSelection(chosen, {}, {}, IndexOf({now}, "2"));
  EXPECT_EQ(update.missing, 0U);
  EXPECT_EQ(update.lost, 3U);
}

// Of two that are the same, the one that is left goes to the one that is still to be unpacked.
TEST(SelectionUpdate, SharesOutEntriesThatAreTheSame) {
  const std::vector<TestEntry> twice = {File("x", "xx"), File("x", "xx")};
  const std::vector<std::size_t> both = {0, 1};
  const Selection chosen = IndexOf({twice}, "1").Select(both, true);
  const SelectionUpdate update = UpdateSelection(chosen, IntervalSet({{0, 1}}), {}, IndexOf({{twice[0]}}, "2"));
  EXPECT_EQ(update.missing, 1U);
  EXPECT_EQ(update.lost, 0U);
  EXPECT_EQ(update.selection.entries.size(), 2U);
}

}  // namespace
}  // namespace pellora
