#include "SimExamine.h"

#include <algorithm>
#include <cstdint>
#include <set>

#include "SimPlatform.h"
#include "core/ListCodec.h"
#include "core/ListFile.h"
#include "core/Program.h"
#include "core/RecordLife.h"
#include "ports/Failure.h"

namespace pellora {

namespace {

using Lines = std::vector<std::string>;

std::string WithoutSlash(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

bool PlanHolds(const SegmentRecord& segment) {
  return std::int64_t{segment.RangeEnd} + segment.ReceivedTotal - segment.RangeStart + 1 == segment.RangeSize;
}

// A damaged list may state more segments than it has.
int Segments(const DownloadRecord& record) {
  const auto held = static_cast<int>(record.Segments.size()) - 1;
  return std::min<int>(record.SegmentCount, held);
}

void ExamineSegments(const DownloadRecord& record, const std::string& name, SimPlatform& sim, Lines& wrong) {
  for (int i = 1; i <= Segments(record); ++i) {
    const SegmentRecord& segment = record.Segment(i);
    const std::string what = name + ", segment " + std::to_string(i);
    if (!PlanHolds(segment)) wrong.push_back("plan: " + what);
    if (segment.Received() < 0) wrong.push_back("count: " + what);
    if (record.Finished || segment.Received() <= 0 || segment.TempFile.empty()) continue;
    if (sim.disk().WasLost(segment.TempFile)) continue;
    if (sim.disk().HasForeign(segment.TempFile)) continue;  // the next start or resume drops the plan
    if (static_cast<std::int64_t>(sim.disk().Size(segment.TempFile)) < segment.Received()) {
      wrong.push_back("part: " + what + " counts " + std::to_string(segment.Received()) + " and its file has " +
                      std::to_string(sim.disk().Size(segment.TempFile)));
    }
  }
}

// Another download of the same name may have been allowed to overwrite the file.
bool IsFileNotShared(Program& program, const DownloadRecord& record) {
  int of = 0;
  for (int i = 1; i <= program.DownloadCount; ++i) {
    const DownloadRecord& other = program.Download(i);
    of += other.SavePath == record.SavePath || (!other.HasSavePath && other.FileName == record.FileName) ? 1 : 0;
  }
  return of == 1;
}

void ExamineFinished(const DownloadRecord& record, const std::string& name, SimPlatform& sim, Lines& wrong) {
  if (record.SavePath.empty() || !sim.disk().Has(record.SavePath)) return;
  const std::uint64_t length = sim.disk().Size(record.SavePath);
  if (record.FileSize > 0 && length != static_cast<std::uint64_t>(record.FileSize)) {
    wrong.push_back("length: " + name + " says " + std::to_string(record.FileSize) + ", its file has " +
                    std::to_string(length));
  }
  constexpr std::int32_t kHttpsPort = 443;  // records of the new schemes have the port 0
  const SimServer* const server = sim.network().At(record.Host, record.Port != 0 ? record.Port : kHttpsPort);
  const SimContent* const content = server ? server->Holds(record.Path) : nullptr;
  if (content && !sim.disk().Holds(record.SavePath, *content)) wrong.push_back("bytes: " + name);
}

void ExamineWeb(Program& program, int index, const std::string& name, Lines& wrong) {
  const DownloadRecord& record = program.Download(index);
  const WebFigures* const figures = program.Web(index);
  if (figures == nullptr) return;
  if (!record.InUse) {
    if (record.RestState == kEndedFatally) wrong.push_back("web: " + name + " was taken off the list by a failure");
    return;
  }
  if (figures->standing == WebStanding::Stopped && figures->reason.empty()) {
    wrong.push_back("web: " + name + " is stopped without a reason");
  }
  if ((figures->standing == WebStanding::Finished) != record.Finished) {
    wrong.push_back("web: " + name + " is finished in the list or the figures alone");
  }
  if (record.Active && figures->standing != WebStanding::Active) {
    wrong.push_back("web: " + name + " is active in the list alone");
  }
}

void ExamineList(Program& program, SimPlatform& sim, Lines& wrong) {
  const std::string path = ListPath(program);
  if (!sim.disk().Has(path) || program.keepDamagedList) return;  // damage is known; a copy precedes the next save
  const std::string bytes = sim.disk().Get(path);
  if (bytes.find_first_not_of('\0') == std::string::npos) return;
  ListDecoder decoder(bytes);
  for (int i = 0; i <= decoder.DownloadCount() && decoder.HasMagic(); ++i) {
    DownloadRecord record;
    decoder.Next(record);
    if (i == 0 || !record.InUse) continue;
    for (int segment = 1; segment <= Segments(record); ++segment) {
      if (!PlanHolds(record.Segment(segment))) wrong.push_back("list plan: record " + std::to_string(i));
    }
  }
  if (!decoder.Sound() && !sim.disk().WasCutByPower(path)) wrong.push_back("list: it does not load whole");
}

void ExamineFolders(Program& program, SimPlatform& sim, Lines& wrong) {
  const std::string own = sim.machine().documentsFolder + "/Pellora/";
  std::set<std::string> given = sim.disk().Given();
  given.erase(sim.machine().documentsFolder);
  given.insert({WithoutSlash(program.settings.DownloadFolder), WithoutSlash(program.settings.TempFolder),
                own + "downloads", own + "temp", sim.machine().DataFolder()});
  for (const std::string& path : sim.disk().Made()) {
    if (path.ends_with("/temp.tst")) continue;  // written to test a folder that the user typed
    const std::string folder = WithoutSlash(path.substr(0, path.rfind('/') + 1));
    if (!given.contains(folder)) wrong.push_back(std::string("outside ").append(folder).append(": ").append(path));
  }
}

}  // namespace

std::vector<std::string> FindViolations(Program& program, SimPlatform& sim) {
  Lines wrong;
  for (int i = 1; i <= program.DownloadCount; ++i) {
    const DownloadRecord& record = program.Download(i);
    const std::string name = "record " + std::to_string(i) + " (" + record.FileName + ")";
    ExamineWeb(program, i, name, wrong);
    if (!record.InUse) continue;
    if (record.Active && record.Paused) wrong.push_back("flags: " + name + " transfers and is paused");
    if (record.Active && record.Finished) wrong.push_back("flags: " + name + " transfers and is finished");
    // A name that no file can have makes this fail.
    Skip([&] { ExamineSegments(record, name, sim, wrong); });
    if (!record.Finished || !IsFileNotShared(program, record)) continue;
    Skip([&] { ExamineFinished(record, name, sim, wrong); });
  }
  ExamineList(program, sim, wrong);
  ExamineFolders(program, sim, wrong);
  return wrong;
}

}  // namespace pellora
