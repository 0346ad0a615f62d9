#include "capture/TrayTip.h"

namespace pellora {

std::string TrayTip(std::string_view text) {
  constexpr std::size_t kMostCharacters = 64;
  text = text.substr(0, text.find('\0'));
  std::size_t characters = 0;
  std::size_t end = 0;
  for (; end < text.size(); ++end) {
    const bool continues = (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U;
    if (continues && characters > 0) continue;
    if (characters == kMostCharacters) break;
    ++characters;
  }
  return std::string(text.substr(0, end));
}

}  // namespace pellora
