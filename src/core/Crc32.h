// Crc32: the check sum of Ethernet and ZIP (polynomial 0xEDB88320, reflected).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace pellora {

// Of each byte with so many zeros after it: four bytes at a time take a third of the time of one at a time.
inline constexpr auto kCrcTables = [] {
  std::array<std::array<std::uint32_t, 256>, 4> tables{};
  for (std::uint32_t i = 0; i < 256; ++i) {
    std::uint32_t value = i;
    for (auto& table : tables) {
      for (int bit = 0; bit < 8; ++bit) value = (value >> 1U) ^ ((value & 1U) != 0 ? 0xEDB88320U : 0U);
      table[i] = value;
    }
  }
  return tables;
}();

// `before` is that of the bytes in front of these.
constexpr std::uint32_t Crc32(std::string_view bytes, std::uint32_t before = 0) {
  const auto byte = [&bytes](std::size_t at) { return std::uint32_t{static_cast<unsigned char>(bytes[at])}; };
  std::uint32_t crc = ~before;
  std::size_t at = 0;
  for (; bytes.size() - at >= kCrcTables.size(); at += kCrcTables.size()) {
    crc ^= byte(at) | byte(at + 1) << 8U | byte(at + 2) << 16U | byte(at + 3) << 24U;
    crc = kCrcTables[3][crc & 0xFFU] ^ kCrcTables[2][crc >> 8U & 0xFFU] ^ kCrcTables[1][crc >> 16U & 0xFFU] ^
          kCrcTables[0][crc >> 24U];
  }
  for (; at < bytes.size(); ++at) crc = (crc >> 8U) ^ kCrcTables[0][(crc ^ byte(at)) & 0xFFU];
  return ~crc;
}

static_assert(Crc32("123456789") == 0xCBF43926U);
static_assert(Crc32("56789", Crc32("1234")) == 0xCBF43926U);

}  // namespace pellora
