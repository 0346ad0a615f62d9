// Utf8: well-formed UTF-8 (RFC 3629) among bytes of any origin.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace pellora {

// One character at the start of a text. Length 0: the text is empty or does not begin with a well-formed character
// (overlong forms and surrogates are not).
struct Utf8Char {
  std::uint32_t code = 0;
  std::size_t length = 0;  // bytes
};

Utf8Char FirstUtf8Char(std::string_view text);
bool IsUtf8(std::string_view text);
void AppendUtf8(std::string& out, std::uint32_t code);
// Every byte as the character of ISO-8859-1.
std::string Utf8FromLatin1(std::string_view bytes);
// The longest start of a well-formed text that has at most `limit` bytes and cuts no character.
std::string_view Utf8Prefix(std::string_view text, std::size_t limit);

}  // namespace pellora
