// FileNameFromReply: what a downloaded file is called.
//
// The name is Content-Disposition's (RFC 6266, with the encoding of RFC 8187), else the last part of the final
// address's path, decoded; harmless (HarmlessName) and never empty.
#pragma once

#include <string>
#include <string_view>

#include "core/HarmlessName.h"
#include "core/WebAddress.h"
#include "ports/Fetcher.h"

namespace pellora {

std::string FileNameFromReply(const FetchAnswer& answer, const WebAddress& address);

// The name that Content-Disposition gives, not yet made harmless: filename* before filename, without any folders. Empty
// if it gives none.
std::string DispositionName(std::string_view value);

}  // namespace pellora
