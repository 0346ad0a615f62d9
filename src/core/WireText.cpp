#include "core/WireText.h"

namespace pellora {

std::string WireText(std::string_view text) {
  constexpr std::string_view kHex = "0123456789ABCDEF";
  std::string wire;
  wire.reserve(text.size());
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x21 && byte != 0x7f) {
      wire += c;
    } else {
      wire += '%';
      wire += kHex[byte >> 4];
      wire += kHex[byte & 15];
    }
  }
  return wire;
}

}  // namespace pellora
