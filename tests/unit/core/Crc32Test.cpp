#include <gtest/gtest.h>

#include <string>

#include "core/Crc32.h"

namespace pellora {
namespace {

std::uint32_t BitByBit(std::string_view bytes) {
  std::uint32_t crc = ~0U;
  for (const char c : bytes) {
    crc ^= static_cast<unsigned char>(c);
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1U) ^ ((crc & 1U) != 0 ? 0xEDB88320U : 0U);
  }
  return ~crc;
}

TEST(Crc32, IsThatOfZipAndEthernet) {
  EXPECT_EQ(Crc32("123456789"), 0xCBF43926U);
  EXPECT_EQ(Crc32("56789", Crc32("1234")), 0xCBF43926U);
}

TEST(Crc32, OfAnyLengthAndInAnyTwoPartsIsThatOfTheDefinition) {
  std::string bytes;
  for (int length = 0; length < 40; ++length) {
    const std::uint32_t expected = BitByBit(bytes);
    for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
      const std::string_view all = bytes;
      EXPECT_EQ(Crc32(all.substr(cut), Crc32(all.substr(0, cut))), expected) << length << " cut at " << cut;
    }
    bytes += static_cast<char>(length * 71 + 200);
  }
}

}  // namespace
}  // namespace pellora
