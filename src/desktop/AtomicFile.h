// AtomicFile: small files that are replaced whole or not at all.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace pellora {

// The content of a file of at most 16 MiB; nothing if it does not exist. Other failures are Failure(File).
std::optional<std::string> ReadSmallFile(const std::string& path);

// Writes beside `path`, flushes and renames. A link is followed, so that it stays one; an existing file
// keeps its access rights and a new one gets `mode`. Missing folders are created, with mode 0700 each.
void ReplaceFile(const std::string& path, std::string_view content, unsigned mode);

// ReplaceFile unless the file has that content already.
void UpdateFile(const std::string& path, std::string_view content, unsigned mode);

}  // namespace pellora
