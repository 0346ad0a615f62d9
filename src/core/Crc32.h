// Crc32: the check sum of Ethernet and ZIP (polynomial 0xEDB88320, reflected).
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace pellora {

// `before` is that of the bytes in front of these.
constexpr std::uint32_t Crc32(std::string_view bytes, std::uint32_t before = 0) {
  constexpr auto kTable = [] {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t i = 0; i < table.size(); ++i) {
      std::uint32_t value = i;
      for (int bit = 0; bit < 8; ++bit) value = (value >> 1U) ^ ((value & 1U) != 0 ? 0xEDB88320U : 0U);
      table[i] = value;
    }
    return table;
  }();
  std::uint32_t crc = ~before;
  for (const char c : bytes) crc = (crc >> 8U) ^ kTable[(crc ^ static_cast<unsigned char>(c)) & 0xFFU];
  return ~crc;
}

static_assert(Crc32("123456789") == 0xCBF43926U);
static_assert(Crc32("56789", Crc32("1234")) == 0xCBF43926U);

}  // namespace pellora
