// ChecksumList: lists of checksums as they lie beside files, "SHA256SUMS" and the like.
//
// A line of GNU coreutils is "DIGITS  NAME", or "DIGITS *NAME"; a BSD one is "KIND (NAME) = DIGITS". A "\" before
// either says that in the name "\\", "\n" and "\r" are escaped. All other lines count for nothing, signatures too.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/Checksum.h"

namespace pellora {

// The strongest checksum that the list has for `name`; a "./" before the listed name is dropped, other folders are not
// this one. Nothing if the name is not listed, or twice with different digits of that kind.
std::optional<Checksum> ListedChecksum(std::string_view list, std::string_view name);

// The same of a list for one file, "NAME.sha256", which may also have the digits alone.
std::optional<Checksum> ListedChecksumOfOne(std::string_view list, std::string_view name);

}  // namespace pellora
