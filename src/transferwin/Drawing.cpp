// What TransferWindow draws of its engine's figures.
#include <algorithm>
#include <string>
#include <vector>

#include "core/Numbers.h"
#include "lang/Format.h"
#include "ports/Failure.h"
#include "ports/Locale.h"
#include "transferwin/TransferWindow.h"

namespace pellora {

namespace {

constexpr double kRowBarTwips = 2520;   // the bar of a full segment where its row alone is drawn
constexpr double kListBarTwips = 2500;  // and where all rows are
// By LaneColour, which the engine chooses.
constexpr Colour kReceivingColour = 0x00C0C0;
constexpr Colour kCompleteColour = 0x0000FF;
constexpr Colour kPausedColour = 0xFF0000;

double BarWidth(const Lane& lane, double full) {
  const double width = full * static_cast<double>(lane.received) / static_cast<double>(lane.size);
  if (lane.size == 0 || width < 0) throw Failure(FailureNumber::InvalidCall, "no such width");
  return width;
}

}  // namespace

// A web engine's record has no name until the server replies.
const std::string& TransferWindow::FileOrHost() const {
  const DownloadRecord& record = slot_.Record();
  return record.FileName.empty() && program_.Web(RecordIndex) != nullptr ? record.Host : record.FileName;
}

void TransferWindow::DoRefresh() {
  if (!engine_->Current()) return;
  const Totals totals = engine_->Figures();
  if (totals.state != nullptr) state.Caption = *totals.state;
  const std::string decimal = program_.platform.locale.DecimalSeparator();
  const bool sized = totals.size >= 0;
  const auto& texts = program_.LangStrings;
  const std::string share =
      sized ? FormatPercent(totals.percent, decimal) + "%" : FormatSize(totals.received, texts, decimal);
  Caption = sized || totals.received > 0 ? share + " of " + FileOrHost() + " downloaded." : FileOrHost();
  TakeSpeed(totals.received);
  const bool idle = State() == WindowState::Minimised && DisplayIdle;
  if (!idle) {
    PB.Value = sized ? static_cast<double>(totals.percent) : -1.0;
    PB.Busy = totals.busy;
    if (totals.elapsed != 0) {
      Speed.Caption = FormatSize(RoundTiesToEven(totals.bytesPerSecond), texts, decimal) + "/s";
      Ela.Caption = FormatDuration(totals.elapsed, texts);
      Est.Caption = FormatDuration(totals.remaining, texts);
      Label4.Caption = FormatSize(totals.received, texts, decimal);
      Label1.Caption = sized ? "/ " + FormatSize(totals.size, texts, decimal) : "";
      RefreshList(0);
    }
  }
  program_.lists->RefreshRows(RecordIndex, kUnforced);
}

void TransferWindow::DrawLane(const Lane& lane, int i, double fullWidth, const std::string& decimal) {
  if (lane.state != nullptr) StateS(i - 1).Caption = *lane.state;
  Size(i - 1).Caption = FormatSize(lane.received, program_.LangStrings, decimal);
  Skip([&] { Prog(i - 1).Width = BarWidth(lane, fullWidth); });
  Num(i - 1).Caption = std::to_string(i);
}

void TransferWindow::RefreshList(std::int16_t row) {
  if (DisplayIdle || !engine_->Current()) return;
  const std::string decimal = program_.platform.locale.DecimalSeparator();
  const int count = std::min(engine_->LaneCount(), kMaxLanes);
  if (row != 0) {
    if (row <= count) DrawLane(engine_->LaneAt(row, LaneForm::Row), row, kRowBarTwips, decimal);
    return;
  }
  List1.Items = std::vector<std::string>{};
  for (int i = 1; i <= count; ++i) {
    const Lane lane = engine_->LaneAt(i, LaneForm::Full);
    if (!lane.watched) continue;
    if (lane.colour == LaneColour::Receiving) Prog(i - 1).FillColor = kReceivingColour;
    if (lane.colour == LaneColour::Complete) Prog(i - 1).FillColor = kCompleteColour;
    if (lane.colour == LaneColour::Paused) Prog(i - 1).FillColor = kPausedColour;
    DrawLane(lane, i, kListBarTwips, decimal);
  }
}

void TransferWindow::ShowLanes(int count) {
  for (int j = 0; j < kMaxLanes; ++j) {
    const bool visible = j < count;
    StateS(j).Visible = visible;
    Shape1(j).Visible = visible;
    Size(j).Visible = visible;
    Num(j).Visible = visible;
  }
}

}  // namespace pellora
