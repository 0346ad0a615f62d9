#include <gtest/gtest.h>

#include "core/Utf8.h"

namespace pellora {
namespace {

TEST(Utf8, ReadsCharactersOfEachLength) {
  const auto expect = [](std::string_view text, std::uint32_t code, std::size_t length) {
    EXPECT_EQ(FirstUtf8Char(text).code, code) << text;
    EXPECT_EQ(FirstUtf8Char(text).length, length) << text;
  };
  expect("az", 'a', 1);
  expect("\xC3\xA9z", 0xE9, 2);
  expect("\xE2\x82\xACz", 0x20AC, 3);
  expect("\xF0\x9F\x98\x80z", 0x1F600, 4);
}

TEST(Utf8, RefusesWhatIsNotWellFormed) {
  for (const char* const text : {"\x80", "\xC3", "\xC0\xAF", "\xE0\x80\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80",
                                 "\xF8\x88\x80\x80\x80", "\xE2\x28\xA1", "\xFF"}) {
    EXPECT_EQ(FirstUtf8Char(text).length, 0U) << text;
    EXPECT_FALSE(IsUtf8(std::string("a") + text)) << text;
  }
  EXPECT_EQ(FirstUtf8Char("").length, 0U);
  EXPECT_TRUE(IsUtf8(""));
  EXPECT_TRUE(IsUtf8("a\xE2\x82\xAC"));
}

TEST(Utf8, WritesWhatItReads) {
  for (const std::uint32_t code : {0x24U, 0x7FU, 0x80U, 0x7FFU, 0x800U, 0xFFFFU, 0x10000U, 0x10FFFFU}) {
    std::string text;
    AppendUtf8(text, code);
    EXPECT_EQ(FirstUtf8Char(text).code, code);
    EXPECT_EQ(FirstUtf8Char(text).length, text.size());
  }
}

TEST(Utf8, TakesLatin1ByteByByte) { EXPECT_EQ(Utf8FromLatin1("a\xE9\xFF"), "a\xC3\xA9\xC3\xBF"); }

TEST(Utf8, CutsBeforeACharacterThatDoesNotFit) {
  EXPECT_EQ(Utf8Prefix("a\xE2\x82\xAC", 4), "a\xE2\x82\xAC");
  EXPECT_EQ(Utf8Prefix("a\xE2\x82\xAC", 3), "a");
  EXPECT_EQ(Utf8Prefix("\xE2\x82\xAC", 2), "");
}

}  // namespace
}  // namespace pellora
