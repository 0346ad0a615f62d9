// SelectionFiles: files beside the journal with what downloads have chosen of archives, one for each. They are on the
// disk before the journal names them, and go with their downloads.
#pragma once

#include <cstdint>
#include <string>

#include "core/Selection.h"
#include "fetch/Logins.h"

namespace pellora {

class DownloadFiles;
class Files;
class Journal;
struct Platform;

std::string SelectionNameOf(const Journal& journal, std::uint64_t id);
std::string SelectionPath(const Journal& journal, const std::string& name);

// Both may wait for the disk. Failure(File), also for a file that makes no sense.
void WriteSelection(DownloadFiles& files, const std::string& path, const Selection& selection);
Selection LoadSelection(Files& files, const std::string& path);

// In the background. Nothing for an empty name.
void DeleteSelection(const Platform& platform, const Journal& journal, const std::string& name);
// At a start: those that no download names. A kill came before the journal's line, or before they were deleted.
void DeleteOrphanedSelections(const Platform& platform, const Journal& journal);

// Under this the archive's password is known, and asked for.
LoginPlace PasswordPlace(const Selection& selection, std::uint64_t id);
inline constexpr const char* kArchivePlace = "archive";  // its scheme

}  // namespace pellora
