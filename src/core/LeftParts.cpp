#include "core/LeftParts.h"

#include <cstdint>
#include <string>
#include <unordered_set>

#include "core/ListFile.h"
#include "core/Program.h"
#include "platform/Failure.h"
#include "platform/Files.h"
#include "platform/Platform.h"

namespace pellora {

namespace {

bool StandsWhole(const Files& files, const DownloadRecord& record) {
  std::uint64_t length = 0;
  return record.FileSize > 0 && Skip([&] { length = files.LengthOf(record.SavePath); }) &&
         length >= static_cast<std::uint64_t>(record.FileSize);
}

std::string NameOf(const std::string& path) { return path.substr(path.rfind('/') + 1); }

// What could not be read of a damaged list, and may be brought back from its copy, counts on its parts too.
bool AllRecordsAreKnown(const Program& program) {
  return !program.keepDamagedList && !program.platform.files.Exists(DamagedListPath(program));
}

}  // namespace

void DeleteLeftParts(Program& program) {
  Files& files = program.platform.files;
  if (!AllRecordsAreKnown(program)) return;
  std::string folder = program.settings.TempFolder;
  while (folder.ends_with('/')) folder.pop_back();
  std::unordered_set<std::string> found;
  for (std::string& name : files.FilesIn(folder.empty() ? "/" : folder)) {
    if (name.ends_with(".tmp")) found.insert(name.insert(0, folder + "/"));
  }
  if (found.empty()) return;
  for (int i = 1; i <= program.DownloadCount; ++i) {
    const DownloadRecord& record = program.Download(i);
    if (!record.InUse) continue;
    found.erase(folder + "/" + NameOf(record.SavePath));  // by its name, since two paths may lead to one folder
    if (record.Finished) continue;
    for (const SegmentRecord& segment : record.Segments) found.erase(segment.TempFile);
  }
  for (int i = 1; i <= program.DownloadCount; ++i) {
    const DownloadRecord& record = program.Download(i);
    if (!record.InUse || !record.Finished) continue;
    for (const SegmentRecord& segment : record.Segments) {
      if (!found.contains(segment.TempFile) || !StandsWhole(files, record)) continue;
      Skip([&] { files.Delete(segment.TempFile); });
      found.erase(segment.TempFile);
    }
  }
}

}  // namespace pellora
