// Names of the files that a download writes, and which names are refused.
#pragma once

#include <string>
#include <string_view>

namespace pellora {

// True for a name that holds one of ? / \ : * < > ' or `text951` as a whole. An empty `text951` is found
// in every name but the empty one; the empty name is never bad.
bool IsBadFileName(std::string_view name, std::string_view text951);

// False for a name that no part file can begin with: with a NUL in it, or too long for the disk once the
// part files' number, and `recordIndex` if it is above 0, are appended. The empty name fits, and so do "."
// and "..": that no file can be made of them is found when the output is built.
bool IsStorableName(std::string_view name, int recordIndex = 0);

// The folder that `path` lies in, without the "/" behind it unless it is the root; "" for a name without a folder.
std::string FolderOf(std::string_view path);

// `folder` and `name` with one "/" between them; an empty folder is left out.
std::string JoinFolder(std::string_view folder, std::string_view name);

// The part file of segment `segment`, counted from 1: "a.zip" gives ".../a.zip001.tmp". A `recordIndex`
// above 0 goes between name and number; it keeps records of the same file name apart.
std::string PartFileName(std::string_view tempFolder, std::string_view fileName, int segment, int recordIndex = 0);

}  // namespace pellora
