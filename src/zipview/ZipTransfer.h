// ZipTransfer: the online viewer's two ranged requests, and which bytes of the replies are data.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/Record.h"

namespace pellora {

// Requests bytes `first` to `last` of the record's file, unchecked, even below 0. The referer is the host, not the
// record's.
std::string ZipRequest(const DownloadRecord& record, std::int64_t first, std::int64_t last);

// Appends a received block to `buffer`, which keeps `wanted` bytes. True once it has them all.
//
// A block that contains "content-type" is taken for the start of a reply and loses everything up to its first empty
// line, or its first three characters if it has none. Nothing else tells header from data, neither status nor length.
bool TakeZipBlock(std::string& buffer, std::string_view block, std::size_t wanted);

}  // namespace pellora
