// Arrange: which rows of the two lists are shown and in which order, keys of the lists, and files that are dragged out.
#include <limits>
#include <memory>
#include <string>

#include "core/EngineChoice.h"
#include "core/FilterWords.h"
#include "core/WebTexts.h"
#include "mainwin/MainWindow.h"
#include "ports/Clipboard.h"

namespace pellora {

namespace {

constexpr double kByText = std::numeric_limits<double>::quiet_NaN();

// Columns, from 0.
enum CurrentColumn : int { kSizeColumn = 2, kStatusColumn = 3, kDateColumn = 4, kRemainingColumn = 5 };
enum FinishedColumn : int { kFinishedSizeColumn = 1, kFinishedDateColumn = 3 };

// Stopped, then waiting, then active ones, and each by its percentage.
double StatusFigure(const DownloadRecord& record) {
  constexpr double kAboveEveryPercentage = 1000;
  const int standing = record.Active ? 2 : record.Queued != 0 ? 1 : 0;
  return standing * kAboveEveryPercentage + static_cast<double>(record.Percent);
}

}  // namespace

void MainWindow::ConnectArranging() {
  FilterCaption.Visible = false;
  FilterText.Visible = false;
  endfilter.Enabled = false;
  findrows.OnClick = [this] { OpenFilter(); };
  endfilter.OnClick = [this] { CloseFilter(); };
  FilterText.OnChange = [this] { ApplyFilter(); };
  pasteurl.OnClick = [this] { PasteAddresses(); };
  sidepane.OnClick = [this] { Command4.Click(); };

  ListView1.SetFigures([this](const ListRow& row, int column) { return CurrentFigure(row, column); });
  ListView2.SetFigures([this](const ListRow& row, int column) { return FinishedFigure(row, column); });
  ListView1.OnColumnClick = [this](int column) { ListView1.ArrangeByNext(column); };
  ListView2.OnColumnClick = [this](int column) { ListView2.ArrangeByNext(column); };
  ListView1.OnSpaceKey = [this] { PauseOrRestartSelected(); };
  ListView1.OnDetailsKey = [this] { ShowDetails(ListView1); };
  ListView2.OnDetailsKey = [this] { ShowDetails(ListView2); };
  ListView2.FileOf = [this](const ListRow& row) { return FileOf(row); };
}

double MainWindow::CurrentFigure(const ListRow& row, int column) {
  if (!program_.Holds(row.record, row.serial)) return kByText;
  const DownloadRecord& record = program_.Download(row.record);
  switch (column) {
    case kSizeColumn:
      return static_cast<double>(SizeOf(row.record));
    case kStatusColumn:
      return StatusFigure(record);
    case kDateColumn:
      return record.DateAdded;
    case kRemainingColumn:
      return SizeOf(row.record) < 0 ? std::numeric_limits<double>::infinity()
                                    : static_cast<double>(record.RemainingSeconds);
    default:
      return kByText;
  }
}

double MainWindow::FinishedFigure(const ListRow& row, int column) {
  if (!program_.Holds(row.record, row.serial)) return kByText;
  if (column == kFinishedSizeColumn) return static_cast<double>(SizeOf(row.record));
  return column == kFinishedDateColumn ? program_.Download(row.record).DateAdded : kByText;
}

void MainWindow::OpenFilter() {
  FilterCaption.Visible = true;
  FilterText.Visible = true;
  endfilter.Enabled = true;
  FilterText.SelectAll = FilterText.SelectAll + 1;
}

void MainWindow::CloseFilter() {
  FilterText.Text = "";
  ApplyFilter();
  FilterCaption.Visible = false;
  FilterText.Visible = false;
  endfilter.Enabled = false;
}

// By the name, the address, and where the file is or will be.
void MainWindow::ApplyFilter() {
  const auto words = std::make_shared<const FilterWords>(FilterText.Text());
  RowArrangement::Matches matches;
  if (!words->Empty()) {
    matches = [this, words](const ListRow& row) {
      const bool known = program_.Holds(row.record, row.serial);
      return words->Fit({row.text, row.key, known ? program_.Download(row.record).SavePath : std::string()});
    };
  }
  ListView1.ShowOnly(matches);
  ListView2.ShowOnly(matches);
}

// As if it had been dropped.
void MainWindow::PasteAddresses() {
  const std::string text = platform_.clipboard.Text().value_or("");
  if (!TakeText(text, false, this)) Status(TextOf(program_, WebText::NoAddressPasted));
}

void MainWindow::PauseOrRestartSelected() {
  const std::optional<Pick> pick = Selected(ListView1);
  if (!pick) return;
  if (program_.Download(pick->index).Active) return RunAction(kPause);
  OpenOrRestart(ListView1);
}

// In the information pane, which is unfolded for it.
void MainWindow::ShowDetails(const ListView& list) {
  const std::optional<Pick> pick = Selected(list);
  if (!pick) return;
  showSidePane_ = true;
  TabStrip1.Selected = 1;
  Resize();
  ShowTab();
  if (IsWebRecord(program_, pick->index) && !program_.Download(pick->index).Finished) return SelectCurrent();
  EndPreview();
  ShowInfo(InfoOf(pick->index));
}

std::string MainWindow::FileOf(const ListRow& row) {
  const std::optional<Pick> pick = PickOf(row);
  if (!pick || !program_.Download(pick->index).Finished || !HasFile(pick->index)) return {};
  return program_.Download(pick->index).SavePath;
}

}  // namespace pellora
