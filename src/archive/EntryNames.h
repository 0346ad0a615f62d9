// EntryNames: what the names in an archive's directory mean.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "archive/ArchiveDirectory.h"

namespace pellora {

// The code page in which old archivers wrote names: that of their machine, which nobody recorded.
enum class CodePage : std::uint8_t { Dos437, Dos850, Dos852 };

// The most likely one for a user of the program in this language (base name of its file).
CodePage CodePageOf(std::string_view language);

// The name in UTF-8: the Unicode path of an extra field if it belongs to this name, else the name itself if it is
// UTF-8, flagged or not, else as `page` has it.
std::string EntryName(const ArchiveEntry& entry, CodePage page);

// An absolute path, or one with ".." or a drive.
bool LeadsOut(std::string_view name, bool backslashSeparates);

// The parts of a path below the folder that is unpacked into. Nothing for a name that leads out of it, has
// control characters or no part at all, or a part or length that no disk takes. "." and repeated separators are
// dropped.
std::optional<std::vector<std::string>> EntryPath(std::string_view name, bool backslashSeparates);

// The folder itself that is unpacked into: a name of nothing but "." and separators.
bool IsWholeFolder(std::string_view name, bool backslashSeparates);

}  // namespace pellora
