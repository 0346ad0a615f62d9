// Rows: builds the two lists from the records. A row has its record's number and serial, so that it can still be
// matched after a redirect has changed the URL, the row's key.
#include <algorithm>
#include <bit>
#include <string>
#include <utility>
#include <vector>

#include "core/EngineChoice.h"
#include "lang/Format.h"
#include "mainwin/MainWindow.h"
#include "ports/Clock.h"
#include "ports/EventLoop.h"
#include "ports/Failure.h"
#include "ports/Files.h"
#include "ports/Locale.h"
#include "ports/Platform.h"
#include "ui/SystemHelpers.h"

namespace pellora {

namespace {

// How many finished files are checked in one event; a slow disk must not freeze the window.
constexpr std::size_t kFilesInOneGo = 256;

constexpr int kTextFinished = 300;
constexpr int kTextActive = 301;
constexpr int kTextQueued = 302;
constexpr int kTextStopped = 303;

// The sub-items of a row, which follow its file name.
enum CurrentSubItem : std::size_t { kServer, kSize, kStatus, kDateAdded, kRemaining, kCurrentSubItems };
enum FinishedSubItem : std::size_t { kFinishedSize, kFinishedUrl, kFinishedDate, kFinishedSubItems };

void SetWithPercent(std::string& text, const std::string& word, const DownloadRecord& record,
                    const std::string& separator) {
  text = word;
  text.append(" (").append(FormatPercent(static_cast<double>(record.Percent), separator)).append("%)");
}

// Row `at` of rows that are filled in turn: an old one, whose memory is reused, or a new one.
ListRow& RowAt(std::vector<ListRow>& rows, std::size_t at) { return at < rows.size() ? rows[at] : rows.emplace_back(); }

const char* WaitingIcon(const DownloadRecord& record) {
  if (record.Scheduled == 1) return "shed";
  if (TimedOut(record)) return "wrong";
  return "down";
}

bool SameDate(double a, double b) { return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b); }

}  // namespace

// Unsigned, unlike TicksSince: lists unchanged for 25 days must still be due.
bool MainWindow::RefreshIsDue() const {
  return !lastRefresh_ || platform_.clock.TickCount() - *lastRefresh_ >= kRefreshMilliseconds;
}

void MainWindow::RefreshRows(std::int16_t index, std::int16_t force) {
  PumpSoon();
  if (deferRefreshes_ || (force <= 0 && !RefreshIsDue())) {
    forcedRefreshDeferred_ = forcedRefreshDeferred_ || force > 0;
    if (index == 0) {
      missedAll_ = true;
    } else if (std::find(missedRows_.begin(), missedRows_.end(), index) == missedRows_.end()) {
      missedRows_.push_back(index);
    }
    return;
  }
  lastRefresh_ = platform_.clock.TickCount();
  if (index != 0 && UpdateRow(index)) {
    std::erase(missedRows_, index);
    return;
  }
  RebuildRows();
}

// Refreshes that the limit postponed and no later one included.
void MainWindow::FlushPendingRefresh() {
  if (std::exchange(finishedMissed_, false)) {
    RefreshRows(kAllRows, kForced);
    RefreshDownList();
  }
  if ((!missedAll_ && missedRows_.empty()) || !RefreshIsDue()) return;
  lastRefresh_ = platform_.clock.TickCount();
  const std::vector<std::int16_t> rows = std::exchange(missedRows_, {});
  const bool all =
      missedAll_ || std::any_of(rows.begin(), rows.end(), [this](auto index) { return !UpdateRow(index); });
  if (all) RebuildRows();
}

void MainWindow::RebuildRows() {
  missedAll_ = false;
  missedRows_.clear();
  const std::string separator = platform_.locale.DecimalSeparator();
  const auto count = static_cast<std::size_t>(program_.DownloadCount);
  rowOfRecord_.assign(count + 1, -1);
  dateTexts_.resize(count + 1, {0.0, std::string()});
  std::vector<ListRow> rows = std::move(spareRows_);
  std::size_t used = 0;
  for (int i = 1; i <= program_.DownloadCount; ++i) {
    const DownloadRecord& record = program_.Download(i);
    if (!record.InUse || record.Finished || !HasRow(i)) continue;
    ListRow& row = RowAt(rows, used);
    FillRow(row, static_cast<std::int16_t>(i), separator);
    if (IsWebRecord(program_, i)) {
      SetWebStatus(row, i, separator);
    } else if (record.Active) {
      SetWithPercent(row.subItems[kStatus], program_.Text(kTextActive), record, separator);
      row.icon = "stop";
    } else {
      if (record.Queued != 0) {
        row.subItems[kStatus] = program_.Text(kTextQueued);
      } else {
        SetWithPercent(row.subItems[kStatus], program_.Text(kTextStopped), record, separator);
      }
      row.icon = WaitingIcon(record);
    }
    rowOfRecord_[static_cast<std::size_t>(i)] = static_cast<std::int32_t>(used++);
  }
  rows.resize(used);
  spareRows_ = ListView1.SetRows(std::move(rows));
}

// Updates the row of one record; False if it has none and the list must be rebuilt. Shows less than a rebuild on
// purpose: a record that is neither finished nor active always shows as stopped, with the plain icon.
bool MainWindow::UpdateRow(std::int16_t index) {
  const auto at = static_cast<std::size_t>(index);
  if (index < 1 || index > program_.DownloadCount) return false;
  const DownloadRecord& record = program_.Download(index);
  if (record.InUse && !HasRow(index)) return true;  // no row before it has a name
  if (at >= rowOfRecord_.size() || rowOfRecord_[at] < 0 || !record.InUse) return false;
  const auto rowNumber = static_cast<std::size_t>(rowOfRecord_[at]);
  const ListRow& old = ListView1.Rows().at(rowNumber);
  if (!program_.Holds(index, old.serial)) return false;

  const std::string separator = platform_.locale.DecimalSeparator();
  ListRow row;
  FillRow(row, index, separator);
  std::string& status = row.subItems[kStatus];
  if (record.Finished) {
    status = program_.Text(kTextFinished);
    row.icon = old.icon;
  } else if (IsWebRecord(program_, index)) {
    SetWebStatus(row, index, separator);
  } else if (record.Active) {
    SetWithPercent(status, program_.Text(kTextActive), record, separator);
    row.icon = "stop";
  } else {
    SetWithPercent(status, program_.Text(kTextStopped), record, separator);
    row.icon = "down";
  }
  ListView1.SetRow(rowNumber, std::move(row));
  return true;
}

// A record of the web engine has no name until the server replies: until then its row shows the host.
bool MainWindow::HasRow(int index) {
  return !program_.Download(index).FileName.empty() ||
         (IsWebRecord(program_, index) && !program_.Download(index).Host.empty());
}

// One form for both ways of drawing. A percentage needs a known size.
void MainWindow::SetWebStatus(ListRow& row, int index, const std::string& separator) {
  const DownloadRecord& record = program_.Download(index);
  const bool failed = HasFailed(program_, index);
  const WebFigures* const figures = program_.Web(index);
  const std::string& word = program_.Text(record.Active ? kTextActive : kTextStopped);
  std::string& status = row.subItems[kStatus];
  if (record.Queued != 0 && !record.Active) {
    status = program_.Text(kTextQueued);
  } else if (figures != nullptr && figures->size >= 0) {
    SetWithPercent(status, word, record, separator);
  } else {
    status = word;
  }
  row.icon = record.Active ? "stop" : failed && record.Queued == 0 ? "wrong" : WaitingIcon(record);
  row.toolTip = ReasonOf(program_, index);
}

// Fills everything but status, icon and tool tip, into a row that may have been another record's.
void MainWindow::FillRow(ListRow& row, std::int16_t index, const std::string& separator) {
  const DownloadRecord& record = program_.Download(index);
  row.key = record.URL;
  const std::int64_t size = SizeOf(index);
  row.text = record.FileName.empty() ? record.Host : record.FileName;
  row.toolTip.clear();
  row.subItems.resize(kCurrentSubItems);
  row.subItems[kServer] = record.Host;
  row.subItems[kSize] = FormatSize(size, program_.LangStrings, separator);
  row.subItems[kDateAdded] = DateText(index);
  row.subItems[kRemaining] = FormatClock(size < 0 ? -1 : record.RemainingSeconds);
  row.record = index;
  row.serial = program_.Serial(index);
}

// Bytes; -1 if it is the web engine's to know and not known yet.
std::int64_t MainWindow::SizeOf(int index) {
  const WebFigures* const figures = program_.Web(index);
  if (figures != nullptr) return figures->size;
  const DownloadRecord& record = program_.Download(index);
  return IsWebRecord(program_, index) && !record.Finished ? -1 : record.FileSize;
}

// Cached: the locale's date text costs more than the rest of a row, and a record's date never changes.
const std::string& MainWindow::DateText(std::int16_t index) {
  const auto at = static_cast<std::size_t>(index);
  if (at >= dateTexts_.size()) dateTexts_.resize(at + 1, {0.0, std::string()});
  auto& [date, text] = dateTexts_[at];
  const double added = program_.Download(index).DateAdded;
  if (text.empty() || !SameDate(date, added)) {
    date = added;
    text = platform_.locale.DateTimeText(added);
  }
  return text;
}

// A rebuild looks for all finished files: not once for each of many.
void MainWindow::RefreshFinishedSoon() {
  PumpSoon();
  finishedMissed_ = true;
}

void MainWindow::RefreshDownList() {
  PumpSoon();
  // Finished records must leave the list of current downloads.
  missedAll_ = missedAll_ || std::any_of(ListView1.Rows().begin(), ListView1.Rows().end(), [this](const ListRow& row) {
                 const std::optional<Pick> pick = PickOf(row);
                 return !pick || program_.Download(pick->index).Finished;
               });
  const std::string separator = platform_.locale.DecimalSeparator();
  std::vector<ListRow> rows = std::move(spareFinishedRows_);
  std::size_t used = 0;
  for (int i = 1; i <= program_.DownloadCount; ++i) {
    const DownloadRecord& record = program_.Download(i);
    if (record.FileName.empty() || !record.InUse || !record.Finished) continue;
    ListRow& row = RowAt(rows, used++);
    row.key = record.URL;
    row.text = record.FileName;
    row.icon = FileTypePicture(record.SavePath);
    row.toolTip = ReasonOf(program_, i);
    row.subItems.resize(kFinishedSubItems);
    row.subItems[kFinishedSize] = FormatSize(SizeOf(i), program_.LangStrings, separator);
    row.subItems[kFinishedUrl] = record.URL;
    row.subItems[kFinishedDate] = DateText(static_cast<std::int16_t>(i));
    row.record = static_cast<std::int16_t>(i);
    row.serial = program_.Serial(i);
  }
  rows.resize(used);
  spareFinishedRows_ = ListView2.SetRows(std::move(rows));
  CheckFinishedFiles(0, ++finishedGeneration_);
}

// Marks the rows whose file is gone, some in each event.
void MainWindow::CheckFinishedFiles(std::size_t from, std::uint64_t generation) {
  if (generation != finishedGeneration_) return;
  const std::size_t end = std::min(from + kFilesInOneGo, ListView2.Rows().size());
  for (std::size_t at = from; at < end; ++at) {
    ListRow row = ListView2.Rows()[at];
    if (!program_.Holds(row.record, row.serial)) continue;
    if (HasFile(row.record)) continue;
    row.icon = "notfound";
    ListView2.SetRow(at, std::move(row));
  }
  if (end == ListView2.Rows().size()) return;
  platform_.events.Post([this, end, generation, alive = weak_from_this()] {
    const auto hold = alive.lock();
    if (hold) CheckFinishedFiles(end, generation);
  });
}

// The record of a row. One that was replaced by another with the same URL still counts.
std::optional<MainWindow::Pick> MainWindow::PickOf(const ListRow& row) const {
  if (row.record < 1 || row.record > program_.DownloadCount) return std::nullopt;
  const DownloadRecord& record = program_.Download(row.record);
  if (!record.InUse) return std::nullopt;
  if (!program_.Holds(row.record, row.serial) && record.URL != row.key) return std::nullopt;
  return Pick{row.record, program_.Serial(row.record)};
}

std::optional<MainWindow::Pick> MainWindow::Selected(const ListView& list) const {
  if (list.Selection().empty()) return std::nullopt;
  return PickOf(list.Rows()[list.Selection().front()]);
}

}  // namespace pellora
