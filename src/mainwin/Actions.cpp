// Actions: what the toolbar, the menus and the keys ask for, by number.
#include <string>
#include <unordered_set>
#include <utility>

#include "async/Boxes.h"
#include "async/TaskLoop.h"
#include "core/Ascii.h"
#include "core/ListFile.h"
#include "core/PartFiles.h"
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

// Part files go only once the list on the disk says that nothing needs them. A kill in between would bring
// their record back with its progress and without its bytes. Where the list cannot be saved they stay.
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

// Also while it stands: it shows the settings anew, and what was typed is gone.
void MainWindow::ShowOptions() {
  optionsWindow->RefreshFromOptions();
  optionsWindow->Show();
  optionsWindow->Raise();
}

// True for Yes. A question that stands already is not asked a second time.
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
  RefreshRows(0, 0);
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
  RefreshRows(0, 0);
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
  if (!refreshed) RefreshRows(0, 0);
}

// Each pause forces a refresh of all rows; they are built once, after the last. True if they were.
bool MainWindow::PauseRunning() {
  gatherRefreshes_ = true;
  for (int i = 1; i <= program_.DownloadCount; ++i) {
    const DownloadRecord& record = program_.Download(i);
    if (!record.InUse || !record.Active) continue;
    const std::shared_ptr<Transfer> transfer = program_.TransferWindowAt(i);
    if (transfer) Skip([&] { transfer->PauseDownload(); });
  }
  gatherRefreshes_ = false;
  const bool forced = std::exchange(forcedMeanwhile_, false);
  return forced && Skip([this] { RefreshRows(0, 1); });
}

// Every waiting record starts or is queued, whether it was paused or not. Starting one may take seconds:
// what ends the round and how many records there are is looked at anew each time.
Task<> MainWindow::ResumeAll() {
  const auto hold = Hold();
  const std::uint64_t run = ++resumeRun_;
  for (int i = 1; i <= program_.DownloadCount && run == resumeRun_; ++i) {
    const DownloadRecord& record = program_.Download(i);
    // Without a host there is nowhere to dial: a redirect led nowhere.
    if (!record.InUse || record.Finished || record.Active || record.Host.empty()) continue;
    try {
      co_await Restart(static_cast<std::int16_t>(i));
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
  RefreshRows(0, 0);
  RefreshDownList();
}

void MainWindow::SaveTick() { SaveList(program_); }

}  // namespace pellora
