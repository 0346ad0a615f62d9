#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>

#include "core/Checksum.h"

namespace pellora {
namespace {

TEST(Checksum, DigitsAloneHaveTheKindOfTheirNumber) {
  for (const auto& [digits, kind] : {std::pair{32U, ChecksumKind::Md5}, std::pair{40U, ChecksumKind::Sha1},
                                     std::pair{64U, ChecksumKind::Sha256}, std::pair{128U, ChecksumKind::Sha512}}) {
    const std::optional<Checksum> checksum = ParseChecksum(" " + std::string(digits, 'A') + "\n");
    ASSERT_TRUE(checksum);
    EXPECT_EQ(checksum->kind, kind);
    EXPECT_EQ(checksum->hex, std::string(digits, 'a'));
    EXPECT_EQ(ParseChecksum(ChecksumText(*checksum)), checksum);
  }
}

TEST(Checksum, ANameMustFitTheDigits) {
  const std::string digits(64, '0');
  for (const char* name : {"sha-256:", "SHA256=", "Sha-256 : "}) EXPECT_TRUE(ParseChecksum(name + digits)) << name;
  for (const char* name : {"md5:", "sha-512:", "sha-3:", ":", "="}) EXPECT_FALSE(ParseChecksum(name + digits)) << name;
}

TEST(Checksum, OtherTextsAreNone) {
  for (const std::string& text : {std::string(), std::string("sha-256:"), std::string(31, '0'), std::string(65, '0'),
                                  std::string(32, 'g'), std::string(16, '0') + " " + std::string(15, '0')}) {
    EXPECT_FALSE(ParseChecksum(text)) << text;
  }
}

}  // namespace
}  // namespace pellora
