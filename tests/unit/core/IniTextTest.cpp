#include <gtest/gtest.h>

#include "core/IniText.h"

namespace pellora {
namespace {

TEST(IniText, ReadsTheWholeTextAfterTheFirstEqualsSign) {
  const std::string content =
      "Language=outside\n[Options]\r\n IgnoreString = HTM,HTML, a=b \r\nEmpty=\nLast=\"two\\nlines\"";
  EXPECT_EQ(IniValue(content, "IgnoreString"), "HTM,HTML, a=b");
  EXPECT_EQ(IniValue(content, "Empty"), "");
  EXPECT_EQ(IniValue(content, "Last"), "two\nlines");
  EXPECT_EQ(IniValue(content, "Language"), std::nullopt);
  EXPECT_EQ(IniValue(content, "language"), std::nullopt);
}

TEST(IniText, ReadsAndReplacesTheLastLineOfAKey) {
  const std::string content = "[Options]\nA=1\nA=2\n[More]\nA=3\n[Options]\nB=4\n";
  EXPECT_EQ(IniValue(content, "A"), "2");
  EXPECT_EQ(WithIniValue(content, "A", "9"), "[Options]\nA=1\nA=9\n[More]\nA=3\n[Options]\nB=4\n");
  EXPECT_EQ(WithIniValue(content, "C", "5"), content + "C=5\n");
}

TEST(IniText, StaysUnchangedIfTheTextIsEqual) {
  const std::string content = "[Options]\n A = \"x\"  \n";
  EXPECT_EQ(WithIniValue(content, "A", "x"), content);
}

TEST(IniText, RoundTripsEveryText) {
  for (const std::string value : {"", " a ", "\"", "\"a\"", "a\nb\r", "\\", "\\n", "[Options]", "\t", "=", ";a"}) {
    EXPECT_EQ(IniValue(WithIniValue("", "A", value), "A"), value) << value;
  }
}

}  // namespace
}  // namespace pellora
