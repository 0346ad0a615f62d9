// LinkList: the addresses in a list of links, as a drag from another program offers it (RFC 2483, section 5).
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace pellora {

// The links of the list that `takes` accepts, unchanged. Lines end in CRLF or LF; those that begin with "#" are
// comments. A NUL ends the list.
std::vector<std::string> LinksToAdd(std::string_view list, const std::function<bool(std::string_view link)>& takes);

}  // namespace pellora
