#include <gtest/gtest.h>

#include <string>

#include "core/FileNames.h"

namespace pellora {
namespace {

using namespace std::string_view_literals;

TEST(IsBadFileName, RefusesEachForbiddenCharacterAnywhere) {
  for (const char c : "?/\\:*<>'\""sv) {
    EXPECT_TRUE(IsBadFileName(std::string("a") + c + "b", "\"")) << c;
    EXPECT_TRUE(IsBadFileName(std::string(1, c), "\"")) << c;
  }
}

TEST(IsBadFileName, AcceptsOtherNames) {
  for (const char* const name : {"a.zip", "a b", "a|b", "%2f", "\xc3\xbc.bin", "a\x01", "..", "a&b=c"}) {
    EXPECT_FALSE(IsBadFileName(name, "\"")) << name;
  }
}

TEST(IsBadFileName, AcceptsTheEmptyName) {
  EXPECT_FALSE(IsBadFileName("", "\""));
  EXPECT_FALSE(IsBadFileName("", ""));
}

TEST(IsBadFileName, RefusesEveryOtherNameIfTheTextIsEmpty) { EXPECT_TRUE(IsBadFileName("a.zip", "")); }

TEST(IsBadFileName, MatchesTheTextAsAWholeAndByCase) {
  EXPECT_TRUE(IsBadFileName("axyb", "xy"));
  EXPECT_FALSE(IsBadFileName("axbyb", "xy"));
  EXPECT_FALSE(IsBadFileName("aXYb", "xy"));
}

TEST(IsStorableName, RefusesImpossibleFileNames) {
  EXPECT_FALSE(IsStorableName("a\0b"sv));
  // Folders' names can begin part files; only building the output fails for them.
  EXPECT_TRUE(IsStorableName("."));
  EXPECT_TRUE(IsStorableName(".."));
  EXPECT_TRUE(IsStorableName(""));
  EXPECT_TRUE(IsStorableName("a.zip"));
}

TEST(IsStorableName, CountsThePartFileSuffix) {
  EXPECT_TRUE(IsStorableName(std::string(248, 'a')));
  EXPECT_FALSE(IsStorableName(std::string(249, 'a')));
  EXPECT_TRUE(IsStorableName(std::string(245, 'a'), 123));
  EXPECT_FALSE(IsStorableName(std::string(246, 'a'), 123));
}

TEST(FolderOf, EndsBeforeTheLastSeparatorUnlessItIsTheRoot) {
  EXPECT_EQ(FolderOf("/home/u/a.zip"), "/home/u");
  EXPECT_EQ(FolderOf("/home/u/"), "/home/u");
  EXPECT_EQ(FolderOf("/a.zip"), "/");
  EXPECT_EQ(FolderOf("a.zip"), "");
  EXPECT_EQ(FolderOf(""), "");
}

TEST(JoinFolder, PutsOneSeparatorBetween) {
  EXPECT_EQ(JoinFolder("/tmp", "a"), "/tmp/a");
  EXPECT_EQ(JoinFolder("/tmp/", "a"), "/tmp/a");
  EXPECT_EQ(JoinFolder("/", "a"), "/a");
  EXPECT_EQ(JoinFolder("", "a"), "a");
  EXPECT_EQ(JoinFolder("/tmp/", ""), "/tmp/");
}

TEST(PartFileName, AppendsTheSegmentInThreeDigits) {
  EXPECT_EQ(PartFileName("/tmp/parts/", "a.zip", 1), "/tmp/parts/a.zip001.tmp");
  EXPECT_EQ(PartFileName("/tmp/parts/", "a.zip", 2), "/tmp/parts/a.zip002.tmp");
  EXPECT_EQ(PartFileName("/tmp/parts/", "", 8), "/tmp/parts/008.tmp");
  EXPECT_EQ(PartFileName("/t/", "a", 1000), "/t/a1000.tmp");
}

TEST(PartFileName, PutsARecordsIndexBetweenNameAndNumber) {
  EXPECT_EQ(PartFileName("/tmp/", "a.zip", 2, 17), "/tmp/a.zip17002.tmp");
}

}  // namespace
}  // namespace pellora
