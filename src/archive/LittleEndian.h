// LittleEndian: numbers in the bytes of an archive.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace pellora {

// `length` bytes at `at`, the lowest first. Bytes beyond the end of the text count as 0.
constexpr std::uint64_t LittleEndian(std::string_view text, std::size_t at, std::size_t length) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < length && at + i < text.size(); ++i) {
    value |= static_cast<std::uint64_t>(static_cast<unsigned char>(text[at + i])) << (8U * i);
  }
  return value;
}
constexpr std::uint16_t LittleEndian16(std::string_view text, std::size_t at) {
  return static_cast<std::uint16_t>(LittleEndian(text, at, 2));
}
constexpr std::uint32_t LittleEndian32(std::string_view text, std::size_t at) {
  return static_cast<std::uint32_t>(LittleEndian(text, at, 4));
}
// Held at the largest signed value, which no file reaches.
constexpr std::int64_t LittleEndian64(std::string_view text, std::size_t at) {
  const std::uint64_t value = LittleEndian(text, at, 8);
  return value > static_cast<std::uint64_t>(INT64_MAX) ? INT64_MAX : static_cast<std::int64_t>(value);
}

}  // namespace pellora
