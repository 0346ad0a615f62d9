// ListActions: popups, double clicks and keys of the two lists.
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "async/Boxes.h"
#include "async/TaskLoop.h"
#include "core/FileNames.h"
#include "core/RecordLife.h"
#include "core/SpeedLimit.h"
#include "core/WebTexts.h"
#include "mainwin/AskLine.h"
#include "mainwin/MainWindow.h"
#include "ports/Dialogs.h"
#include "ports/Failure.h"
#include "ports/Files.h"
#include "ports/Platform.h"
#include "ports/Shell.h"

namespace pellora {

namespace {

constexpr int kAskClearAll = 408;
constexpr std::int64_t kKiB = 1024;

}  // namespace

void MainWindow::PreparePopup() {
  const std::optional<Pick> pick = Selected(ListView1);
  if (!pick) return;
  const DownloadRecord& record = program_.Download(pick->index);
  opene.Enabled = record.Finished;
  resumed.Enabled = !record.Finished && !record.Active;
  stopdl.Enabled = !record.Finished && record.Active;
  stopall.Enabled = true;
  properties.Enabled = true;
  speedlimit.Enabled = !record.Finished;
  if (!record.Finished && !record.Active) shedulded.Checked = record.Scheduled == 1;
}

void MainWindow::PrepareFinishedPopup() {
  const bool selected = !ListView2.Selection().empty();
  openfile2.Enabled = selected;
  cleardown2.Enabled = selected;
  clearall.Enabled = !ListView2.Rows().empty();
}

// The limit of the selected download, which may have been deleted meanwhile.
Task<> MainWindow::AskSpeedLimit() {
  const auto hold = Hold();
  const std::optional<Pick> pick = Selected(ListView1);
  if (!pick || program_.Download(pick->index).Finished) co_return;
  LineQuestion question;
  question.title = TextOf(program_, WebText::SpeedLimitTitle);
  question.caption = TextOf(program_, WebText::SpeedLimitQuestion);
  question.text = SpeedLimitText((SpeedLimitOf(program_, pick->index) + kKiB - 1) / kKiB);
  question.refusal = [this](const std::string& text) {
    return ReadSpeedLimit(text) ? std::string() : TextOf(program_, WebText::BadSpeedLimit);
  };
  const std::optional<std::string> line = co_await askLine->Ask(std::move(question));
  if (!line || !program_.Holds(pick->index, pick->serial)) co_return;
  SetSpeedLimitOf(program_, pick->index, ReadSpeedLimit(*line).value_or(0) * kKiB);
}

void MainWindow::ToggleScheduled() {
  const std::optional<Pick> pick = Selected(ListView1);
  if (!pick) return;
  DownloadRecord& record = program_.Download(pick->index);
  if (record.Active || record.Finished) return;
  record.Scheduled = record.Scheduled == 1 ? std::int16_t{0} : std::int16_t{1};
  RefreshRows(kAllRows, kUnforced);
}

void MainWindow::OpenOrRestart(const ListView& list) {
  const std::optional<Pick> pick = Selected(list);
  if (!pick) return;
  if (program_.Download(pick->index).Finished) {
    platform_.tasks.Spawn(OpenFile(pick->index));
  } else if (&list == &ListView1) {
    platform_.tasks.Spawn(Restart(pick->index));
  }
}

Task<> MainWindow::OpenFile(std::int16_t index) {
  const auto hold = Hold();
  const std::string path = program_.Download(index).SavePath;
  if (Skip([&] { (void)platform_.files.LengthOf(path); })) {
    platform_.shell.OpenPath(path, FolderOf(path));
    co_return;
  }
  const std::string text = program_.Download(index).FileName + " not found. Can't start it";
  if (program_.boxes.IsOpen(this, text)) co_return;
  BoxRequest request{text, kProgramName, kCritical};
  (void)co_await program_.boxes.Ask(this, std::move(request));
}

// The files stay on the disk.
void MainWindow::ClearSelected() {
  for (const std::size_t at : ListView2.Selection()) {
    const std::optional<Pick> pick = PickOf(ListView2.Rows()[at]);
    if (!pick) continue;
    if (!program_.Download(pick->index).Finished) continue;  // the same URL, started again
    Release(program_, pick->index, kCleared);
  }
  RefreshDownList();
}

Task<> MainWindow::ClearAll() {
  const auto hold = Hold();
  const bool yes = co_await Confirm(program_.Text(kAskClearAll), kProgramName);
  if (!yes) co_return;
  std::vector<std::size_t> all(ListView2.Rows().size());
  std::iota(all.begin(), all.end(), std::size_t{0});
  ListView2.Select(std::move(all));
  ClearSelected();
}

}  // namespace pellora
