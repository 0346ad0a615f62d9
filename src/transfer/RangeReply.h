// RangeHeaderLength: how much of a block that arrived for a segment is the header of the reply.
//
// Every block of a segment passes here, not only the first, so an ordinary block of body costs seven
// comparisons. Nothing is allocated.
#pragma once

#include <cstddef>
#include <string_view>

namespace pellora {

// Bytes to drop at the start of `block`. 0 for a block that is no reply of status 206 (or 200 from
// HTTP/1.1): such a reply is stored as if it were body. A reply whose header does not end in this block
// loses three characters.
std::size_t RangeHeaderLength(std::string_view block);

}  // namespace pellora
