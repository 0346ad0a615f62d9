// The records. Sockets, files, timers and windows are in InvariantsOpen.cpp, the disk in
// InvariantsDisk.cpp.
#include "Invariants.h"

#include <algorithm>
#include <utility>

#include "transfer/ClassicEngine.h"
#include "transferwin/TransferWindow.h"

namespace pellora {

namespace {

constexpr std::size_t kMostReported = 5;

// Of the state numbers there are, for counting.
std::size_t EntryOf(std::int16_t state) {
  return static_cast<std::size_t>(std::clamp<std::int16_t>(state, 0, kSegmentStates - 1));
}

}  // namespace

void Invariants::Note(std::string what) {
  if (wrong_.size() < kMostReported) {
    if (sim_) what += " (at " + std::to_string(sim_->loop().Time() / SimLoop::kMillisecond) + " ms)";
    wrong_.push_back(std::move(what));
  }
  if (sim_) sim_->loop().End();
}

void Invariants::BeginSession(App& app, SimPlatform& sim, WatchedFiles& files, WatchedNetwork& network) {
  app_ = &app;
  sim_ = &sim;
  files_ = &files;
  network_ = &network;
  files.Watch(this);
  Program& program = app.program();
  program.newTransferWindow = [this, make = program.newTransferWindow](std::int16_t index) {
    std::shared_ptr<Transfer> made = make(index);
    const auto window = std::dynamic_pointer_cast<TransferWindow>(made);
    if (dynamic_cast<const ClassicEngine*>(window->engine().get()) == nullptr) {
      webWindows_.push_back({window->engine(), window});
      return made;
    }
    LiveWindow live;
    live.alive = window->engine();
    live.engine = dynamic_cast<const ClassicEngine*>(window->engine().get());
    live.window = window;
    windows_.push_back(live);
    return made;
  };
  program.newZipViewer = [this, make = program.newZipViewer] {
    std::shared_ptr<ZipViewer> made = make();
    viewers_.push_back(made);
    return made;
  };
  sim.loop().SetAfterEach([this](SimLane lane) { AfterEvent(lane); });
  if (sim.disk().Has(std::string(kListPath))) ReadNeeded(sim.disk().Get(std::string(kListPath)));
}

void Invariants::EndSession() {
  if (files_) files_->Watch(nullptr);
  EndWeb();
  app_ = nullptr;
  sim_ = nullptr;
  records_.clear();
  windows_.clear();
  viewers_.clear();
  owners_.clear();
  needed_.clear();
}

std::string Invariants::Name(int index) {
  return "record " + std::to_string(index) + " " + app_->program().Download(index).URL + ": ";
}

void Invariants::AfterEvent(SimLane lane) {
  const Arrival arrival = network_->TakeArrival();
  switch (lane) {
    case SimLane::Alarm:
      return AfterEvent(Cause::Alarm);
    case SimLane::Post:
      return AfterEvent(Cause::Post);
    case SimLane::Arrival:
      return AfterEvent(arrival == Arrival::Connected ? Cause::Connected
                        : arrival == Arrival::Block   ? Cause::Block
                                                      : Cause::Other);
  }
}

void Invariants::AfterEvent(Cause cause) {
  ++counts_.events;
  // A process killed in this event left it half done.
  if (!on || !app_ || sim_->Killed() || !wrong_.empty()) return;
  Program& program = app_->program();
  records_.resize(static_cast<std::size_t>(program.DownloadCount) + 1);
  allowed_.fill(0);
  for (int i = 1; i <= program.DownloadCount; ++i) CheckRecord(i, cause);
  if (web_) {
    webRecords_.resize(records_.size());
    for (int i = 1; i <= program.DownloadCount; ++i) CheckWebRecord(i);
    CheckFetches();
    CheckWebWindows();
  }
  CheckOpen();
}

bool Invariants::Honest(const DownloadRecord& record) const {
  return IsHonest(HostOf(record.Host)) && origin_.Find(record.FileName) != nullptr && !origin_.MayBeMisread(record);
}

void Invariants::CheckRecord(int index, Cause cause) {
  Program& program = app_->program();
  const DownloadRecord& record = program.Download(index);
  RecordShadow& shadow = records_[static_cast<std::size_t>(index)];
  CountJoin(record, shadow);
  if (!record.InUse) {
    shadow.serial = 0;
    return;
  }
  const std::uint32_t serial = program.Serial(index);
  // A plan made without a size is replaced once the size is known.
  const bool empty = shadow.count == 1 && shadow.segments[1].end < 0 && record.SegmentCount == 1 &&
                     record.Segments.size() > 1 && record.Segments[1].RangeEnd >= 0;
  const bool fresh = shadow.serial != serial || shadow.count != record.SegmentCount || empty;
  bool changed = fresh || shadow.received != record.Received;
  if (fresh || shadow.host != record.Host) {
    shadow.host = record.Host;
    shadow.hostId = HostOf(record.Host);
  }
  if (fresh) {
    shadow.serial = serial;
    shadow.count = record.SegmentCount;
    shadow.honest = Honest(record);
    if (record.SegmentCount > 0) {
      ++counts_.records;
      CheckPlan(index, record);
    }
  }
  shadow.received = record.Received;
  if (!listMayBeDamaged) CheckFlags(index, record);
  if (record.Finished) return;
  int open = 0;
  for (int i = 1; i <= record.SegmentCount && i <= kMaxLanes; ++i) {
    const SegmentRecord& segment = record.Segments[static_cast<std::size_t>(i)];
    SegmentShadow& was = shadow.segments[static_cast<std::size_t>(i)];
    if (segment.State != kSegmentComplete) ++open;
    const bool same = was.now == segment.ReceivedNow && was.state == segment.State && was.start == segment.RangeStart &&
                      was.total == segment.ReceivedTotal && was.end == segment.RangeEnd &&
                      was.size == segment.RangeSize;
    if (same && !fresh) continue;
    changed = true;
    CheckSegment(index, i, record, was, fresh, cause);
  }
  if (changed && shadow.honest) CheckReceived(index, record);
  if (record.Paused) return;
  allowed_[static_cast<std::size_t>(shadow.hostId)] += open;
  if (record.Protocol == kFtp) allowed_[static_cast<std::size_t>(HostId::FtpData)] += open;
}

// Counts joins that were stopped in the middle.
void Invariants::CountJoin(const DownloadRecord& record, RecordShadow& shadow) {
  const bool was = shadow.joining;
  shadow.joining = record.InUse && record.Active && !record.Finished && record.SegmentCount > 0;
  for (int i = 1; i <= record.SegmentCount && shadow.joining; ++i) {
    shadow.joining = record.Segment(i).State == kSegmentComplete;
  }
  if (was && !shadow.joining && !record.Finished) ++counts_.faults["join: stopped"];
}

void Invariants::CheckSegment(int index, int number, const DownloadRecord& record, SegmentShadow& shadow, bool fresh,
                              Cause cause) {
  const SegmentRecord& segment = record.Segment(number);
  const auto wrong = [&](const std::string& what) {
    Note(Name(index) + "segment " + std::to_string(number) + " " + what + ": start " +
         std::to_string(segment.RangeStart) + " end " + std::to_string(segment.RangeEnd) + " now " +
         std::to_string(segment.ReceivedNow) + " before " + std::to_string(segment.ReceivedTotal) + " size " +
         std::to_string(segment.RangeSize) + " state " + std::to_string(segment.State));
  };
  const std::int64_t place = std::int64_t{segment.RangeEnd} + segment.ReceivedTotal - segment.RangeStart + 1;
  if (place != segment.RangeSize) wrong("lost its place");
  if (!fresh && (segment.RangeEnd != shadow.end || segment.RangeSize != shadow.size)) wrong("was planned anew");
  if (segment.ReceivedNow < 0 || segment.ReceivedTotal < 0) wrong("has a negative count");
  // Nothing flushes part files of the classic engine.
  if (!listMayBeDamaged &&
      files_->Size(segment.TempFile) < static_cast<std::uint64_t>(std::max<std::int64_t>(0, segment.Received()))) {
    wrong("counts more than its part file holds, which is " + std::to_string(files_->Size(segment.TempFile)));
  }
  const bool honest = records_[static_cast<std::size_t>(index)].honest;
  if (honest && segment.Received() > segment.RangeSize) wrong("received more than it requested");
  if (honest && (segment.State == kSegmentComplete) != (segment.Received() == segment.RangeSize)) {
    wrong("is full without being complete, or the other way round");
  }
  if (!fresh && segment.State != shadow.state) {
    ++counts_.transitions[EntryOf(shadow.state)][EntryOf(segment.State)];
    if (!MayChange(shadow.state, segment.State, cause)) {
      wrong("went from state " + std::to_string(shadow.state) + " by cause " +
            std::to_string(static_cast<unsigned>(cause)));
    }
  }
  shadow = {segment.RangeStart,    segment.RangeEnd,  segment.ReceivedNow,
            segment.ReceivedTotal, segment.RangeSize, segment.State};
}

// Over FTP each segment's last block counts one byte less.
void Invariants::CheckReceived(int index, const DownloadRecord& record) {
  std::int64_t sum = 0;
  for (int i = 1; i <= record.SegmentCount; ++i) {
    const SegmentRecord& segment = record.Segment(i);
    sum += segment.Received();
    if (record.Protocol == kFtp && segment.State == kSegmentComplete) --sum;
  }
  if (record.SegmentCount > 0 && record.Received != sum) {
    Note(Name(index) + "says " + std::to_string(record.Received) + " received, its segments " + std::to_string(sum));
  }
}

void Invariants::CheckFlags(int index, const DownloadRecord& record) {
  const auto wrong = [&](const char* what) { Note(Name(index) + what); };
  if (record.Active && record.Paused) wrong("active and paused");
  if (record.Active && record.Finished) wrong("active and finished");
  if (record.Removed) wrong("in use and removed");
  if (record.SegmentCount < 0 || record.SegmentCount > kMaxLanes) wrong("an impossible number of segments");
  if (record.SegmentCount > 0 && record.Segments.size() != static_cast<std::size_t>(record.SegmentCount) + 1) {
    wrong("an array that does not fit its segments");
  }
  if (!record.Finished) return;
  if (record.Percent != 100.0F) wrong("finished, and not at 100 percent");
  if (record.SegmentCount < 1 && !web_) wrong("finished without a plan");
  for (int i = 1; i <= record.SegmentCount; ++i) {
    if (record.Segment(i).State != kSegmentComplete) wrong("finished with an open segment");
  }
}

// The ranges have no gaps, and cover an honest server's file.
void Invariants::CheckPlan(int index, const DownloadRecord& record) {
  std::int64_t next = 0;
  for (int i = 1; i <= record.SegmentCount && static_cast<std::size_t>(i) < record.Segments.size(); ++i) {
    const SegmentRecord& segment = record.Segment(i);
    if (std::int64_t{segment.RangeEnd} + 1 - segment.RangeSize != next) Note(Name(index) + "ranges with a gap");
    next = std::int64_t{segment.RangeEnd} + 1;
  }
  const std::string_view* const bytes = origin_.Find(record.FileName);
  if (!bytes || !Honest(record)) return;
  if (next != static_cast<std::int64_t>(bytes->size())) {
    Note(Name(index) + "a plan for " + std::to_string(next) + " bytes of " + std::to_string(bytes->size()));
  }
}

}  // namespace pellora
