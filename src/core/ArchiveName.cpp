#include "core/ArchiveName.h"

#include <algorithm>
#include <array>
#include <string>

#include "core/Ascii.h"

namespace pellora {

bool IsArchiveName(std::string_view name) {
  constexpr std::array<std::string_view, 31> kEndings = {
      "zip",  "zipx", "jar",  "war",  "ear",  "aar",  "apk",   "xapk", "apks", "ipa", "docx",
      "docm", "dotx", "xlsx", "xlsm", "xltx", "pptx", "pptm",  "potx", "odt",  "ods", "odp",
      "odg",  "epub", "cbz",  "xpi",  "crx",  "whl",  "nupkg", "vsix", "kmz"};
  const std::size_t dot = name.rfind('.');
  if (dot == std::string_view::npos) return false;
  const std::string ending = ToLower(name.substr(dot + 1));
  return std::find(kEndings.begin(), kEndings.end(), ending) != kEndings.end();
}

}  // namespace pellora
