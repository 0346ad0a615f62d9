// UrlList: the addresses in a text of many: what was pasted or dropped, or a file of addresses.
//
// Each line has one address; more on its line, after a tab, are ignored, and so are lines that begin with "#", empty
// lines, the indented options that some programs write below an address, and whatever else does not begin like an
// address. Lines end in LF, CRLF or CR; a byte order mark is skipped, and a NUL ends the text.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace pellora {

inline constexpr std::size_t kMostAddresses = 10'000;
inline constexpr std::size_t kLongestUrlList = std::size_t{4} << 20;  // bytes; what follows is not read

struct UrlListReading {
  std::vector<std::string> addresses;  // without blanks around them, in the order of the text, doubles too
  bool cut = false;                    // there was more than is read
};
UrlListReading ReadUrlList(std::string_view text);

}  // namespace pellora
