#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "core/Pieces.h"

namespace pellora {
namespace {

PieceHashes Some(std::size_t count, std::int64_t length = 100) {
  return {ChecksumKind::Md5, length, std::vector<std::string>(count, std::string(32, 'a'))};
}

TEST(Pieces, AreOfAFileThatTheyCoverExactly) {
  EXPECT_TRUE(AreOfFile(Some(2), 200));
  EXPECT_TRUE(AreOfFile(Some(2), 101));
  EXPECT_FALSE(AreOfFile(Some(2), 100));
  EXPECT_FALSE(AreOfFile(Some(2), 201));
  EXPECT_FALSE(AreOfFile(Some(0), 0));
  EXPECT_FALSE(AreOfFile(Some(0), -1));
  EXPECT_FALSE(AreOfFile(Some(1, 0), 1));
  EXPECT_TRUE(AreOfFile(Some(1, INT64_MAX), INT64_MAX));
}

TEST(Pieces, NeedDigitsOfTheirKind) {
  PieceHashes pieces = Some(2);
  pieces.hex.back().pop_back();
  EXPECT_FALSE(AreOfFile(pieces, 200));
}

TEST(Pieces, ReadWhatTheyWrite) {
  for (const std::size_t count : {1U, 2U, 2048U}) EXPECT_EQ(ParsePieces(PiecesText(Some(count))), Some(count));
}

TEST(Pieces, AreFewEnoughForTheJournalUpTo64KiBOfDigits) {
  EXPECT_TRUE(AreFewEnough(Some(2048)));
  EXPECT_FALSE(AreFewEnough(Some(2049)));
  EXPECT_FALSE(ParsePieces(PiecesText(Some(2049))));
}

TEST(Pieces, OtherTextsAreNone) {
  const std::string digits(32, '0');
  EXPECT_TRUE(ParsePieces("md5:1:" + digits));
  for (const std::string& text :
       {std::string(), std::string("md5"), std::string("md5:1"), std::string("md5:1:"), "md5:0:" + digits,
        "md5:-1:" + digits, "md5::" + digits, "md5:1x:" + digits, "md5:1:" + digits + "0", "md5:1:" + digits + ":",
        "md4:1:" + digits, "sha-1:1:" + digits, "md5:1:" + std::string(32, 'A'), "md5:1:" + std::string(32, 'g'),
        "md5:99999999999999999999:" + digits}) {
    EXPECT_FALSE(ParsePieces(text)) << text;
  }
}

}  // namespace
}  // namespace pellora
