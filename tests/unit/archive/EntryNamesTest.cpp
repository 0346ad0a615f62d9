#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "archive/EntryNames.h"
#include "core/Crc32.h"

namespace pellora {
namespace {

ArchiveEntry Named(std::string_view raw) {
  ArchiveEntry entry;
  entry.rawName = raw;
  return entry;
}

TEST(EntryNames, NamesAreUtf8IfTheyCanBe) {
  EXPECT_EQ(EntryName(Named("gr\xC3\xBC\xC3\x9F.txt"), CodePage::Dos437), "gr\xC3\xBC\xC3\x9F.txt");
}

TEST(EntryNames, OtherNamesAreOfTheCodePage) {
  EXPECT_EQ(EntryName(Named("gr\x81\xE1"), CodePage::Dos437), "gr\xC3\xBC\xC3\x9F");
  EXPECT_EQ(EntryName(Named("\xD0"), CodePage::Dos850), "\xC3\xB0");
  EXPECT_EQ(EntryName(Named("\xA9"), CodePage::Dos852), "\xC4\x99");
  EXPECT_EQ(EntryName(Named("\xB0"), CodePage::Dos437), "\xE2\x96\x91");
}

TEST(EntryNames, TheUnicodePathCountsOnlyForTheNameItWasMadeFor) {
  ArchiveEntry entry = Named("gr\x81n");
  entry.unicodeName = "gr\xC3\xBCn!";
  entry.unicodeNameCrc = Crc32("gr\x81n");
  EXPECT_EQ(EntryName(entry, CodePage::Dos437), "gr\xC3\xBCn!");
  entry.unicodeNameCrc ^= 1U;
  EXPECT_EQ(EntryName(entry, CodePage::Dos437), "gr\xC3\xBCn");
}

TEST(EntryNames, PathsStayBelowTheFolder) {
  const std::vector<std::string> parts = {"a", "b", "c.txt"};
  EXPECT_EQ(EntryPath("a/b/c.txt", false), parts);
  EXPECT_EQ(EntryPath("./a//b/./c.txt/", false), parts);
  EXPECT_EQ(EntryPath("a\\b\\c.txt", true), parts);
  EXPECT_EQ(EntryPath("a\\b", false), std::vector<std::string>{"a\\b"});
  for (const std::string& bad : {std::string("/etc/passwd"), std::string("../a"), std::string("a/../../b"),
                                 std::string("a/.."), std::string("C:/a"), std::string(), std::string("."),
                                 std::string("a/\n"), std::string("a\0b", 3), std::string(256, 'x')}) {
    EXPECT_FALSE(EntryPath(bad, false)) << bad;
  }
  EXPECT_TRUE(EntryPath(std::string(255, 'x'), false));
  EXPECT_FALSE(EntryPath("..\\a", true));
  std::string deep;
  for (int i = 0; i < 1600; ++i) deep += "a/";
  EXPECT_FALSE(EntryPath(deep + "b", false)) << "no program opens such a path";
  EXPECT_FALSE(EntryPath("\\\\host\\a", true));
}

TEST(EntryNames, OnlySomeNamesLeadOut) {
  for (const std::string name : {"/etc/passwd", "../a", "a/../../b", "a/..", "C:/a", "./C:/a"}) {
    EXPECT_TRUE(LeadsOut(name, false)) << name;
  }
  for (const std::string name : {"", ".", "a\n", "..a/b..", "a\\..\\b", "a/C:"}) {
    EXPECT_FALSE(LeadsOut(name, false)) << name;
  }
  EXPECT_TRUE(LeadsOut("a\\..\\b", true));
}

TEST(EntryNames, NothingButDotsIsTheFolderItself) {
  for (const std::string name : {"./", ".", ".//./"}) EXPECT_TRUE(IsWholeFolder(name, false)) << name;
  for (const std::string name : {"", "/", "../", "./a", "..."}) EXPECT_FALSE(IsWholeFolder(name, false)) << name;
  EXPECT_TRUE(IsWholeFolder(".\\", true));
}

}  // namespace
}  // namespace pellora
