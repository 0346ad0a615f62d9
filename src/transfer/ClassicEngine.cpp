#include "transfer/ClassicEngine.h"

#include <algorithm>
#include <utility>

#include "async/EventGate.h"
#include "async/TaskLoop.h"
#include "core/FileNames.h"
#include "ports/Clock.h"
#include "transfer/TextNumbers.h"

namespace pellora {

namespace {

constexpr std::uint32_t kTimeOutInterval = 10000;
constexpr std::uint32_t kSegTimeOutInterval = 1000;

}  // namespace

ClassicEngine::ClassicEngine(Program& program)
    : program_(program),
      WS(program.platform),
      httpProbe_(*this, WS),
      ftpProbe_(*this, WS),
      TimeOut(program.platform, kTimeOutInterval),
      SegTimeOut(program.platform, kSegTimeOutInterval),
      brake_(program) {
  for (int i = 0; i < kMaxLanes; ++i) {
    const auto entry = static_cast<std::size_t>(i);
    ws1_[entry] = std::make_unique<Winsock>(program.platform);
    ftp_[entry] = std::make_unique<FtpSegment>(*this, i);
  }
  ConnectHandlers();
}

ClassicEngine::~ClassicEngine() = default;

// Sockets and timers are members: none of their events outlives the engine. A handler that waits holds the engine. One
// that does not holds nothing: a window that unloads in it, and its engine with it, is kept until the event is over.
void ClassicEngine::ConnectHandlers() {
  WS.OnConnect = [this] { Tasks().Spawn(MainConnected()); };
  WS.OnDataArrival = [this](std::size_t bytes) { MainDataArrived(bytes); };
  for (int i = 0; i < kMaxLanes; ++i) {
    WS1(i).OnConnect = [this, i] { Tasks().Spawn(SegmentConnected(i)); };
    WS1(i).OnDataArrival = [this, i](std::size_t bytes) { SegmentDataArrived(i, bytes); };
  }
  TimeOut.OnTimer = [this] {
    TimeOut.SetEnabled(false);
    Tasks().Spawn(AskAboutTimeOut());
  };
  SegTimeOut.OnTimer = [this] { Tasks().Spawn(StallTick()); };
}

std::uint32_t ClassicEngine::Tick() const { return program_.platform.clock.TickCount(); }

TaskLoop& ClassicEngine::Tasks() { return program_.platform.tasks; }

void ClassicEngine::Begin(const Slot& slot, EngineView& view) {
  slot_ = slot;
  view_ = &view;
  elapsedSeconds_ = Record().ElapsedSeconds;
  brake_.Begin(slot.Index());
}

bool ClassicEngine::StillCurrent() {
  if (Current()) return true;
  Retire();
  return false;
}

void ClassicEngine::ShowState(const std::string& text) {
  if (view_ != nullptr) view_->ShowState(text);
}

void ClassicEngine::ShowCommand3(Command3Means means) {
  if (view_ != nullptr) view_->ShowCommand3(means);
}

void ClassicEngine::EnableCommand3(bool enabled) {
  if (view_ != nullptr) view_->EnableCommand3(enabled);
}

void ClassicEngine::RefreshList(std::int16_t row) {
  if (view_ != nullptr) view_->RefreshList(row);
}

Task<int> ClassicEngine::Ask(BoxRequest request) {
  const auto hold = Hold();
  questionOpen_ = true;
  const std::uint64_t stop = program_.AddBoxedStop({Record().FileName, request.text});
  const int answer = co_await program_.boxes.Ask(this, std::move(request));
  program_.boxedStops.erase(stop);
  questionOpen_ = false;
  co_return answer;
}

void ClassicEngine::CloseEverything() {
  ++connectGeneration_;
  ++joinRun_;
  TimeOut.SetEnabled(false);
  SegTimeOut.SetEnabled(false);
  WS.Close();
  for (int i = 0; i < kMaxLanes; ++i) {
    WS1(i).Close();
    Ftp(i).Forget();
  }
  brake_.ForgetAll();
  for (auto& file : segmentFiles_) file.reset();
}

void ClassicEngine::Retire() {
  if (retired_) return;
  const auto hold = Hold();
  retired_ = true;
  CloseEverything();
  if (EngineView* const view = std::exchange(view_, nullptr)) view->EngineRetired();
  program_.platform.gate.LetGo(this);  // if it continued without its window
}

void ClassicEngine::ContinueWithoutWindow() {
  program_.platform.gate.Keep(Hold());
  if (EngineView* const view = std::exchange(view_, nullptr)) view->EngineRetired();
}

// For a record that is over: nobody finds the transfer in its place any more.
void ClassicEngine::EndRecord(const RecordEnd& end) {
  Release(program_, Index(), end);
  EmptySlot();
  Retire();
  program_.lists->RefreshRows(kAllRows, kForced);
}

void ClassicEngine::Refuse(const RecordEnd& end, std::string reason) {
  if (program_.headless) return KeepAsFailed(std::move(reason));
  EndRecord(end);
}

void ClassicEngine::KeepAsFailed(std::string reason) {
  DownloadRecord& record = Record();
  record.Active = false;
  record.Paused = false;
  record.RestState = kEndedFatally;
  program_.classicStops[program_.Serial(Index())] = std::move(reason);
  EmptySlot();
  Retire();
  program_.lists->RefreshRows(kAllRows, kForced);
}

Task<> ClassicEngine::InitConnection() {
  const auto hold = Hold();
  if (!StillCurrent()) co_return;
  DropUnusablePlan();
  DownloadRecord& record = Record();
  program_.classicStops.erase(program_.Serial(Index()));
  ftpProbe_.Begin();
  TimeOut.SetEnabled(false);  // a redirect and a repeated probe get the full time again
  TimeOut.SetEnabled(true);
  lastByteTick_ = Tick();
  record.ConnectState = kConnectTried;
  const Settings& settings = program_.settings;
  WS.RemoteHost = settings.ProxyHTTP ? settings.ProxyServer : record.Host;
  WS.RemotePort = settings.ProxyHTTP ? settings.ProxyPort : record.Port;
  WS.Connect();
  co_await Tasks().Yield();
  if (!StillCurrent()) co_return;
  if (view_ != nullptr) view_->ShowAddress(Record().URL);
  ShowState("Connecting to server...");
}

Task<> ClassicEngine::MainConnected() {
  const auto hold = Hold();
  if (!StillCurrent()) co_return;
  const std::uint32_t number = WS.Number();
  ShowState(Text(kTextWaitingForData));
  co_await Tasks().Yield();
  // A pause or the time-out may have closed the connection meanwhile.
  if (WS.Number() != number || !StillCurrent()) co_return;
  TimeOut.SetEnabled(false);
  DownloadRecord& record = Record();
  if (record.Protocol != kFtp) httpProbe_.Connected();
  record.LastTick = Tick();
}

void ClassicEngine::MainDataArrived(std::size_t bytes) {
  CountReceived(Tick(), bytes);
  TimeOut.SetEnabled(false);
  if (!StillCurrent()) return;
  if (Record().Protocol == kHttp) {
    httpProbe_.DataArrived();
  } else {
    ftpProbe_.DataArrived();
  }
}

void ClassicEngine::PauseDownload() {
  if (!StillCurrent()) return;
  DownloadRecord& record = Record();
  if (record.Finished || record.Paused) return;
  program_.classicStops.erase(program_.Serial(Index()));
  record.Active = false;
  ShowCommand3(Command3Means::Resume);
  record.Paused = true;
  // The probe goes too: an answer that came after the pause would set the record going again.
  ++connectGeneration_;
  WS.Close();
  TimeOut.SetEnabled(false);
  for (int i = 1; i <= record.SegmentCount; ++i) {
    WS1(i - 1).Close();
    // By the segment's number, where opening goes by the socket's index: the file of WS1(0) stays open
    // across the pause and is used again on resume.
    segmentFiles_[static_cast<std::size_t>(i)].reset();
    if (record.Protocol == kFtp) Ftp(i - 1).Forget();
  }
  brake_.ForgetAll();
  for (int i = 1; i <= record.SegmentCount; ++i) {
    SegmentRecord& segment = record.Segment(i);
    if (segment.State == kSegmentComplete) continue;
    segment.Fold();
    segment.State = kSegmentPaused;
  }
  if (building_) StopJoin({});
  RefreshList(0);
  program_.lists->RefreshRows(kAllRows, kForced);
}

bool ClassicEngine::ProbePending() { return WS.State() != SocketState::Closed || questionOpen_; }

// Without a plan there is nothing to continue, and an FTP segment needs the directory that only the
// probe of this engine finds: both begin with the probe. The plan, if there is one, is kept.
Task<> ClassicEngine::StartProbeAgain() {
  const auto hold = Hold();
  DownloadRecord& record = Record();
  joinState_.clear();
  ShowCommand3(Command3Means::Pause);
  record.Paused = false;
  record.ContinueSegments = record.SegmentCount >= 1;
  record.Active = true;
  co_await InitConnection();
  if (!StillCurrent()) co_return;
  program_.lists->RefreshRows(kAllRows, kForced);
}

Task<> ClassicEngine::ResumeDownload() {
  const auto hold = Hold();
  if (!StillCurrent()) co_return;
  DownloadRecord& record = Record();
  if (record.Finished || record.Active || building_ || questionOpen_) co_return;
  DropUnusablePlan();
  const bool needsProbe = record.SegmentCount < 1 || (record.Protocol == kFtp && FtpDirectory().empty());
  if (needsProbe && !AllSegmentsComplete()) {
    if (!ProbePending()) co_await StartProbeAgain();
    co_return;
  }
  ShowCommand3(Command3Means::Pause);
  record.Paused = false;
  record.ContinueSegments = true;
  record.Active = true;
  co_await ConnectSegmented();
  if (!StillCurrent()) co_return;
  RefreshList(0);
  program_.lists->RefreshRows(kAllRows, kForced);
}

Task<> ClassicEngine::ConnectFromViewer() {
  const auto hold = Hold();
  if (!StillCurrent() || Record().Finished) co_return;
  // A pause and a resume, while the viewer was open, may have started it already, or led to a question whose answer
  // decides about the record.
  const bool going =
      std::any_of(ws1_.begin(), ws1_.end(), [](const auto& socket) { return socket->State() != SocketState::Closed; });
  if (going || building_ || questionOpen_) co_return;
  // A second probe may be pending: the segments take over from it.
  TimeOut.SetEnabled(false);
  WS.Close();
  // The probe leaves the name of an archive unchecked, for the viewer.
  if (!IsStorableName(Record().FileName)) {
    co_await RefuseBadName();
    co_return;
  }
  ShowState("Segmented files connecting...");
  if (Record().Paused) {
    ShowCommand3(Command3Means::Pause);
    Record().Paused = false;
    Record().Active = true;
  }
  co_await ConnectSegmented();
}

Task<> ClassicEngine::RefuseBadName() {
  const auto hold = Hold();
  BoxRequest request{"Bad URL or File", kProgramName, kOkOnly};
  (void)co_await Ask(std::move(request));
  if (StillCurrent()) Refuse(kNoFile, "The address or the file has a name that cannot be stored.");
}

}  // namespace pellora
