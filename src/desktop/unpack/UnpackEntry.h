// UnpackEntry: decodes one entry of a ZIP archive, whose packed bytes are read from one descriptor, into another one.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "desktop/unpack/Protocol.h"
#include "ports/Unpacker.h"

namespace pellora {

// Of a line without its line feed; nothing if it is none.
std::optional<PackedEntry> ParseOrder(std::string_view line);

// The local header that libarchive's streaming reader is given in place of the archive's own: with the directory's
// sizes, and without the flag that puts them after the data, which that reader cannot unpack in every method.
std::string LocalHeader(const PackedEntry& entry);

UnpackExit UnpackEntry(const PackedEntry& entry, int from, int to);

}  // namespace pellora
