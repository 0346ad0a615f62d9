// LinkList: the addresses in a list of links, as a drag from another program offers it (RFC 2483, section 5).
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace pellora {

// The http and ftp links of the list, unchanged. Lines end in CRLF or LF; those that begin with "#" are comments. A NUL
// ends the list.
std::vector<std::string> LinksToAdd(std::string_view list);

}  // namespace pellora
