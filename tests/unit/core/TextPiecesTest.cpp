#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/CookiePath.h"
#include "core/TextPieces.h"

namespace pellora {
namespace {

std::vector<std::string> LinesOf(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) lines.emplace_back(NextLine(text));
  return lines;
}

TEST(TextPieces, TrimsTheGivenCharactersAtBothEnds) {
  EXPECT_EQ(Trimmed("\t a b \t", kHttpBlanks), "a b");
  EXPECT_EQ(Trimmed("\r\na", kHttpBlanks), "\r\na");
  EXPECT_EQ(Trimmed("\r\n a\n", kBlanksAndEnds), "a");
  EXPECT_EQ(Trimmed(" \t ", kHttpBlanks), "");
  EXPECT_EQ(Trimmed("", kHttpBlanks), "");
}

TEST(TextPieces, CutsAtTheFirstSeparatorAndDropsIt) {
  std::string_view rest = "a;b,;";
  EXPECT_EQ(CutAt(rest, ";,"), "a");
  EXPECT_EQ(CutAt(rest, ";,"), "b");
  EXPECT_EQ(CutAt(rest, ";,"), "");
  EXPECT_EQ(rest, "");
  EXPECT_EQ(CutAt(rest, ";,"), "");
}

TEST(TextPieces, LinesEndWithALineFeed) {
  EXPECT_EQ(LinesOf("a\r\nb\nc"), (std::vector<std::string>{"a", "b", "c"}));
  EXPECT_EQ(LinesOf("a\n\nb\r\r\n"), (std::vector<std::string>{"a", "", "b\r"}));
  EXPECT_EQ(LinesOf("a\rb"), (std::vector<std::string>{"a\rb"}));
  EXPECT_EQ(LinesOf(""), (std::vector<std::string>{}));
}

TEST(TextPieces, OneByteOrderMarkIsDropped) {
  EXPECT_EQ(WithoutByteOrderMark("\xEF\xBB\xBF\xEF\xBB\xBF"), "\xEF\xBB\xBF");
  EXPECT_EQ(WithoutByteOrderMark("\xEF\xBB"), "\xEF\xBB");
}

TEST(CookiePath, FitsWholeFolders) {
  EXPECT_TRUE(CookiePathFits("/", "/a"));
  EXPECT_TRUE(CookiePathFits("/a", "/a"));
  EXPECT_TRUE(CookiePathFits("/a", "/a/b"));
  EXPECT_TRUE(CookiePathFits("/a/", "/a/b"));
  EXPECT_FALSE(CookiePathFits("/a/", "/a"));
  EXPECT_FALSE(CookiePathFits("/a", "/ab"));
  EXPECT_FALSE(CookiePathFits("/a", "/"));
}

}  // namespace
}  // namespace pellora
