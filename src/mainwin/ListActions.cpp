// ListActions: popups, double clicks and keys of the two lists.
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "async/Boxes.h"
#include "async/TaskLoop.h"
#include "core/ArchiveLook.h"
#include "core/ArchiveName.h"
#include "core/EngineChoice.h"
#include "core/FileNames.h"
#include "core/QueueOrder.h"
#include "core/RecordLife.h"
#include "core/SpeedLimit.h"
#include "core/WebAddress.h"
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

// Of the window that a menu entry opens: without access key and dots.
std::string TitleOf(std::string caption) {
  std::erase(caption, '&');
  while (caption.ends_with('.')) caption.pop_back();
  return caption;
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
  speedlimit.Enabled = !record.Finished;
  if (!record.Finished && !record.Active) shedulded.Checked = record.Scheduled == 1;
  lookinside.Visible = MayLookInside(pick->index);
  changeaddress.Visible = IsWebRecord(program_, pick->index);
  changeaddress.Enabled = MayChangeAddress(pick->index);
  const QueueOrder order(program_);
  const int number = order.NumberOf(pick->index);
  const int last = static_cast<int>(order.Queued().size());
  for (Menu* const entry : {&queuefirst, &queueup}) entry->Enabled = number > 1;
  for (Menu* const entry : {&queuedown, &queuelast}) entry->Enabled = number > 0 && number < last;
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
  question.text = SpeedLimitText((SpeedLimitOf(program_, pick->index) + kBytesOfKiB - 1) / kBytesOfKiB);
  question.refusal = [this](const std::string& text) {
    return ReadSpeedLimit(text) ? std::string() : TextOf(program_, WebText::BadSpeedLimit);
  };
  const std::optional<std::string> line = co_await askLine->Ask(std::move(question));
  if (!line || !program_.Holds(pick->index, pick->serial)) co_return;
  SetSpeedLimitOf(program_, pick->index, ReadSpeedLimit(*line).value_or(0) * kBytesOfKiB);
}

void MainWindow::ToggleScheduled() {
  const std::optional<Pick> pick = Selected(ListView1);
  if (!pick) return;
  DownloadRecord& record = program_.Download(pick->index);
  if (record.Active || record.Finished) return;
  record.Scheduled = record.Scheduled == 1 ? std::int16_t{0} : std::int16_t{1};
  RefreshRows(kAllRows, kUnforced);
}

bool MainWindow::MayChangeAddress(int index) {
  const DownloadRecord& record = program_.Download(index);
  return program_.takeAddress && record.InUse && IsWebRecord(program_, index) && !record.Active && !record.Finished;
}

// Why the record cannot have this address.
std::string MainWindow::AddressRefusal(int index, const std::string& url) {
  const AddressReading reading = ReadOtherAddress(program_, url);
  if (reading.engine != EngineName::Web) return TextOf(program_, WebText::BadAddress);
  const int listed = FindListed(program_, reading.listed, EngineName::Web);
  return listed == 0 || listed == index ? std::string() : TextOf(program_, WebText::AddressIsListed);
}

// The engine tries the address at the record's next start, which is now or when it is its turn.
Task<> MainWindow::ChangeAddress() {
  const auto hold = Hold();
  const std::optional<Pick> pick = Selected(ListView1);
  if (!pick || !MayChangeAddress(pick->index)) co_return;
  const DownloadRecord& record = program_.Download(pick->index);
  const std::string& name = record.FileName.empty() ? record.Host : record.FileName;
  LineQuestion question;
  question.title = TitleOf(changeaddress.Caption);
  question.caption = FillText(TextOf(program_, WebText::NewAddressOf), {name});
  question.text = record.URL;
  question.refusal = [this, index = pick->index](const std::string& url) { return AddressRefusal(index, url); };
  const std::optional<std::string> url = co_await askLine->Ask(std::move(question));
  if (!url || !program_.Holds(pick->index, pick->serial) || !MayChangeAddress(pick->index)) co_return;
  program_.takeAddress(pick->index, ReadOtherAddress(program_, *url));
  co_await Restart(pick->index);
}

// A waiting download too: nothing of it is begun by that.
bool MainWindow::MayLookInside(int index) {
  if (!program_.lookInside || ChooseEngine(program_, index).engine != EngineName::Web) return false;
  const DownloadRecord& record = program_.Download(index);
  if (IsArchiveName(record.FileName)) return true;
  const std::optional<WebAddress> address = ParseWebAddress(record.URL);
  return address && IsArchiveName(LastPathPart(*address));
}

void MainWindow::LookInside() {
  const std::optional<Pick> pick = Selected(ListView1);
  if (!pick || !MayLookInside(pick->index)) return;
  program_.lookInside({.url = program_.Download(pick->index).URL, .record = pick->index, .serial = pick->serial});
}

void MainWindow::MoveInQueue(QueueMove move) {
  const std::optional<Pick> pick = Selected(ListView1);
  if (!pick) return;
  QueueOrder order(program_);
  (void)order.Move(pick->index, move);
  const int number = order.NumberOf(pick->index);
  if (number > 0) Status(FillText(TextOf(program_, WebText::NumberInQueue), {std::to_string(number)}));
  PumpSoon();
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

// What was unpacked from an archive is a folder.
bool MainWindow::HasFile(std::int16_t index) const {
  const std::string& path = program_.Download(index).SavePath;
  const WebFigures* const figures = program_.Web(index);
  if (figures != nullptr && figures->inFolder) return platform_.files.Exists(path);
  return Skip([&] { (void)platform_.files.LengthOf(path); });
}

Task<> MainWindow::OpenFile(std::int16_t index) {
  const auto hold = Hold();
  const std::string path = program_.Download(index).SavePath;
  if (HasFile(index)) {
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
