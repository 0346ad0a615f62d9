// Pump: the 500 ms tick. It watches the clipboard, shows speed and totals, moves scheduled records to the queue and
// starts at most one queued download.
#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <string>

#include "async/TaskLoop.h"
#include "core/Capture.h"
#include "core/ListFile.h"
#include "core/Numbers.h"
#include "core/Queue.h"
#include "core/SpeedLimits.h"
#include "core/Transfer.h"
#include "lang/Format.h"
#include "mainwin/MainWindow.h"
#include "ports/Clock.h"
#include "ports/Failure.h"
#include "ports/Locale.h"
#include "ports/Machine.h"
#include "ports/Platform.h"

namespace pellora {

namespace {

constexpr int kTextKilobytes = 1;
constexpr std::uint32_t kAsleep = 120'000;  // ms between two ticks: the machine was suspended

bool IsReceiving(const DownloadRecord& record) {
  return std::any_of(record.Segments.begin(), record.Segments.end(), [](const SegmentRecord& segment) {
    return segment.State == kSegmentReceiving || segment.State == kSegmentRetrieving;
  });
}

// The connections of the classic engine may have died meanwhile, and would be silent for ever. The web engine makes its
// own anew.
void ReconnectClassic(Program& program) {
  for (int i = 1; i <= program.DownloadCount; ++i) {
    const DownloadRecord& record = program.Download(i);
    const std::shared_ptr<Transfer> transfer = program.TransferWindowAt(i);
    if (!record.InUse || !record.Active || program.Web(i) != nullptr || !transfer || !IsReceiving(record)) continue;
    if (Skip([&] { transfer->PauseDownload(); })) program.platform.tasks.Spawn(transfer->ResumeDownload());
  }
}

std::int32_t RoundedSpeed(float speed) {
  const std::int64_t most = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::clamp(RoundTiesToEven(static_cast<double>(speed)), std::int64_t{0}, most));
}

}  // namespace

void MainWindow::Tick() {
  const std::uint32_t passed = platform_.clock.TickCount() - lastTickCount_;
  if (lastTickCount_ != 0 && passed > kAsleep) ReconnectClassic(program_);
  program_.speed->Update();
  WatchConnection();
  AttachPreview();
  stayAwake_.Watch();
  notices_.Watch();
  // A kill, or the end of a Wayland compositor, may come before the next regular save.
  if (program_.savesListSoon) Skip([this] { SaveList(program_); });
  // A tick that asks a question does nothing else; the next ones do while it is open.
  if (const std::optional<std::string> url = ClipboardUrl()) return platform_.tasks.Spawn(AskClipboard(*url));

  FlushPendingRefresh();
  FollowShowTransferWindow();
  StatusBar1.SetPanel(
      3, "Total downloaded : " +
             FormatSize(program_.SessionBytes(), program_.LangStrings, platform_.locale.DecimalSeparator()) + "  ");
  int runningCount = 0;
  for (int i = 1; i <= program_.DownloadCount; ++i) {
    const DownloadRecord& record = program_.Download(i);
    if (record.InUse && record.Active && record.ElapsedSeconds > 0) ++runningCount;
  }
  ShowSpeed(runningCount);
  Settings& settings = program_.settings;
  if (settings.Schedule && Queue(program_).ApplySchedule(settings, platform_.clock.Now())) missedAll_ = true;
  platform_.tasks.Spawn(PumpQueue());
}

// Both flags start False and only these branches set them, so neither branch is ever taken: a lost connection pauses
// nothing.
void MainWindow::WatchConnection() {
  const bool up = platform_.machine.ConnectionUp();
  if (!up && connectionUp_) {
    connectionUp_ = false;
    connectionLost_ = true;
    pauseall();
  } else if (up && !connectionUp_ && connectionLost_) {
    connectionUp_ = true;
    connectionLost_ = false;
    resumeall();
  }
}

void MainWindow::ShowSpeed(int runningCount) {
  const std::uint64_t total = program_.SessionTotal();
  const std::uint64_t bytes = total - lastTotal_;
  lastTotal_ = total;
  const std::uint32_t tick = platform_.clock.TickCount();
  const std::int32_t elapsed = TicksSince(tick, lastTickCount_);
  lastTickCount_ = tick;
  const float rate = elapsed > 0 ? static_cast<float>(bytes) / static_cast<float>(elapsed) * 1000.0F : 0.0F;
  overallSpeed_ = rate * 0.6F + overallSpeed_ * 0.4F;
  if (overallSpeed_ == 0.0F) overallSpeed_ = 1.0F;
  if (overallSpeed_ > static_cast<float>(peakSpeed_)) peakSpeed_ = RoundedSpeed(overallSpeed_);

  const auto kilobytes = static_cast<std::int64_t>(std::floor(overallSpeed_ / 1024.0F));
  const std::string speed = "Speed : " + std::to_string(kilobytes) + " " + program_.Text(kTextKilobytes) + "/s ";
  StatusBar1.SetPanel(2, speed);
  if (!program_.catcher) return;
  program_.catcher->refreshMessage("Pellora! Downloads(" + std::to_string(runningCount) + ") " + speed);
  // A peak that rounds to nothing counts as 1.
  const float level = overallSpeed_ / static_cast<float>(std::max(peakSpeed_, 1)) * 4.5F;
  program_.catcher->refreshIcon(static_cast<int>(std::clamp(level, 0.0F, 4.0F)));
}

std::optional<Queue::Turn> MainWindow::NextTurn() {
  return Queue(program_).Next(program_.settings.MaxSimulDownlads, platform_.clock.Now());
}

Task<> MainWindow::PumpQueue() {
  const auto hold = Hold();
  StartQueuedWeb();
  const std::optional<Queue::Turn> turn = NextTurn();
  if (!turn) co_return;
  if (turn->starts) {
    co_await StartRecord(turn->index, Start::Queued);
  } else {
    LeaveQueue(turn->index);
  }
}

void MainWindow::LeaveQueue(std::int16_t index) {
  program_.Download(index).Queued = 0;
  missedAll_ = true;  // its row must no longer show it as queued
  const std::shared_ptr<Transfer> transfer = program_.TransferWindowAt(index);
  if (transfer && program_.ShowTransferWindow && !program_.IsQuiet(index)) transfer->ShowWindow();
}

// Starts what has a place, in the queue's order, until it is the turn of a record of the classic engine, of which the
// tick starts one.
void MainWindow::StartQueuedWeb() {
  while (const std::optional<Queue::Turn> turn = NextTurn()) {
    if (turn->engine == EngineName::Classic) return;
    if (turn->starts) {
      platform_.tasks.Spawn(StartRecord(turn->index, Start::Queued));
    } else if (turn->resumes) {
      platform_.tasks.Spawn(ResumeTransfer(turn->index, OpensWindow(turn->index)));
    } else {
      LeaveQueue(turn->index);
    }
  }
}

// A place may have become free, or a record been queued: with the web engine a place is not left empty until the next
// tick.
void MainWindow::PumpSoon() {
  if (!program_.newWebEngine || pumpPosted_) return;
  pumpPosted_ = true;
  platform_.events.Post([this, alive = weak_from_this()] {
    const auto hold = alive.lock();
    if (!hold) return;
    pumpPosted_ = false;
    if (timerC_.Enabled() && !deferRefreshes_) StartQueuedWeb();
  });
}

}  // namespace pellora
