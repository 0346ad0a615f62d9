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

// `text` with every byte below 0x21 and 0x7f as "%XX"; all else as it stands.
std::string WireText(std::string_view text);

// Asks for the whole file. `proxy`: the target is the whole URL, without blanks around it. The Referer line goes out
// only if there is a referer. Ends in two empty lines.
std::string ProbeRequest(const DownloadRecord& record, bool proxy);

// Asks for what `segment` still lacks. The Referer line always goes out. Ends in one empty line.
std::string SegmentRequest(const DownloadRecord& record, const SegmentRecord& segment, bool proxy);

}  // namespace pellora
