// Directions: characters that change the writing direction of the text after them, with which "gpj.exe" could read
// "exe.jpg". Names from servers are never shown or printed with them.
#pragma once

namespace pellora {

// Embeddings, overrides and isolates.
constexpr bool ChangesDirection(char16_t code) {
  return (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
}

}  // namespace pellora
