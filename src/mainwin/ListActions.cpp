// ListActions: popups, double clicks and keys of the two lists, and the information pane.
#include <cmath>
#include <limits>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "lang/Format.h"
#include "mainwin/MainWindow.h"
#include "platform/Boxes.h"
#include "platform/Desktop.h"
#include "platform/Failure.h"
#include "platform/Files.h"
#include "platform/Platform.h"
#include "platform/TaskLoop.h"

namespace pellora {

namespace {

constexpr int kAskClearAll = 408;

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash == 0 ? 1 : slash);
}

// Bytes per second over the whole transfer; 0 where no time was taken.
std::int64_t AverageSpeed(const DownloadRecord& record) {
  const double speed = static_cast<double>(record.FileSize) / static_cast<double>(record.ElapsedSeconds);
  const double most = static_cast<double>(std::numeric_limits<std::int32_t>::max());
  return std::isfinite(speed) && speed >= 0 && speed <= most ? static_cast<std::int64_t>(speed) : 0;
}

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
  if (!record.Finished && !record.Active) shedulded.Checked = record.Scheduled == 1;
}

void MainWindow::ToggleScheduled() {
  const std::optional<Pick> pick = Selected(ListView1);
  if (!pick) return;
  DownloadRecord& record = program_.Download(pick->index);
  if (record.Active || record.Finished) return;
  record.Scheduled = record.Scheduled == 1 ? std::int16_t{0} : std::int16_t{1};
  RefreshRows(0, 0);
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
  if (program_.boxes.Stands(this, text)) co_return;
  BoxRequest request{text, kProgramName, kCritical};
  (void)co_await program_.boxes.Ask(this, std::move(request));
}

// A finished download leaves the list; its file stays on the disk.
void MainWindow::ClearSelected() {
  for (const std::size_t at : ListView2.Selection()) {
    const std::optional<Pick> pick = PickOf(ListView2.Rows()[at]);
    if (!pick) continue;
    DownloadRecord& record = program_.Download(pick->index);
    if (!record.Finished) continue;  // the same URL, started again from the beginning
    record.InUse = false;
    record.Removed = true;
    program_.RaiseSerial(pick->index);
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

// Fills the information pane with the chosen finished file.
void MainWindow::ShowInfo() {
  const std::optional<Pick> pick = Selected(ListView2);
  if (!pick) return;
  const DownloadRecord& record = program_.Download(pick->index);
  if (!record.Finished) return;
  const std::string separator = platform_.locale.DecimalSeparator();
  const std::int64_t speed = AverageSpeed(record);
  Info(0).Caption = record.FileName;
  Info(1).Caption = FormatSize(record.FileSize, program_.LangStrings, separator);
  Info(2).Caption = record.URL;
  Info(3).Caption = record.SavePath;
  Info(4).Caption = DateText(pick->index);
  Info(5).Caption = speed == 0 ? std::string() : FormatSize(speed, program_.LangStrings, separator) + "/s";
}

}  // namespace pellora
