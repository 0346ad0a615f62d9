#include "core/LeftParts.h"

#include <cstdint>
#include <string>
#include <unordered_set>

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

}  // namespace

void DeleteLeftParts(Program& program) {
  Files& files = program.platform.files;
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
    found.erase(record.SavePath);  // a download's file, whatever its name
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
