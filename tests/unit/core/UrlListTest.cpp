#include <gtest/gtest.h>

#include <random>

#include "core/UrlList.h"

namespace pellora {
namespace {

using Addresses = std::vector<std::string>;

TEST(UrlList, TakesFilesWithAnyNumberOfSlashes) {
  const Addresses expected = {"file:///a.txt", "file:/b.meta4", "FILE:/c"};
  EXPECT_EQ(ReadUrlList("file:///a.txt\nfile:/b.meta4\nFILE:/c\nfile:d\nhttp:/e\n").addresses, expected);
}

TEST(UrlList, ReadsOneAddressALine) {
  EXPECT_EQ(ReadUrlList("https://a/1\nftp://b/2\nsftp://c/3").addresses,
            (Addresses{"https://a/1", "ftp://b/2", "sftp://c/3"}));
}

TEST(UrlList, TakesEveryLineEndAndAByteOrderMark) {
  EXPECT_EQ(ReadUrlList("\xEF\xBB\xBFhttps://a/1\r\nhttps://b/2\rhttps://c/3\n\n\r\n").addresses,
            (Addresses{"https://a/1", "https://b/2", "https://c/3"}));
}

TEST(UrlList, SkipsCommentsBlankLinesOptionsAndProse) {
  EXPECT_EQ(ReadUrlList("# https://no/1\n  # https://no/2\n\n   \nhttps://a/1\n  out=name.iso\n\tdir=/x\n"
                        " referer=https://no/3\nSee https://no/4\n://no/5\nhttps:/no/6\n")
                .addresses,
            (Addresses{"https://a/1"}));
}

TEST(UrlList, TakesIndentedAddressesAndTheFirstOfSeveralOnALine) {
  EXPECT_EQ(ReadUrlList("  https://a/1  \nhttps://b/2\thttps://mirror/2\n\thttps://c/a b\n").addresses,
            (Addresses{"https://a/1", "https://b/2", "https://c/a b"}));
}

TEST(UrlList, KeepsDoublesAndLeavesJudgementToOthers) {
  EXPECT_EQ(ReadUrlList("https://a/1\nhttps://a/1\nMAGNET://x\n").addresses,
            (Addresses{"https://a/1", "https://a/1", "MAGNET://x"}));
}

TEST(UrlList, EndsAtANul) {
  EXPECT_EQ(ReadUrlList(std::string_view("https://a/1\n\0https://b/2\n", 24)).addresses, Addresses{"https://a/1"});
}

TEST(UrlList, TakesNoMoreAddressesThanItsLimit) {
  std::string text;
  for (std::size_t i = 0; i < kMostAddresses; ++i) text += "https://a/" + std::to_string(i) + "\n";
  EXPECT_EQ(ReadUrlList(text).addresses.size(), kMostAddresses);
  EXPECT_FALSE(ReadUrlList(text).cut);
  EXPECT_FALSE(ReadUrlList(text + "# no address\n").cut);
  const UrlListReading more = ReadUrlList(text + "https://b/1\n");
  EXPECT_EQ(more.addresses.size(), kMostAddresses);
  EXPECT_EQ(more.addresses.back(), "https://a/9999");
  EXPECT_TRUE(more.cut);
}

TEST(UrlList, ReadsNoMoreThanFourMebibytesAndNoCutLine) {
  std::string text = "https://a/1\n" + std::string(kLongestUrlList - 20, '#') + "\nhttps://b/2345678\n";
  const UrlListReading reading = ReadUrlList(text);
  EXPECT_EQ(reading.addresses, Addresses{"https://a/1"});
  EXPECT_TRUE(reading.cut);
  EXPECT_TRUE(ReadUrlList(std::string(kLongestUrlList * 2, 'h')).addresses.empty());
}

TEST(UrlList, LeavesOutAddressesThatTheListCannotHold) {
  EXPECT_EQ(ReadUrlList("https://" + std::string(65535 - 8, 'a')).addresses.size(), 1U);
  EXPECT_TRUE(ReadUrlList("https://" + std::string(65536 - 8, 'a')).addresses.empty());
}

// Whatever the bytes: each address is a part of one line, and begins like one.
TEST(UrlList, GivesOnlyPartsOfLinesOfAnyBytes) {
  std::mt19937 random(7);
  constexpr std::string_view kLetters("ht:/p\r\n\t #\0\xEF\xBB\xBF=a.", 17);
  for (int round = 0; round < 2000; ++round) {
    std::string text;
    for (int i = 0; i < 60; ++i)
      text += random() % 6 == 0 ? "http://" : std::string(1, kLetters[random() % kLetters.size()]);
    for (const std::string& address : ReadUrlList(text).addresses) {
      EXPECT_EQ(address.find_first_of("\r\n\t"), std::string::npos) << text;
      EXPECT_EQ(address.find('\0'), std::string::npos);
      EXPECT_NE(text.find(address), std::string::npos);
      EXPECT_NE(address.find("://"), std::string::npos);
    }
  }
}

}  // namespace
}  // namespace pellora
