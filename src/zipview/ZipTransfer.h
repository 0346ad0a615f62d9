// ZipTransfer: the wire of the online viewer. Two ranged requests, and what of their replies is data.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/Record.h"

namespace pellora {

// Asks for bytes `first` to `last` of the record's file. Both go out as they stand, also below 0. The
// referer is the host, whatever the record's own.
std::string ZipRequest(const DownloadRecord& record, std::int64_t first, std::int64_t last);

// Adds a block that arrived to `buffer`, of which `wanted` bytes are kept. True once it holds them all.
//
// A block with the word "content-type" anywhere in it is taken for the start of a reply and loses everything
// up to its first empty line, or its first three characters where it has none. Nothing else tells a header
// from data: not the status, not the length.
bool TakeZipBlock(std::string& buffer, std::string_view block, std::size_t wanted);

}  // namespace pellora
