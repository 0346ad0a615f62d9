// FileNames: names of the files that a download writes, and which names are refused.
#pragma once

#include <string>
#include <string_view>

namespace pellora {

// True for a name that contains one of ? / \ : * < > ' or the whole of `text951`; an empty `text951` is in every name.
// The empty name is never bad.
bool IsBadFileName(std::string_view name, std::string_view text951);

// False for a name that no part file can begin with: one with a NUL, or too long for the disk with the part files'
// number, and `recordIndex` if above 0, appended. The empty name, "." and ".." pass; building the output fails for
// them.
bool IsStorableName(std::string_view name, int recordIndex = 0);

// The folder of `path`, without a final "/" unless it is the root; "" for a name without a folder.
std::string FolderOf(std::string_view path);

// What follows the last "/" of `path`; all of it without one.
std::string NameOf(std::string_view path);

// `folder` and `name` with one "/" between them; an empty folder is left out.
std::string JoinFolder(std::string_view folder, std::string_view name);

// The part file of segment `segment`, counted from 1: "a.zip" gives ".../a.zip001.tmp". A `recordIndex` above 0 goes
// between name and number, to keep records of the same file name apart.
std::string PartFileName(std::string_view tempFolder, std::string_view fileName, int segment, int recordIndex = 0);

}  // namespace pellora
