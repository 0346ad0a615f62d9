// SelectionFiles: files beside the journal with what downloads have chosen of archives, one for each. They are on the
// disk before the journal names them, never change, and go with their downloads. Where an archive has changed, its
// download gets another file: the journal's line that names it says what of it is here, too.
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
// For the same download's next selection: no file of this download has had this name.
std::string FollowingSelectionName(const std::string& name, std::uint64_t id);
std::string SelectionPath(const Journal& journal, const std::string& name);

// Both may wait for the disk. Failure(File), also for a file that makes no sense.
void WriteSelection(DownloadFiles& files, const std::string& path, const Selection& selection);
Selection LoadSelection(Files& files, const std::string& path);

// In the background. Nothing for what is no name of a selection: the journal may be damaged.
void DeleteSelection(const Platform& platform, const Journal& journal, const std::string& name);
// At a start: those that no download names. A kill came before the journal's line, or before they were deleted.
void DeleteOrphanedSelections(const Platform& platform, const Journal& journal);

// Under this the archive's password is known, and asked for.
LoginPlace PasswordPlace(const Selection& selection, std::uint64_t id);
inline constexpr const char* kArchivePlace = "archive";  // its scheme

}  // namespace pellora
