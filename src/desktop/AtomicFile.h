// AtomicFile: replaces small files completely or not at all.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace pellora {

// The content of a file of at most 16 MiB; nullopt if it does not exist. Other failures throw Failure(File).
std::optional<std::string> ReadSmallFile(const std::string& path);

// Whether a file that is replaced keeps its access rights.
enum class FormerRights { Kept, Dropped };

// Writes beside `path`, flushes and renames. A link is followed and stays a link. The file gets `mode`, if it is new or
// its rights are dropped. Missing folders are created with mode 0700.
void ReplaceFile(const std::string& path, std::string_view content, unsigned mode,
                 FormerRights former = FormerRights::Kept);

// ReplaceFile unless the file has that content already.
void UpdateFile(const std::string& path, std::string_view content, unsigned mode);

// Creates what is missing of the folder's path, with mode 0700. Failure(File).
void CreatePrivateFolders(const std::string& folder);

// Removes the file if there is one. Failure(File).
void RemoveFile(const std::string& path);

// Puts the names in a folder on the disk, where the file system can. Failure(File) if the disk fails or is full.
void FlushNamesIn(const std::string& folder);
void FlushNamesIn(int openFolder, const std::string& path);

}  // namespace pellora
