#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fetch/LinkHeader.h"

namespace pellora {
namespace {

std::vector<Mirror> MirrorsOf(const std::vector<std::string>& links) {
  FetchAnswer answer;
  for (const std::string& link : links) answer.headers.push_back({"link", link});
  return MirrorsIn(answer, *ParseWebAddress("https://o.example/dir/a.bin"));
}

std::vector<std::string> Urls(const std::string& link) {
  std::vector<std::string> urls;
  for (const Mirror& mirror : MirrorsOf({link})) urls.push_back(mirror.url);
  return urls;
}

using Strings = std::vector<std::string>;

TEST(LinkHeader, DuplicatesAreMirrorsByPriority) {
  const std::vector<Mirror> mirrors =
      MirrorsOf({"<http://b.example/a.bin>; rel=duplicate; pri=2; geo=GB, <ftp://c.example/a.bin>; rel=\"duplicate\"",
                 "<https://d.example/a.bin>;rel=duplicate;pri=1;pref", "<https://p.example/>; rel=next"});
  ASSERT_EQ(mirrors.size(), 3U);
  EXPECT_EQ(mirrors[0], (Mirror{"https://d.example/a.bin", 1, "", ""}));
  EXPECT_EQ(mirrors[1], (Mirror{"http://b.example/a.bin", 2, "gb", ""}));
  EXPECT_EQ(mirrors[2], (Mirror{"ftp://c.example/a.bin", kLastPriority, "", ""}));
}

std::string DescriptionOf(const std::string& link, const std::string& base = "https://o.example/dir/a.bin") {
  FetchAnswer answer;
  answer.headers.push_back({"Link", link});
  const std::optional<WebAddress> address = DescriptionIn(answer, *ParseWebAddress(base));
  return address ? WireUrl(*address) : std::string();
}

TEST(LinkHeader, DescriptionIsAMetalinkOfTheFile) {
  const std::string type = "; type=\"application/metalink4+xml\"";
  EXPECT_EQ(DescriptionOf("<a.meta4>; rel=describedby" + type), "https://o.example/dir/a.meta4");
  EXPECT_EQ(DescriptionOf("<https://m.example/x>; rel=\"next describedby\"; TYPE=Application/Metalink4+XML"),
            "https://m.example/x");
  EXPECT_EQ(
      DescriptionOf("<a.torrent>; rel=describedby; type=application/x-bittorrent, <a.meta4>; rel=describedby" + type),
      "https://o.example/dir/a.meta4");
  for (const std::string& none :
       {std::string("<a.meta4>; rel=describedby"), "<a.meta4>; rel=duplicate" + type,
        "<a.meta4>; rel=describedby; anchor=\"#x\"" + type, "<http://m.example/x>; rel=describedby" + type,
        "<ftp://m.example/x>; rel=describedby" + type, "<>; rel=describedby" + type}) {
    EXPECT_EQ(DescriptionOf(none), "") << none;
  }
  EXPECT_EQ(DescriptionOf("<http://m.example/x>; rel=describedby" + type, "http://o.example/a.bin"),
            "http://m.example/x");
}

TEST(LinkHeader, RelativeOnesAreResolved) {
  EXPECT_EQ(Urls("</m/a.bin>; rel=duplicate"), Strings{"https://o.example/m/a.bin"});
  EXPECT_EQ(Urls("<//m.example/x>; rel=duplicate"), Strings{"https://m.example/x"});
  EXPECT_EQ(Urls("<../b>; rel=duplicate"), Strings{"https://o.example/b"});
}

TEST(LinkHeader, RelationsAreAListWithoutCase) {
  for (const char* rel : {"rel=DUPLICATE", "REL=\"next duplicate\"", "rel = \"duplicate\\\"\" ; rel=duplicate"}) {
    const bool first = std::string(rel).find("\\\"") == std::string::npos;  // the first rel counts
    EXPECT_EQ(Urls(std::string("<https://m/x>;") + rel).size(), first ? 1U : 0U) << rel;
  }
  for (const char* rel : {"rel=duplicates", "rel=\"x-duplicate\"", "rev=duplicate", "rel", "rel=", ""}) {
    EXPECT_TRUE(Urls(std::string("<https://m/x>;") + rel).empty()) << rel;
  }
}

TEST(LinkHeader, OthersThanMirrorsAreLeftOut) {
  EXPECT_TRUE(Urls("<https://o.example/dir/a.bin>; rel=duplicate").empty());
  EXPECT_TRUE(Urls("<a.bin#x>; rel=duplicate").empty());
  EXPECT_TRUE(Urls("<https://m/x>; rel=duplicate; anchor=\"/other\"").empty());
  EXPECT_TRUE(Urls("<file:///etc/passwd>; rel=duplicate").empty());
  EXPECT_TRUE(Urls("<javascript:1>; rel=duplicate").empty());
  EXPECT_TRUE(Urls("<>; rel=duplicate").empty());
  EXPECT_TRUE(Urls("<https://m/" + std::string(kLongestMirror, 'x') + ">; rel=duplicate").empty());
  EXPECT_EQ(Urls("<https://u:secret@m/x>; rel=duplicate, <HTTPS://M:443/x>; rel=duplicate"), Strings{"https://m/x"});
}

TEST(LinkHeader, WhatBreaksTheGrammarEndsItsHeader) {
  const std::string good = "<https://m/x>; rel=duplicate";
  for (const char* rest :
       {"x", ", <https://n/x", ", https://n/x; rel=duplicate", "; a=\"", ",<https://n/x>; rel=\"duplicate"}) {
    EXPECT_LE(Urls(good + rest).size(), 1U) << rest;
  }
  EXPECT_EQ(Urls(",, ," + good + " ,,\t"), Strings{"https://m/x"});
  EXPECT_EQ(MirrorsOf({"<broken", good}).size(), 1U);
  for (const char* empty : {"", ",", ";", "<", ">", "\"", "=", "<>", "\xFF"}) EXPECT_TRUE(Urls(empty).empty()) << empty;
}

TEST(LinkHeader, ManyAreBounded) {
  std::string many;
  for (int i = 100'000; i > 0; --i) {
    many.append("<https://m/").append(std::to_string(i)).append(">;rel=duplicate;pri=").append(std::to_string(i)) +=
        ',';
  }
  EXPECT_EQ(Urls(many).size(), kMostMirrors);
}

}  // namespace
}  // namespace pellora
