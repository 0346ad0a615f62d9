// What TransferWindow counts and shows.
#include <cmath>
#include <limits>
#include <string>

#include "core/Numbers.h"
#include "lang/Format.h"
#include "ports/Clock.h"
#include "ports/Failure.h"
#include "ports/Locale.h"
#include "transfer/TextNumbers.h"
#include "transfer/TransferWindow.h"

namespace pellora {

namespace {

// ms from one drawing for arriving bytes to the next
constexpr std::int32_t kRefreshTicks = 200;
constexpr double kRowBarTwips = 2520;   // the bar of a full segment where its row alone is drawn
constexpr double kListBarTwips = 2500;  // and where all rows are
constexpr Colour kReceivingColour = 0x00C0C0;
constexpr Colour kCompleteColour = 0x0000FF;
constexpr Colour kPausedColour = 0xFF0000;

enum class RefreshForm { Row, Full };

// The text of a segment's state; null for a state that has none, which leaves the row as it is.
const std::string* StateText(const Program& program, std::int16_t state, RefreshForm form) {
  static const std::string kLoggingIn = "Logging in...";
  static const std::string kGettingReady = "Get ready file...";
  static const std::string kReceiving = "Receiving";
  static const std::string kRefusedRow = "Too many connections.";
  static const std::string kRefusedFull = "Too Many Connections";
  switch (state) {
    case kSegmentUnconnected:
      return &program.Text(kTextSegmentConnecting);
    case kSegmentRequested:
      return &program.Text(kTextWaitingForData);
    case kSegmentReceiving:
      return &program.Text(kTextSegmentReceiving);
    case kSegmentComplete:
      return &program.Text(kTextSegmentComplete);
    case kSegmentPaused:
      return &program.Text(kTextPaused);
    case kSegmentLoggingIn:
      return &kLoggingIn;
    case kSegmentLoggedIn:
      return &kGettingReady;
    case kSegmentRetrieving:
      return &kReceiving;
    case kSegmentRefused:
      return form == RefreshForm::Row ? &kRefusedRow : &kRefusedFull;
    default:
      return nullptr;
  }
}

double BarWidth(const SegmentRecord& segment, double full) {
  const auto size =
      static_cast<double>(std::int64_t{segment.RangeEnd} + segment.ReceivedTotal - segment.RangeStart + 1);
  const double width = full * static_cast<double>(segment.Received()) / size;
  if (size == 0 || width < 0) throw Failure(FailureNumber::InvalidCall, "no such width");
  return width;
}

}  // namespace

void TransferWindow::CountReceived(std::uint32_t tick, std::size_t bytes) {
  program_.CountReceived(bytes);
  lastByteTick_ = tick;
}

std::uint32_t TransferWindow::SilentFor() const { return Tick() - lastByteTick_; }

bool TransferWindow::Account(std::uint32_t tick, std::int64_t bytes) {
  UpdateFigures(tick, bytes);
  if (lastRefreshTick_ != 0 && TicksSince(tick, lastRefreshTick_) < kRefreshTicks) return false;
  lastRefreshTick_ = tick;
  DoRefresh();
  return true;
}

void TransferWindow::UpdateFigures(std::uint32_t tick, std::int64_t bytes) {
  DownloadRecord& record = Record();
  const std::int64_t received = std::int64_t{record.Received} + bytes;
  constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
  record.Received = static_cast<std::int32_t>(received > kMost ? kMost : received);
  if (record.FileSize != 0) {
    record.Percent = static_cast<float>(static_cast<double>(record.Received) * 100 / record.FileSize);
  }
  const std::int32_t passed = TicksSince(tick, record.LastTick);
  if (passed > 0) elapsedSeconds_ += passed / 1000.0;
  record.ElapsedSeconds = static_cast<float>(elapsedSeconds_);
  record.LastTick = tick;
  if (elapsedSeconds_ <= 0 || record.Received == 0) return;  // no speed yet
  const double speed = record.Received / elapsedSeconds_;
  record.RemainingSeconds =
      static_cast<float>(static_cast<double>(std::int64_t{record.FileSize} - record.Received) / speed);
}

void TransferWindow::DoRefresh() {
  if (!Current()) return;
  DownloadRecord& record = Record();
  if (!joinState_.empty()) {
    state.Caption = joinState_;
  } else if (record.Percent < 100) {
    state.Caption = Text(kTextDownloading);
  } else {
    record.Percent = 100.0F;
    state.Caption = Text(kTextDownloadComplete);
  }
  const std::string decimal = program_.platform.locale.DecimalSeparator();
  Caption = FormatPercent(record.Percent, decimal) + "% of " + record.FileName + " downloaded.";
  const bool idle = State() == WindowState::Minimised && DisplayIdle;
  if (!idle) {
    PB.Value = record.Percent;
    if (record.ElapsedSeconds != 0) {
      const auto& texts = program_.LangStrings;
      const std::int64_t speed = RoundTiesToEven(static_cast<double>(record.Received) / record.ElapsedSeconds);
      Speed.Caption = FormatSize(speed, texts, decimal) + "/s";
      Ela.Caption = FormatDuration(record.ElapsedSeconds, texts);
      Est.Caption = FormatDuration(record.RemainingSeconds, texts);
      Label4.Caption = FormatSize(record.Received, texts, decimal);
      Label1.Caption = "/ " + FormatSize(record.FileSize, texts, decimal);
      RefreshList(0);
    }
  }
  program_.lists->RefreshRows(RecordIndex, 0);
}

void TransferWindow::RefreshList(std::int16_t row) {
  if (DisplayIdle || !Current()) return;
  const DownloadRecord& record = Record();
  const RefreshForm form = row == 0 ? RefreshForm::Full : RefreshForm::Row;
  const std::string decimal = program_.platform.locale.DecimalSeparator();
  const auto draw = [&](int i) {
    const SegmentRecord& segment = record.Segment(i);
    if (const std::string* text = StateText(program_, segment.State, form)) StateS(i - 1).Caption = *text;
    Size(i - 1).Caption = FormatSize(segment.Received(), program_.LangStrings, decimal);
    Skip([&] { Prog(i - 1).Width = BarWidth(segment, form == RefreshForm::Row ? kRowBarTwips : kListBarTwips); });
    Num(i - 1).Caption = std::to_string(i);
  };
  if (form == RefreshForm::Row) {
    if (row <= record.SegmentCount && row <= kMaxSegmentSockets) draw(row);
    return;
  }
  List1.Items = std::vector<std::string>{};
  for (int i = 1; i <= record.SegmentCount && i <= kMaxSegmentSockets; ++i) {
    const SegmentRecord& segment = record.Segment(i);
    if (!segment.Watched) continue;
    if (segment.State == kSegmentReceiving) Prog(i - 1).FillColor = kReceivingColour;
    if (segment.State == kSegmentComplete) Prog(i - 1).FillColor = kCompleteColour;
    if (segment.State == kSegmentPaused) Prog(i - 1).FillColor = kPausedColour;
    draw(i);
  }
}

}  // namespace pellora
