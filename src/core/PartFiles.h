// PartFiles: which files the program takes for its part files.
//
// A name in the list proves nothing: the list may be damaged, or come from elsewhere, and anybody may have put a link
// in the folder for temporary files. A file counts as a part by its name's form and by what LookAtPart finds there.
// Whatever does not count is never read, written or deleted.
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

// Each segment of the plan has a file that counts as a part, or none yet.
bool PlanIsUsable(const Files& files, const DownloadRecord& record);

// Deletes the file if it counts as a part. A deletion that fails is ignored.
void DeletePart(Files& files, const std::string& path);

}  // namespace pellora
