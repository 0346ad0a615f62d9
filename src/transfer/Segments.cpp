// The segments of ClassicEngine: plan, spaced connections, and the data path to the part files.
#include <algorithm>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "async/TaskLoop.h"
#include "core/FileNames.h"
#include "core/ListFile.h"
#include "core/PartFiles.h"
#include "ports/Clock.h"
#include "ports/Dialogs.h"
#include "ports/Failure.h"
#include "transfer/ClassicEngine.h"
#include "transfer/Plan.h"
#include "transfer/RangeReply.h"
#include "transfer/Requests.h"
#include "transfer/SpacingWait.h"
#include "transfer/TextNumbers.h"

namespace pellora {

namespace {

constexpr double kSpacingSeconds = 0.2;
constexpr std::uint32_t kSpacingFirstRetest = 201;  // ms; no earlier test can succeed
constexpr std::uint32_t kReopenTicks = 1000;
constexpr std::uint32_t kConnectGraceTicks = 5000;
constexpr float kMostUnfinished = 99.9F;  // percent: 100 is for a file that is built

// A part file whose name is taken gets the record's index in front of its number, at the cost of the
// name's end where the disk could not hold the whole.
constexpr std::size_t kLongestPartBase = 255 - 7;

std::int32_t AddSaturated(std::int32_t a, std::int64_t b) {
  constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
  const std::int64_t sum = a + b;
  return static_cast<std::int32_t>(sum > kMost ? kMost : sum);
}

// One of the names is that of the record's file or, for another download, of one of its parts.
bool Claims(const DownloadRecord& record, bool own, const std::vector<std::string>& names) {
  const auto has = [&names](const std::string& path) {
    return std::find(names.begin(), names.end(), path) != names.end();
  };
  if (record.InUse && has(record.SavePath)) return true;
  // One that a server error dropped goes on writing while it is active.
  if (own || record.Finished || (!record.InUse && !record.Active)) return false;
  for (int k = 1; k <= record.SegmentCount; ++k) {
    if (has(record.Segment(k).TempFile)) return true;
  }
  return false;
}

}  // namespace

// The name that the part files' names begin with: FileName, unless another unfinished record's plan
// holds one of the names that this would give, or a listed file bears one, or something foreign has taken one.
// Part files that exist already may be counted on by the list on the disk, with ranges of a former plan: after a kill
// their record would continue with other bytes than it had. So the list is saved before; where it could not be read or
// saved, no existing file is touched.
std::string ClassicEngine::PartNameBase(int count) {
  std::optional<bool> saved;
  const auto unusable = [&](const std::string& part) {
    const PartName found = program_.platform.files.LookAtPart(part);
    if (found != PartName::Own) return found == PartName::Foreign;
    if (!saved) saved = program_.listLoaded && SaveListBeforeTouchingParts(program_);
    return !*saved;
  };
  const auto taken = [&](const std::string& base) {
    std::vector<std::string> names;
    for (int i = 1; i <= count; ++i) names.push_back(PartFileName(program_.settings.TempFolder, base, i));
    for (int other = 1; other <= program_.DownloadCount; ++other) {
      if (Claims(program_.Download(other), other == Index(), names)) return true;
    }
    return std::any_of(names.begin(), names.end(), unusable);
  };
  std::string name = Record().FileName;
  if (!taken(name)) return name;
  std::string suffix = std::to_string(Index());
  for (int attempt = 1;; ++attempt) {
    std::string base = name.substr(0, kLongestPartBase - suffix.size()) + suffix;
    if (!taken(base)) return base;
    suffix = std::to_string(Index()) + "-" + std::to_string(attempt);
  }
}

// Fails for a MaxSegments below 1, after the array was resized and with no segment planned.
void ClassicEngine::PlanSegmentsOfRecord() {
  DownloadRecord& record = Record();
  const std::int32_t most = program_.settings.MaxSegments;
  if (most < 1) record.Segments.resize(1);
  const std::vector<PlannedRange> ranges = PlanSegments(record.FileSize, most);
  const std::string base = PartNameBase(static_cast<int>(ranges.size()));
  record.Segments.resize(ranges.size() + 1);
  record.SegmentCount = static_cast<std::int16_t>(ranges.size());
  for (int i = 1; i <= record.SegmentCount; ++i) {
    const PlannedRange& range = ranges[static_cast<std::size_t>(i - 1)];
    SegmentRecord& segment = record.Segment(i);
    segment = SegmentRecord{};  // a damaged list may have left counters where there is no plan
    segment.RangeStart = range.start;
    segment.RangeEnd = range.end;
    segment.RangeSize = range.size;
    segment.Enabled = true;
    segment.Watched = true;
    segment.State = kSegmentUnconnected;
    segment.TempFile = PartFileName(program_.settings.TempFolder, base, i);
    // Only the first is given its time; the others' 0 lets the stall watch connect them at once.
    if (i == 1) segment.LastActivity = static_cast<float>(Tick());
  }
}

// A plan is kept whatever size the server names now; where it names none, the plan's own counts. A plan
// that was made while no size was known holds nothing, and with a size its first block would seem the last.
void ClassicEngine::FitSizeToPlan() {
  DownloadRecord& record = Record();
  if (record.SegmentCount < 1) return;
  const std::int32_t lastByte = record.Segment(record.SegmentCount).RangeEnd;
  if (record.FileSize == 0) {
    record.FileSize = lastByte < std::numeric_limits<std::int32_t>::max() ? lastByte + 1 : lastByte;
  } else if (lastByte < 0) {
    record.DropPlan();
  }
}

// A file that does not count as a part is left alone; what its segment had is not known, and the whole begins again.
void ClassicEngine::DropUnusablePlan() {
  DownloadRecord& record = Record();
  if (record.SegmentCount < 1 || PlanIsUsable(program_.platform.files, record)) return;
  for (auto& file : segmentFiles_) file.reset();
  record.DropPlan();
  record.Received = 0;
  record.Percent = 0;
  record.ElapsedSeconds = record.RemainingSeconds = 0;
  elapsedSeconds_ = 0;
}

Task<> ClassicEngine::ConnectSegmented() {
  const auto hold = Hold();
  if (!StillCurrent()) co_return;
  const std::uint32_t run = ++connectGeneration_;
  lastByteTick_ = Tick();
  EnableCommand3(false);
  joinState_.clear();
  for (auto& segment : ftp_) segment->ForgetUser();
  SegTimeOut.SetEnabled(true);
  DownloadRecord& record = Record();
  // A plan that exists is kept whatever the size is now: planning over it would lose what it holds.
  const bool keptPlan = record.SegmentCount >= 1;
  record.ContinueSegments = false;
  if (!keptPlan) PlanSegmentsOfRecord();
  activeGeneration_ = run;
  WS.Close();
  for (int i = 1; i <= Record().SegmentCount; ++i) {
    if (Record().Segment(i).State == kSegmentComplete) continue;
    ConnectSegment(i, keptPlan);
    co_await Tasks().Yield();
    if (run == connectGeneration_) {
      const SpacingWait spacing(program_.platform.clock, kSpacingSeconds);
      std::function<bool()> over = [this, run, &spacing] { return run != connectGeneration_ || spacing.Over(); };
      co_await Tasks().Until(std::move(over), kSpacingFirstRetest);
    }
    if (!StillCurrent()) co_return;
    if (run != connectGeneration_) break;  // paused, or called again
  }
  if (activeGeneration_ != run) co_return;  // the newer run does what is left
  activeGeneration_ = 0;
  RefreshList(0);
  if (view_ != nullptr) view_->ShowLanes(Record().SegmentCount);
  EnableCommand3(!building_);
  program_.lists->RefreshRows(kAllRows, kForced);
  // All parts may be there with nothing left to connect: the program ended before it joined them. The caller, who may
  // have other records to resume, does not wait for the join.
  CompleteIfAllEnded();
}

// A segment that received something on the connection that is replaced takes it into its resume point:
// ReceivedNow counts the present connection alone.
void ClassicEngine::ConnectSegment(int i, bool keptPlan) {
  DownloadRecord& record = Record();
  SegmentRecord& segment = record.Segment(i);
  if (record.Protocol == kFtp) Ftp(i - 1).Forget();
  WS1(i - 1).Close();
  segment.Fold();
  segment.State = kSegmentUnconnected;
  if (keptPlan) segment.LastActivity = static_cast<float>(Tick());
  WS1(i - 1).Connect(record.Host, record.Port);
  brake_.Open(WS1(i - 1));
}

Task<> ClassicEngine::SegmentConnected(int index) {
  const auto hold = Hold();
  if (!StillCurrent()) co_return;
  DownloadRecord& record = Record();
  if (record.Paused) {
    WS1(index).Close();
    co_return;
  }
  SegmentRecord& segment = record.Segment(index + 1);
  segment.State = kSegmentRequested;
  // The socket's index, not the segment's number: all rows for the first socket, else the row before.
  RefreshList(static_cast<std::int16_t>(index));
  const auto graceTick = static_cast<float>(Tick() + kConnectGraceTicks);
  if (record.Protocol == kFtp) {
    Ftp(index).Connected();
    segment.LastActivity = graceTick;
    co_return;
  }
  WS1(index).SendData(SegmentRequest(record, segment, program_.settings.ProxyHTTP));
  segment.LastActivity = graceTick;
  record.LastTick = Tick();
  co_await Tasks().Yield();
  co_await Tasks().Yield();
  if (StillCurrent()) program_.lists->RefreshRows(kAllRows, kForced);
}

// The data path: one block, one positioned write, no copy between.
void ClassicEngine::SegmentDataArrived(int index, std::size_t bytes) {
  const std::uint32_t tick = Tick();
  CountReceived(tick, bytes);
  if (program_.Ending() || !StillCurrent()) return;
  DownloadRecord& record = Record();
  if (record.Protocol == kFtp) {
    Tasks().Spawn(Ftp(index).FTPSystem());
    return;
  }
  std::string_view data = WS1(index).GetData();
  if (record.Paused) return;
  data.remove_prefix(RangeHeaderLength(data));
  SegmentRecord& segment = record.Segment(index + 1);
  if (!WritePart(index, segment, data, tick)) return;
  const auto length = static_cast<std::int64_t>(data.size());
  segment.ReceivedNow = AddSaturated(segment.ReceivedNow, length);
  if (record.FileSize == 0) {
    SayUnknownSize();
    return;
  }
  Account(tick, length);
  brake_.Read(index, WS1(index), bytes);
  if (segment.ReceivedNow > std::int64_t{segment.RangeEnd} - segment.RangeStart) SegmentCompleted(index, segment);
}

void ClassicEngine::OpenPart(int index, const SegmentRecord& segment, std::uint32_t tick) {
  const auto entry = static_cast<std::size_t>(index);
  if (segmentFiles_[entry]) return;
  segmentFiles_[entry] = program_.platform.files.Open(segment.TempFile, FileKind::Part);
  segmentReopenTick_[entry] = tick;
}

// False if the segment takes no data, also where its part file failed: to continue would count bytes that are not
// there.
bool ClassicEngine::WritePart(int index, SegmentRecord& segment, std::string_view data, std::uint32_t tick) {
  const auto entry = static_cast<std::size_t>(index);
  try {
    OpenPart(index, segment, tick);
    if (segment.State == kSegmentComplete || segment.State == kSegmentPaused) return false;
    segment.State = kSegmentReceiving;
    segmentFiles_[entry]->WriteAt(static_cast<std::uint64_t>(segment.Received()), data);
    if (TicksSince(tick, segmentReopenTick_[entry]) > static_cast<std::int32_t>(kReopenTicks)) {
      segmentFiles_[entry].reset();
      OpenPart(index, segment, tick);
    }
    return true;
  } catch (const Failure& failure) {
    PartFailed(failure);
    return false;
  }
}

// Something foreign that has taken a part's name after the plan was made stops this download alone. It is nothing that
// the next download would meet too, and a resume plans anew. All else ends the program, unless nobody sees it end.
void ClassicEngine::PartFailed(const Failure& failure) {
  if (failure.Number() == FailureNumber::ForeignFile || program_.headless) {
    PauseDownload();
    program_.classicStops[program_.Serial(Index())] = failure.what();
    Tasks().Spawn(SayFailure(&program_, Record().FileName, failure.what()));
    return;
  }
  SetReading(false);
  program_.EndWithFailure(failure.what());
}

void ClassicEngine::SetReading(bool reading) {
  for (int i = 0; i < kMaxLanes; ++i) {
    WS1(i).SetReading(reading);
    Ftp(i).SetReading(reading);
  }
}

// Without a size nothing can be complete. The box comes with each block, one at a time: what arrives
// while it is open waits in the kernel, or an endless reply would fill the disk unseen.
void ClassicEngine::SayUnknownSize() {
  if (!program_.boxes.IsOpen(this, "Error !")) Tasks().Spawn(AskUnknownSize());
}

Task<> ClassicEngine::AskUnknownSize() {
  const auto hold = Hold();
  SetReading(false);
  BoxRequest request{"Error !", kProgramName, kOkOnly};
  (void)co_await program_.boxes.Ask(this, std::move(request));
  // Where nobody sees the boxes they would come and go for ever.
  if (program_.headless) PauseForUnknownSize();
  SetReading(true);
}

void ClassicEngine::PauseForUnknownSize() {
  if (!StillCurrent()) return;
  PauseDownload();
  program_.classicStops[program_.Serial(Index())] =
      "The classic engine fetches no file of 2 GiB or more, and none whose length the server does not say.";
}

void ClassicEngine::SegmentCompleted(int index, SegmentRecord& segment) {
  const auto entry = static_cast<std::size_t>(index);
  WS1(index).Close();
  brake_.Forget(index);
  segmentFiles_[entry].reset();
  segmentReopenTick_[entry] = 0;
  segment.State = kSegmentComplete;
  RefreshList(0);
  CompleteIfAllEnded();
}

void ClassicEngine::CompleteIfAllEnded() {
  if (AllSegmentsComplete() && !Record().Finished && !Record().Paused && !building_) Tasks().Spawn(Complete());
}

bool ClassicEngine::AllSegmentsComplete() {
  const DownloadRecord& record = Record();
  for (int i = 1; i <= record.SegmentCount; ++i) {
    const SegmentRecord& segment = record.Segment(i);
    if (segment.State != kSegmentComplete && segment.Enabled) return false;
  }
  return record.SegmentCount >= 1;
}

// The lowest segment that waits. Those released before, which try again by themselves, come last: to wake one of them
// once more for each completion would leave ever fewer connections at work.
FtpSegment* ClassicEngine::NextToRelease() {
  FtpSegment* triesAgain = nullptr;
  for (int i = 1; i <= Record().SegmentCount; ++i) {
    if (Record().Segment(i).State != kSegmentRefused) continue;
    if (!Ftp(i - 1).WasReleased()) return &Ftp(i - 1);
    if (triesAgain == nullptr) triesAgain = &Ftp(i - 1);
  }
  return triesAgain;
}

// The record stays active until its file is built, so that pausing, quitting and the lists treat it as running.
Task<> ClassicEngine::Complete() {
  const auto hold = Hold();
  const std::uint32_t run = ++joinRun_;
  building_ = true;
  DownloadRecord& record = Record();
  record.Valid = false;
  record.Percent = std::min(record.Percent, kMostUnfinished);
  EnableCommand3(false);
  ShowJoinState(Text(kTextBuildingFile));
  co_await Tasks().Yield();
  if (!JoinIsCurrent(run)) co_return;
  const bool built = co_await BuildOutputFile(run);
  if (!built) co_return;
  ShowState(Text(kTextDownloadComplete));
  co_await Tasks().Yield();
}

}  // namespace pellora
