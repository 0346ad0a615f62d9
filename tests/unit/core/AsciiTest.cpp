#include <gtest/gtest.h>

#include "core/Ascii.h"

namespace pellora {
namespace {

TEST(Ascii, MapsCaseOfLettersOnlyAndLeavesBytesAbove127) {
  EXPECT_EQ(ToLower("ZIP-\xC4\xB0@[`{09"), "zip-\xC4\xB0@[`{09");
  EXPECT_EQ(ToUpper("zip-\xC4\xB1@[`{09"), "ZIP-\xC4\xB1@[`{09");
}

TEST(Ascii, TrimsBlanksButNoOtherSpace) {
  EXPECT_EQ(TrimBlanks("  a b  "), "a b");
  EXPECT_EQ(TrimBlanks("\ta\n"), "\ta\n");
  EXPECT_EQ(TrimBlanks("   "), "");
  EXPECT_EQ(TrimBlanks(""), "");
  EXPECT_EQ(TrimLeadingBlanks("  a "), "a ");
  EXPECT_EQ(TrimTrailingBlanks("  a "), "  a");
}

TEST(Ascii, ComparesIgnoringCase) {
  EXPECT_TRUE(EqualsNoCase("HtTp", "hTtP"));
  EXPECT_FALSE(EqualsNoCase("http", "https"));
  EXPECT_TRUE(StartsWithNoCase("HTTP://x", "http://"));
  EXPECT_FALSE(StartsWithNoCase("http:/", "http://"));
  EXPECT_TRUE(EndsWithNoCase("a.Zip", ".zip"));
  EXPECT_FALSE(EndsWithNoCase("zip", ".zip"));
  EXPECT_FALSE(EndsWithNoCase("a.rar", ".zip"));
}

}  // namespace
}  // namespace pellora
