// Percent: bytes as "%XX" and back (RFC 3986, section 2.1).
#pragma once

#include <string>
#include <string_view>

namespace pellora {

// The value of a hexadecimal digit in either case; -1 for any other character.
int HexValue(char c);
// "%XX" with upper-case digits.
void AppendPercent(std::string& out, char byte);
// Each "%XX" as its byte. A "%" without two digits stays as it is.
std::string PercentDecoded(std::string_view text);

}  // namespace pellora
