#include "transfer/TransferWindow.h"

#include <algorithm>

#include "async/EventGate.h"
#include "async/TaskLoop.h"
#include "core/FileNames.h"
#include "core/RecordLife.h"
#include "lang/Language.h"
#include "ports/Clock.h"
#include "ports/Failure.h"
#include "ports/Shell.h"
#include "transfer/TextNumbers.h"

namespace pellora {

namespace {

constexpr int kTwipsPerPixel = 15;
constexpr int kLongFormHeight = 5000 / kTwipsPerPixel;
constexpr int kShortFormHeight = 2500 / kTwipsPerPixel;
constexpr std::uint32_t kTimeOutInterval = 10000;
constexpr std::uint32_t kSegTimeOutInterval = 1000;

}  // namespace

TransferWindow::TransferWindow(Program& program)
    : Window(program.platform, "TransferWindow", ""),
      program_(program),
      WS(program.platform),
      TimeOut(program.platform, kTimeOutInterval),
      SegTimeOut(program.platform, kSegTimeOutInterval) {
  for (auto& socket : ws1_) socket = std::make_unique<Winsock>(program.platform);
  for (auto& socket : ftp_) socket = std::make_unique<Winsock>(program.platform);
  Height = kLongFormHeight;
  ConnectHandlers();
}

TransferWindow::~TransferWindow() = default;

// Sockets, timers and controls are members: none of their events outlives the window. Each handler that
// waits holds the window itself.
void TransferWindow::ConnectHandlers() {
  WS.OnConnect = [this] { Tasks().Spawn(MainConnected()); };
  WS.OnDataArrival = [this](std::size_t bytes) { MainDataArrived(bytes); };
  for (int i = 0; i < kMaxSegmentSockets; ++i) {
    WS1(i).OnConnect = [this, i] { Tasks().Spawn(SegmentConnected(i)); };
    WS1(i).OnDataArrival = [this, i](std::size_t bytes) { SegmentDataArrived(i, bytes); };
    FTP(i).OnConnect = [this] { FtpDataConnected(); };
    FTP(i).OnDataArrival = [this, i](std::size_t bytes) { FtpDataArrived(i, bytes); };
    FTP(i).OnError = [this, i] { FtpDataFailed(i); };
    const auto entry = static_cast<std::size_t>(i);
    ftpRetry_[entry] = program_.platform.events.NewAlarm([this, i] { FtpRetryData(i); });
    ftpReleaseAgain_[entry] = program_.platform.events.NewAlarm([this, i] { FtpReleaseAgain(i); });
  }
  TimeOut.OnTimer = [this] {
    TimeOut.SetEnabled(false);
    Tasks().Spawn(AskAboutTimeOut());
  };
  SegTimeOut.OnTimer = [this] { Tasks().Spawn(StallTick()); };
  Command1.OnClick = [this] { OpenFile(); };
  Command2.OnClick = [this] { Cancel(); };
  Command3.OnClick = [this] { PauseOrResume(); };
  Command4.OnClick = [this] { ToggleDetails(); };
}

std::uint32_t TransferWindow::Tick() const { return program_.platform.clock.TickCount(); }

TaskLoop& TransferWindow::Tasks() { return program_.platform.tasks; }

void TransferWindow::SetRecordIndex(std::int16_t index) {
  RecordIndex = index;
  serial_ = program_.Serial(index);
  elapsedSeconds_ = Record().ElapsedSeconds;
  // Until there are figures to draw; a window without a title cannot be told from others.
  Caption = Record().FileName.empty() ? Record().Host : Record().FileName;
}

// An unloaded window has an empty slot while its last steps run; a filled one must hold this window.
bool TransferWindow::Current() {
  if (retired_ || !program_.Holds(RecordIndex, serial_)) return false;
  const std::shared_ptr<Transfer>& slot = program_.TransferWindowAt(RecordIndex);
  return slot == nullptr || slot.get() == this;
}

bool TransferWindow::StillCurrent() {
  if (Current()) return true;
  Retire();
  return false;
}

void TransferWindow::CloseEverything() {
  ++connectGeneration_;
  ++joinRun_;
  TimeOut.SetEnabled(false);
  SegTimeOut.SetEnabled(false);
  WS.Close();
  for (int i = 0; i < kMaxSegmentSockets; ++i) {
    WS1(i).Close();
    FtpForget(i);
  }
  for (auto& file : segmentFiles_) file.reset();
}

void TransferWindow::Retire() {
  if (retired_) return;
  const auto hold = Hold();
  retired_ = true;
  CloseEverything();
  Unload();
  if (ghost_) program_.platform.gate.LetGo(static_cast<Window*>(this));
}

void TransferWindow::EmptySlot() {
  std::shared_ptr<Transfer>& slot = program_.TransferWindowAt(RecordIndex);
  if (slot.get() == this) slot.reset();
}

Task<> TransferWindow::InitConnection() {
  const auto hold = Hold();
  if (!StillCurrent()) co_return;
  if (!ghost_) Load();
  DropUnusablePlan();
  DownloadRecord& record = Record();
  ftpPhase_ = FtpProbePhase::Connecting;
  ftpUserSent_[kMaxSegmentSockets] = false;
  ftpCommands_[kMaxSegmentSockets] = 0;
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
  Label3.Caption = Record().URL;
  state.Caption = "Connecting to server...";
}

void TransferWindow::PauseDownload() {
  if (!StillCurrent()) return;
  DownloadRecord& record = Record();
  if (record.Finished || record.Paused) return;
  record.Active = false;
  Command3.Caption = "Resume Download";
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
    if (record.Protocol == kFtp) FtpForget(i - 1);
  }
  for (int i = 1; i <= record.SegmentCount; ++i) {
    SegmentRecord& segment = record.Segment(i);
    if (segment.State == kSegmentComplete) continue;
    segment.Fold();
    segment.State = kSegmentPaused;
  }
  if (building_) StopJoin({});
  RefreshList(0);
  program_.lists->RefreshRows(0, kForced);
}

bool TransferWindow::ProbePending() { return WS.State() != SocketState::Closed || questionStands_; }

// Without a plan there is nothing to go on with, and an FTP segment needs the directory that only the
// probe of this window finds: both begin with the probe. The plan, if there is one, is kept.
Task<> TransferWindow::StartProbeAgain() {
  const auto hold = Hold();
  DownloadRecord& record = Record();
  joinState_.clear();
  Command3.Caption = "Pause Download";
  record.Paused = false;
  record.ContinueSegments = record.SegmentCount >= 1;
  record.Active = true;
  co_await InitConnection();
  if (!StillCurrent()) co_return;
  program_.lists->RefreshRows(0, kForced);
}

Task<> TransferWindow::ResumeDownload() {
  const auto hold = Hold();
  if (!StillCurrent()) co_return;
  DownloadRecord& record = Record();
  if (record.Finished || record.Active || building_ || questionStands_) co_return;
  DropUnusablePlan();
  const bool needsProbe = record.SegmentCount < 1 || (record.Protocol == kFtp && ftpRemotePath_.empty());
  if (needsProbe && !AllSegmentsComplete()) {
    if (!ProbePending()) co_await StartProbeAgain();
    co_return;
  }
  Command3.Caption = "Pause Download";
  record.Paused = false;
  record.ContinueSegments = true;
  record.Active = true;
  co_await ConnectSegmented();
  if (!StillCurrent()) co_return;
  RefreshList(0);
  program_.lists->RefreshRows(0, kForced);
}

Task<> TransferWindow::ConnectFromViewer() {
  const auto hold = Hold();
  if (!StillCurrent() || Record().Finished) co_return;
  // A pause and a resume behind the viewer may have set it going already, or led to a question whose answer
  // decides about the record.
  const bool going =
      std::any_of(ws1_.begin(), ws1_.end(), [](const auto& socket) { return socket->State() != SocketState::Closed; });
  if (going || building_ || questionStands_) co_return;
  // A second probe may be pending: the segments take over from it.
  TimeOut.SetEnabled(false);
  WS.Close();
  // The probe leaves the name of an archive unchecked, for the viewer.
  if (!IsStorableName(Record().FileName)) {
    co_await RefuseBadName();
    co_return;
  }
  state.Caption = "Segmented files connecting...";
  if (Record().Paused) {
    Command3.Caption = "Pause Download";
    Record().Paused = false;
    Record().Active = true;
  }
  co_await ConnectSegmented();
}

void TransferWindow::ShowWindow() {
  if (retired_ || ghost_) return;
  Show();
}

// It may be hidden because another download has its slot. One that is paused, or waits for a silent server,
// has no event in which to find that out.
void TransferWindow::HideWindow() {
  Hide();
  Tasks().Spawn(EndIfDropped());
}

Task<> TransferWindow::EndIfDropped() {
  const auto hold = Hold();
  co_await Tasks().Yield();
  (void)StillCurrent();
}

void TransferWindow::OpenFile() {
  if (FinishedMode != 1 || !StillCurrent()) return;
  const std::string& path = Record().SavePath;
  program_.platform.shell.OpenPath(path, FolderOf(path));
}

void TransferWindow::OpenFolder() {
  const std::string folder = FolderOf(Record().SavePath);
  program_.platform.shell.OpenPath(folder, folder);
}

void TransferWindow::PauseOrResume() {
  if (!StillCurrent()) return;
  if (FinishedMode == 1) {
    OpenFolder();
    return;
  }
  if (Record().Finished) return;
  if (Record().Paused) {
    Tasks().Spawn(ResumeDownload());
  } else {
    PauseDownload();
  }
}

void TransferWindow::Cancel() {
  if (!StillCurrent()) return;
  Skip([this] { PauseDownload(); });
  SegTimeOut.SetEnabled(false);
  EmptySlot();
  Retire();
}

void TransferWindow::ToggleDetails() {
  DetailsHidden = !DetailsHidden;
  Command4.Tag = DetailsHidden ? "Show" : "Hide";
  if (program_.languageRead) Command4.Caption = Text(DetailsHidden ? kTextShowDetails : kTextHideDetails);
  Height = DetailsHidden ? kShortFormHeight : kLongFormHeight;
  DisplayIdle = DetailsHidden;
}

void TransferWindow::OnLoad() {
  FinishedMode = 0;
  ApplyLanguage(*this, program_);
}

// Closing the window never stops a download.
void TransferWindow::OnQueryUnload(bool& cancel, UnloadMode mode) {
  if (mode != UnloadMode::UserClosed) return;
  Hide();
  cancel = true;
}

void TransferWindow::OnActivate() {
  if (State() == WindowState::Normal) DisplayIdle = false;
}

void TransferWindow::OnDeactivate() {
  if (State() == WindowState::Minimised) DisplayIdle = true;
}

}  // namespace pellora
