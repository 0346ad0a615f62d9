// PartFiles: which files count as the program's part files.
//
// A name in the list proves nothing: the list may be damaged or come from elsewhere, and others may have put links into
// the folder for temporary files. The form of the name and what LookAtPart finds there decide. Files that do not count
// are never read, written or deleted.
#pragma once

#include <string>
#include <string_view>

namespace pellora {

class Files;
struct DownloadRecord;

// Part files' names end in three digits and this.
inline constexpr std::string_view kPartEnding = ".tmp";
inline constexpr std::size_t kPartDigits = 3;

bool IsPartFileName(std::string_view path);

// True if each segment's file counts as a part or does not exist yet.
bool PlanIsUsable(const Files& files, const DownloadRecord& record);

// Deletes the file if it counts as a part. Ignores failures.
void DeletePart(Files& files, const std::string& path);

}  // namespace pellora
