#include "core/FileNames.h"

#include <algorithm>

#include "core/PartFiles.h"

namespace pellora {

namespace {

constexpr std::string_view kForbidden = "?/\\:*<>'";
constexpr std::size_t kLongestName = 255;  // bytes, on every file system in common use

std::string IndexText(int recordIndex) { return recordIndex > 0 ? std::to_string(recordIndex) : std::string(); }

}  // namespace

bool IsBadFileName(std::string_view name, std::string_view text951) {
  if (name.empty()) return false;
  return name.find_first_of(kForbidden) != std::string_view::npos || name.find(text951) != std::string_view::npos;
}

bool IsStorableName(std::string_view name, int recordIndex) {
  if (name.find('\0') != std::string_view::npos) return false;
  return name.size() + IndexText(recordIndex).size() + kPartDigits + kPartEnding.size() <= kLongestName;
}

std::string FolderOf(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string_view::npos) return {};
  return std::string(path.substr(0, std::max<std::size_t>(slash, 1)));
}

std::string NameOf(std::string_view path) { return std::string(path.substr(path.rfind('/') + 1)); }

std::string JoinFolder(std::string_view folder, std::string_view name) {
  std::string path(folder);
  if (!path.empty() && path.back() != '/') path += '/';
  return path.append(name);
}

std::string PartFileName(std::string_view tempFolder, std::string_view fileName, int segment, int recordIndex) {
  std::string number = std::to_string(segment);
  if (number.size() < kPartDigits) number.insert(0, kPartDigits - number.size(), '0');
  return JoinFolder(tempFolder, fileName).append(IndexText(recordIndex)).append(number).append(kPartEnding);
}

}  // namespace pellora
