// Crc32: the check sum of Ethernet and ZIP (polynomial 0xEDB88320, reflected).
#pragma once

#include <cstdint>
#include <string_view>

namespace pellora {

// `before` is that of the bytes in front of these.
std::uint32_t Crc32(std::string_view bytes, std::uint32_t before = 0);

}  // namespace pellora
