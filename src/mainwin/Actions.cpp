// Actions: what the toolbar, the menus and the keys do, by number.
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "async/Boxes.h"
#include "async/TaskLoop.h"
#include "core/Ascii.h"
#include "core/ListFile.h"
#include "core/PartFiles.h"
#include "core/QueueOrder.h"
#include "core/RecordLife.h"
#include "mainwin/MainWindow.h"
#include "options/Options.h"
#include "ports/Failure.h"
#include "ports/Files.h"
#include "ports/Platform.h"

namespace pellora {

namespace {

constexpr int kAskReset = 409;
constexpr int kAskQuit = 410;
constexpr int kAskDelete = 411;

std::unordered_set<std::string> PartFilesOf(const DownloadRecord& record) {
  std::unordered_set<std::string> names;
  if (record.Finished) return names;  // joined and deleted already
  for (const SegmentRecord& segment : record.Segments) {
    if (IsPartFileName(segment.TempFile)) names.insert(segment.TempFile);
  }
  return names;
}

// Part files are deleted only once the list on the disk no longer needs them: after a kill in between, their record
// would have its progress but not its bytes. If the list cannot be saved they stay.
void DeleteParts(Program& program, const std::unordered_set<std::string>& names) {
  if (names.empty() || !SaveListBeforeTouchingParts(program)) return;
  for (const std::string& name : names) DeletePart(program.platform.files, name);
}

}  // namespace

void MainWindow::RunAction(int number) {
  TaskLoop& tasks = platform_.tasks;
  switch (number) {
    case kAdd:
      return tasks.Spawn(AddAction());
    case kDelete:
      return tasks.Spawn(DeleteSelected());
    case kOptions:
      return ShowOptions();
    case kQuit:
      return tasks.Spawn(Quit());
    case kPause:
      return PauseSelected();
    case kPauseAll:
      return PauseAll();
    case kResumeAll:
      return tasks.Spawn(ResumeAll());
    case kResetList:
      return tasks.Spawn(ResetList());
    default:  // there is no internal browser
      return;
  }
}

// If it is open already it shows the settings again, and what was typed is lost.
void MainWindow::ShowOptions() {
  optionsWindow->RefreshFromOptions();
  optionsWindow->Show();
  optionsWindow->Raise();
}

// True for Yes. Does not repeat an open question.
Task<bool> MainWindow::Confirm(std::string text, std::string title) {
  const auto hold = Hold();
  if (program_.boxes.IsOpen(this, text)) co_return false;
  BoxRequest request{std::move(text), std::move(title), kYesNo | kQuestion};
  const int answer = co_await program_.boxes.Ask(this, std::move(request));
  co_return answer != kAnswerNo;
}

Task<> MainWindow::DeleteSelected() {
  const auto hold = Hold();
  const std::optional<Pick> pick = Selected(ListView1);
  if (!pick) co_return;
  if (program_.Download(pick->index).Active) {
    const bool yes = co_await Confirm(program_.Text(kAskDelete), kProgramName);
    if (!yes || !program_.Holds(pick->index, pick->serial)) co_return;
  }
  RemoveRecord(pick->index);
}

void MainWindow::RemoveRecord(std::int16_t index) {
  const DownloadRecord& record = program_.Download(index);
  if (!record.InUse) return;
  const bool finished = record.Finished;
  EmptyPlace(program_, index);
  Release(program_, index, kDeleted);
  std::unordered_set<std::string> parts = PartFilesOf(record);
  for (int i = 1; i <= program_.DownloadCount && !parts.empty(); ++i) {
    const DownloadRecord& other = program_.Download(i);
    if (!other.InUse) continue;
    for (const SegmentRecord& segment : other.Segments) parts.erase(segment.TempFile);
  }
  DeleteParts(program_, parts);
  RefreshRows(kAllRows, kUnforced);
  if (finished) RefreshDownList();
}

Task<> MainWindow::Quit() {
  const auto hold = Hold();
  bool anyInUse = false;
  for (int i = 1; i <= program_.DownloadCount && !anyInUse; ++i) anyInUse = program_.Download(i).InUse;
  if (anyInUse) {
    const bool yes = co_await Confirm(program_.Text(kAskQuit), kProgramName);
    if (!yes) co_return;
  }
  program_.saveAndQuit();
}

void MainWindow::PauseSelected() {
  const std::optional<Pick> pick = Selected(ListView1);
  if (pick) PauseRecord(pick->index);
  RefreshRows(kAllRows, kUnforced);
}

bool MainWindow::PauseRecord(std::int16_t index) {
  const std::shared_ptr<Transfer> transfer = program_.TransferWindowAt(index);
  if (!transfer || !program_.Download(index).Active) return false;
  transfer->PauseDownload();
  return true;
}

void MainWindow::PauseAll() {
  EndResumeAll();
  const bool refreshed = PauseRunning();
  if (!refreshed) RefreshRows(kAllRows, kUnforced);
}

// Each pause forces a refresh of all rows; this does it once, after the last. True if it did.
bool MainWindow::PauseRunning() {
  deferRefreshes_ = true;
  for (int i = 1; i <= program_.DownloadCount; ++i) {
    const DownloadRecord& record = program_.Download(i);
    if (!record.InUse || !record.Active) continue;
    const std::shared_ptr<Transfer> transfer = program_.TransferWindowAt(i);
    if (transfer) Skip([&] { transfer->PauseDownload(); });
  }
  deferRefreshes_ = false;
  const bool forced = std::exchange(forcedRefreshDeferred_, false);
  return forced && Skip([this] { RefreshRows(kAllRows, kForced); });
}

// Starts or queues every waiting record in the order of the queue, whether it was paused or not. Starting one may take
// seconds, so the count of records and EndResumeAll are checked each time.
Task<> MainWindow::ResumeAll() {
  const auto hold = Hold();
  const std::uint64_t generation = ++resumeGeneration_;
  const std::vector<std::int16_t> arranged = QueueOrder(program_).Arranged();
  for (int at = 1; at <= program_.DownloadCount && generation == resumeGeneration_; ++at) {
    const int i = at <= static_cast<int>(arranged.size()) ? arranged[static_cast<std::size_t>(at) - 1] : at;
    if (i > program_.DownloadCount) continue;
    const DownloadRecord& record = program_.Download(i);
    // A redirect that led nowhere leaves no host.
    if (!record.InUse || record.Finished || record.Active || record.Host.empty()) continue;
    if (WaitsForItsTime(program_, i)) continue;
    try {
      co_await RestartRecord(static_cast<std::int16_t>(i), OpensWindow(i));
    } catch (const Failure&) {  // NOLINT(bugprone-empty-catch): that record is not started, the next one is
    }
  }
}

Task<> MainWindow::ResetList() {
  const auto hold = Hold();
  bool anyUnfinished = false;
  for (int i = 1; i <= program_.DownloadCount && !anyUnfinished; ++i) {
    anyUnfinished = program_.Download(i).InUse && !program_.Download(i).Finished;
  }
  if (anyUnfinished) {
    const bool yes = co_await Confirm(program_.Text(kAskReset), "Question");
    if (!yes) co_return;
  }
  EndResumeAll();
  PauseRunning();
  std::unordered_set<std::string> parts;
  for (int i = 1; i <= program_.DownloadCount; ++i) {
    const DownloadRecord& record = program_.Download(i);
    EmptyPlace(program_, static_cast<std::int16_t>(i));
    if (record.InUse) parts.merge(PartFilesOf(record));
  }
  program_.ResizeDownloads(0);
  DeleteParts(program_, parts);
  RefreshRows(kAllRows, kUnforced);
  RefreshDownList();
}

void MainWindow::SaveTick() { SaveList(program_); }

}  // namespace pellora
