// FileNameFromReply: what a downloaded file is called.
//
// The name is Content-Disposition's (RFC 6266, with the encoding of RFC 8187), else the last part of the final
// address's path, decoded. Names are UTF-8 of at most 240 bytes, never empty, and harmless on every disk: one part of a
// path, without control characters and those that reverse or hide text, not hidden, no option of a command, no device.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "core/WebAddress.h"
#include "ports/Fetcher.h"

namespace pellora {

inline constexpr std::size_t kLongestFileName = 240;  // bytes; leaves room for the part file's ending

std::string FileNameFromReply(const FetchAnswer& answer, const WebAddress& address);

// The name that Content-Disposition gives, not yet made harmless: filename* before filename, without any folders. Empty
// if it gives none.
std::string DispositionName(std::string_view value);

// Any bytes as a harmless name; what is not UTF-8 is read as ISO-8859-1. Empty if nothing is left of it.
std::string HarmlessName(std::string_view name);

// "NAME (2).ext" for 2; the name itself for 1. Ends like ".tar.gz" stay together.
std::string NumberedName(const std::string& name, int number);

// The next name to try where `name` is taken: "NAME (2).ext", after that "NAME (3).ext".
std::string FollowingName(const std::string& name);

// What the file is called until it is complete; cut if `name` is longer than kLongestFileName.
std::string PartNameOf(const std::string& name);

}  // namespace pellora
