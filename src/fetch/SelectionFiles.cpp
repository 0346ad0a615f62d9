#include "fetch/SelectionFiles.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <set>
#include <string_view>

#include "core/FileNames.h"
#include "fetch/Journal.h"
#include "fetch/SelectionCodec.h"
#include "ports/Background.h"
#include "ports/DownloadFiles.h"
#include "ports/Failure.h"
#include "ports/Files.h"
#include "ports/Platform.h"

namespace pellora {

namespace {

constexpr std::uint64_t kLongest = std::uint64_t{1} << 30;

std::string Beginning(const Journal& journal) { return NameOf(journal.Path()) + "."; }

bool IsNumber(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// The id, and from the second selection of a download on a dot and its number.
bool IsEnding(std::string_view text) {
  const std::size_t dot = text.find('.');
  return IsNumber(text.substr(0, dot)) && (dot == std::string_view::npos || IsNumber(text.substr(dot + 1)));
}

bool IsSelectionName(const Journal& journal, std::string_view name) {
  const std::string beginning = Beginning(journal);
  return name.starts_with(beginning) && IsEnding(name.substr(beginning.size()));
}

}  // namespace

std::string SelectionNameOf(const Journal& journal, std::uint64_t id) {
  return Beginning(journal) + std::to_string(id);
}

std::string FollowingSelectionName(const std::string& name, std::uint64_t id) {
  const std::string ofId = "." + std::to_string(id);
  const std::size_t dot = name.rfind('.');
  const std::string beforeDot = name.substr(0, dot);
  if (!beforeDot.ends_with(ofId)) return name + ".2";
  std::uint64_t number = 0;
  std::from_chars(name.data() + dot + 1, name.data() + name.size(), number);
  return beforeDot + "." + std::to_string(number + 1);
}

std::string SelectionPath(const Journal& journal, const std::string& name) {
  return JoinFolder(FolderOf(journal.Path()), name);
}

void WriteSelection(DownloadFiles& files, const std::string& path, const Selection& selection) {
  files.Replace(path, SelectionText(selection));
}

Selection LoadSelection(Files& files, const std::string& path) {
  std::optional<Selection> read = ReadSelection(ReadWholeFile(files, path, kLongest));
  if (!read) throw Failure(FailureNumber::File, path);
  return std::move(*read);
}

void DeleteSelection(const Platform& platform, const Journal& journal, const std::string& name) {
  if (!IsSelectionName(journal, name)) return;
  platform.background.Run([files = &platform.files, path = SelectionPath(journal, name)] { files->Delete(path); },
                          [](const std::exception_ptr&) {});
}

void DeleteOrphanedSelections(const Platform& platform, const Journal& journal) {
  if (journal.Damaged()) return;  // it may have named them
  std::set<std::string> named;
  for (const auto& [key, entry] : journal.All()) named.insert(entry.selection);
  std::vector<std::string> found;
  Skip([&] { found = platform.files.FilesIn(FolderOf(journal.Path())); });
  for (const std::string& name : found) {
    if (IsSelectionName(journal, name) && !named.contains(name)) DeleteSelection(platform, journal, name);
  }
}

LoginPlace PasswordPlace(const Selection& selection, std::uint64_t id) {
  return {kArchivePlace, selection.archive, 0, std::to_string(id)};
}

}  // namespace pellora
