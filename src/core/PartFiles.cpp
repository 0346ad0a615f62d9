#include "core/PartFiles.h"

#include <algorithm>

#include "core/Ascii.h"
#include "core/Record.h"
#include "ports/Failure.h"
#include "ports/Files.h"

namespace pellora {

bool IsPartFileName(std::string_view path) {
  if (!path.ends_with(kPartEnding)) return false;
  path.remove_suffix(kPartEnding.size());
  if (path.size() < kPartDigits) return false;
  const std::string_view digits = path.substr(path.size() - kPartDigits);
  return std::all_of(digits.begin(), digits.end(), IsDigit);
}

bool PlanIsUsable(const Files& files, const DownloadRecord& record) {
  for (int i = 1; i <= record.SegmentCount; ++i) {
    const std::string& path = record.Segment(i).TempFile;
    if (!IsPartFileName(path) || files.LookAtPart(path) == PartName::Foreign) return false;
  }
  return true;
}

void DeletePart(Files& files, const std::string& path) {
  if (!IsPartFileName(path) || files.LookAtPart(path) != PartName::Own) return;
  Skip([&] { files.Delete(path); });
}

}  // namespace pellora
