#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "SimArchive.h"
#include "zipview/ZipListing.h"

namespace pellora {
namespace {

constexpr std::int32_t kMost = 2147483647;

std::vector<ZipEntry> Entries(const std::vector<SimMember>& members) {
  return ReadDirectory(SimDirectory(members), static_cast<std::int16_t>(members.size()));
}

std::vector<std::string> Texts(const ZipListing& listing) {
  std::vector<std::string> texts;
  for (const ListRow& row : listing.rows) texts.push_back(row.text);
  return texts;
}

TEST(SplitZipName, CutsAtTheLastSlash) {
  struct Case {
    const char* name;
    const char* leaf;
    const char* folder;
  };
  const Case kCases[] = {
      {"", "", ""},
      {"a.txt", "a.txt", ""},
      {"a/b.txt", "b.txt", "a"},
      {"a/b/c.txt", "c.txt", "a/b"},
      {"/a.txt", "a.txt", ""},
      {"a//b", "b", "a/"},
      {"docs/", "docs", ""},
      {"docs/img/", "img", "docs"},
      {"a/b/c/", "c", "a/b"},
      {"a/", "a", ""},
      {"a/b/", "b", "a"},
      {"/a/", "a", ""},
      {"/", "", ""},
      {"//", "/", ""},
      {"a//", "a/", ""},
      {"a/b//", "b/", "a"},
  };
  for (const Case& c : kCases) {
    const ZipName name = SplitZipName(c.name);
    EXPECT_EQ(name.leaf, c.leaf) << c.name;
    EXPECT_EQ(name.folder, c.folder) << c.name;
  }
}

TEST(SplitZipName, ShowsADirectoryOfOneCharacterAtTheTop) {
  EXPECT_EQ(Texts(ListByFolder(Entries({{"a/"}}), {}, "")), (std::vector<std::string>{"+a"}));
}

TEST(ZipRatio, RoundsHalvesToTheEvenNeighbour) {
  struct Case {
    std::int64_t packed, normal;
    const char* ratio;
  };
  const Case kCases[] = {
      {0, 0, ""},
      {5, 0, ""},
      {0, 10, "100%"},
      {10, 10, "0%"},
      {1, 8, "88%"},
      {3, 8, "62%"},
      {1, 200, "100%"},
      {3, 200, "98%"},
      {115, 200, "42%"},
      {57, 200, "72%"},
      {1, 3, "67%"},
      {2, 3, "33%"},
      {20, 10, "-100%"},
      {1005, 1000, "0%"},
      {4294967295, 1, "-32667%"},
      {4294967295, 4294967295, "0%"},
      {INT64_MAX, INT64_MAX, "0%"},
      {INT64_MAX, 1, "-32667%"},
      {1, INT64_MAX, "100%"},
  };
  for (const Case& c : kCases) EXPECT_EQ(ZipRatio(c.packed, c.normal), c.ratio) << c.packed << "/" << c.normal;
}

TEST(ListByFile, ShowsAllFilesAndCountsDirectoriesToo) {
  const ZipListing listing = ListByFile(Entries({{"docs/"}, {"docs/a.txt", 10, 40}, {"b.txt", 5, 5}}), {});
  EXPECT_EQ(Texts(listing), (std::vector<std::string>{"a.txt", "b.txt"}));
  EXPECT_EQ(listing.rows[0].key, "e2");
  EXPECT_EQ(listing.rows[0].subItems, (std::vector<std::string>{"10", "40", "75%", "docs"}));
  EXPECT_EQ(listing.rows[1].subItems, (std::vector<std::string>{"5", "5", "0%", ""}));
  EXPECT_EQ(listing.files, 3);
  EXPECT_EQ(listing.normalTotal, 45);
  EXPECT_EQ(listing.packedTotal, 15);
}

TEST(ListByFolder, ShowsAndCountsOnlyDirectChildren) {
  const auto entries =
      Entries({{"docs/"}, {"docs/a.txt", 10, 40}, {"docs/img/"}, {"b.txt", 5, 5}, {"lost/c.txt", 7, 7}});
  const ZipListing root = ListByFolder(entries, {}, "");
  EXPECT_EQ(Texts(root), (std::vector<std::string>{"+docs", "b.txt"}));
  EXPECT_EQ(root.rows[0].subItems, (std::vector<std::string>{"DIR", "DIR", "", ""}));
  EXPECT_EQ(root.files, 2);
  EXPECT_EQ(root.normalTotal, 5);
  const ZipListing docs = ListByFolder(entries, {}, "docs");
  EXPECT_EQ(Texts(docs), (std::vector<std::string>{"a.txt", "+img"}));
  EXPECT_EQ(docs.rows[1].subItems[3], "docs");
  EXPECT_EQ(docs.packedTotal, 10);
  EXPECT_TRUE(ListByFolder(entries, {}, "doc").rows.empty());
}

TEST(Listing, IsEmptyWithoutEntries) {
  EXPECT_TRUE(ListByFile(Entries({}), {}).rows.empty());
  EXPECT_EQ(ListByFolder(Entries({}), {}, "").files, 0);
}

TEST(Listing, ShowsARatioForADirectoryUnlessItsSizeIsZero) {
  const ZipListing listing = ListByFolder(Entries({{"a/", 0, 0}, {"b/", 5, 10}}), {}, "");
  EXPECT_EQ(listing.rows[0].subItems[2], "");
  EXPECT_EQ(listing.rows[1].subItems[2], "50%");
}

TEST(Listing, ShowsAFileOfSizeZeroWithoutARatio) {
  const ZipListing listing = ListByFile(Entries({{"empty", 0, 0}}), {});
  EXPECT_EQ(listing.rows[0].subItems, (std::vector<std::string>{"0", "0", "", ""}));
}

TEST(Listing, KeepsRowsWithEqualTexts) {
  const ZipListing listing = ListByFile(Entries({{"a/x"}, {"b/x"}}), {});
  EXPECT_EQ(listing.rows[0].text, listing.rows[1].text);
  EXPECT_NE(listing.rows[0].key, listing.rows[1].key);
}

TEST(Listing, CapsTotalsAtTheLargestSigned32BitValue) {
  const ZipListing below = ListByFile(Entries({{"a", 2147483647, 2147483646}, {"b", 0, 1}}), {});
  EXPECT_EQ(below.normalTotal, kMost);
  EXPECT_EQ(below.packedTotal, kMost);
  const ZipListing above = ListByFile(Entries({{"a", 4294967295U, 4294967295U}, {"b", 4294967295U, 1}}), {});
  EXPECT_EQ(above.normalTotal, kMost);
  EXPECT_EQ(above.packedTotal, kMost);
  EXPECT_EQ(above.rows[0].subItems[1], "4294967295");
}

TEST(Listing, ShowsTheIconOfEachRowsPosition) {
  const ZipListing listing = ListByFile(Entries({{"a/"}, {"b"}, {"c"}}), {"", "folder", "p2", "p3"});
  EXPECT_EQ(listing.rows[0].icon, "p2");
  EXPECT_EQ(listing.rows[1].icon, "p3");
}

}  // namespace
}  // namespace pellora
