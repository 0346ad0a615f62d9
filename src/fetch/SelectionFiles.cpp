#include "fetch/SelectionFiles.h"

#include <algorithm>
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

}  // namespace

std::string SelectionNameOf(const Journal& journal, std::uint64_t id) {
  return Beginning(journal) + std::to_string(id);
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
  if (name.empty()) return;
  platform.background.Run([files = &platform.files, path = SelectionPath(journal, name)] { files->Delete(path); },
                          [](const std::exception_ptr&) {});
}

void DeleteOrphanedSelections(const Platform& platform, const Journal& journal) {
  if (journal.Damaged()) return;  // it may have named them
  std::set<std::string> named;
  for (const auto& [key, entry] : journal.All()) named.insert(entry.selection);
  const std::string beginning = Beginning(journal);
  std::vector<std::string> found;
  Skip([&] { found = platform.files.FilesIn(FolderOf(journal.Path())); });
  for (const std::string& name : found) {
    const bool isOne = name.starts_with(beginning) && IsNumber(std::string_view(name).substr(beginning.size()));
    if (isOne && !named.contains(name)) DeleteSelection(platform, journal, name);
  }
}

LoginPlace PasswordPlace(const Selection& selection, std::uint64_t id) {
  return {kArchivePlace, selection.archive, 0, std::to_string(id)};
}

}  // namespace pellora
