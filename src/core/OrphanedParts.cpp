#include "core/OrphanedParts.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <unordered_set>

#include "core/FileNames.h"
#include "core/ListFile.h"
#include "core/PartFiles.h"
#include "core/Program.h"
#include "ports/Failure.h"
#include "ports/Files.h"
#include "ports/Platform.h"

namespace pellora {

namespace {

using Paths = std::unordered_set<std::string>;

bool HasBytes(const Files& files, const std::string& path, std::int32_t count) {
  std::uint64_t length = 0;
  return Skip([&] { length = files.LengthOf(path); }) &&
         static_cast<std::int64_t>(length) >= static_cast<std::int64_t>(count);
}

bool OutputIsComplete(const Files& files, const DownloadRecord& record) {
  return record.FileSize > 0 && HasBytes(files, record.SavePath, record.FileSize);
}

// Joined parts were complete. A short one is being downloaded: another copy of the program, with its own list, may
// share the folder.
bool PartsAreComplete(const Files& files, const DownloadRecord& record, const Paths& found) {
  return std::all_of(record.Segments.begin(), record.Segments.end(), [&](const SegmentRecord& segment) {
    return !found.contains(segment.TempFile) || HasBytes(files, segment.TempFile, segment.RangeSize);
  });
}

// Records lost with a damaged list may be restored from its copy, and need their parts.
bool AllRecordsAreKnown(const Program& program) {
  return !program.keepDamagedList && !program.platform.files.Exists(DamagedListPath(program));
}

}  // namespace

void RemoveOrphanedParts(Program& program) {
  Files& files = program.platform.files;
  if (!AllRecordsAreKnown(program)) return;
  std::string folder = program.settings.TempFolder;
  while (folder.ends_with('/')) folder.pop_back();
  Paths found;
  for (std::string& name : files.FilesIn(folder.empty() ? "/" : folder)) {
    if (IsPartFileName(name)) found.insert(name.insert(0, folder + "/"));
  }
  if (found.empty()) return;
  for (int i = 1; i <= program.DownloadCount; ++i) {
    const DownloadRecord& record = program.Download(i);
    if (!record.InUse) continue;
    found.erase(folder + "/" + NameOf(record.SavePath));  // by name, since two paths may lead to one folder
    if (record.Finished) continue;
    for (const SegmentRecord& segment : record.Segments) found.erase(segment.TempFile);
  }
  for (int i = 1; i <= program.DownloadCount; ++i) {
    const DownloadRecord& record = program.Download(i);
    if (!record.InUse || !record.Finished || !PartsAreComplete(files, record, found)) continue;
    for (const SegmentRecord& segment : record.Segments) {
      if (!found.contains(segment.TempFile) || !OutputIsComplete(files, record)) continue;
      DeletePart(files, segment.TempFile);
      found.erase(segment.TempFile);
    }
  }
}

}  // namespace pellora
