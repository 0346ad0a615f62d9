// The HTTP requests of a transfer, byte for byte.
//
// Order and ending of the header lines differ between the two on purpose; servers see exactly these
// lines and no other. Blanks and control characters of a record's texts go out percent-encoded, so that
// no text can end its line early.
#pragma once

#include <string>
#include <string_view>

#include "core/Record.h"

namespace pellora {

// Asks for the whole file. `proxy`: the target is the whole URL, without blanks around it. The Referer line goes out
// only if there is a referer. Ends in two empty lines.
std::string ProbeRequest(const DownloadRecord& record, bool proxy);

// Asks for what `segment` still lacks. The Referer line always goes out. Ends in one empty line.
std::string SegmentRequest(const DownloadRecord& record, const SegmentRecord& segment, bool proxy);

}  // namespace pellora
