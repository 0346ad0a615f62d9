// HarmlessName: what a file that comes from elsewhere may be called here.
//
// Names are UTF-8 of at most 240 bytes and harmless on every disk: one part of a path, without control characters and
// those that reverse or hide text, not hidden, no option of a command, no device.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace pellora {

inline constexpr std::size_t kLongestFileName = 240;  // bytes; leaves room for the part file's ending

// Any bytes as a harmless name; what is not UTF-8 is read as ISO-8859-1. Empty if nothing is left of it.
std::string HarmlessName(std::string_view name);

// The last part of what may be a path of any system.
std::string WithoutFolders(std::string_view name);

// Where the extension begins, at its dot; ".tar.gz" is one. The length of the name if it has none.
std::size_t ExtensionStart(std::string_view name);

// `stem` cut so that `ending` fits after it.
std::string FittedName(std::string_view stem, const std::string& ending);

// "NAME (2).ext" for 2; the name itself for 1. Ends like ".tar.gz" stay together.
std::string NumberedName(const std::string& name, int number);

// The next name to try where `name` is taken: "NAME (2).ext", after that "NAME (3).ext".
std::string FollowingName(const std::string& name);

// What the file is called until it is complete; cut if `name` is longer than kLongestFileName.
std::string PartNameOf(const std::string& name);
bool IsPartName(std::string_view name);  // also of a path

}  // namespace pellora
