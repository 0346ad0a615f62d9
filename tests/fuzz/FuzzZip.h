// FuzzZip: the whole way of bytes from a server through the archive viewer's pure functions. It checks what
// must hold for any bytes whatever, and ends the process where it does not.
#pragma once

#include <cstddef>
#include <cstdint>

namespace pellora {

// The first two bytes choose the number of entries, the third where the reply is cut in two, the fourth the
// bytes wanted; the rest is the reply.
void FuzzZip(const std::uint8_t* data, std::size_t size);

}  // namespace pellora
