// What ClassicEngine counts, and what its window shows of it.
#include <limits>
#include <string>

#include "core/Numbers.h"
#include "ports/Clock.h"
#include "transfer/ClassicEngine.h"
#include "transfer/TextNumbers.h"

namespace pellora {

namespace {

// ms from one drawing for arriving bytes to the next
constexpr std::int32_t kRefreshTicks = 200;

// The text of a segment's state; null for a state that has none, which leaves the row as it is.
const std::string* StateText(const Program& program, std::int16_t state, LaneForm form) {
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
      return form == LaneForm::Row ? &kRefusedRow : &kRefusedFull;
    default:
      return nullptr;
  }
}

LaneColour ColourOf(std::int16_t state) {
  if (state == kSegmentReceiving) return LaneColour::Receiving;
  if (state == kSegmentComplete) return LaneColour::Complete;
  return state == kSegmentPaused ? LaneColour::Paused : LaneColour::Unchanged;
}

}  // namespace

void ClassicEngine::CountReceived(std::uint32_t tick, std::size_t bytes) {
  program_.CountReceived(bytes);
  lastByteTick_ = tick;
}

std::uint32_t ClassicEngine::SilentFor() const { return building_ ? 0 : Tick() - lastByteTick_; }

bool ClassicEngine::Account(std::uint32_t tick, std::int64_t bytes) {
  UpdateFigures(tick, bytes);
  if (lastRefreshTick_ != 0 && TicksSince(tick, lastRefreshTick_) < kRefreshTicks) return false;
  lastRefreshTick_ = tick;
  DoRefresh();
  return true;
}

void ClassicEngine::UpdateFigures(std::uint32_t tick, std::int64_t bytes) {
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

// After a server error there is no window; the lists still follow.
void ClassicEngine::DoRefresh() {
  if (view_ != nullptr) {
    view_->DoRefresh();
  } else if (Current()) {
    Figures();
    program_.lists->RefreshRows(Index(), kUnforced);
  }
}

Lane ClassicEngine::LaneAt(int lane, LaneForm form) const {
  const SegmentRecord& segment = slot_.Record().Segment(lane);
  return {StateText(program_, segment.State, form), segment.Received(),
          std::int64_t{segment.RangeEnd} + segment.ReceivedTotal - segment.RangeStart + 1, ColourOf(segment.State),
          segment.Watched};
}

Totals ClassicEngine::Figures() {
  DownloadRecord& record = Record();
  Totals totals;
  if (!joinState_.empty()) {
    totals.state = &joinState_;
  } else if (record.Percent < 100) {
    totals.state = &Text(kTextDownloading);
  } else {
    record.Percent = 100.0F;
    totals.state = &Text(kTextDownloadComplete);
  }
  totals.received = record.Received;
  totals.size = record.FileSize;
  totals.percent = record.Percent;
  totals.elapsed = record.ElapsedSeconds;
  totals.remaining = record.RemainingSeconds;
  if (totals.elapsed != 0) totals.bytesPerSecond = static_cast<double>(record.Received) / record.ElapsedSeconds;
  return totals;
}

}  // namespace pellora
