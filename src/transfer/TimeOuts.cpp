// The two timers of ClassicEngine: all the failure detection there is.
#include <cmath>
#include <utility>

#include "async/TaskLoop.h"
#include "core/RecordLife.h"
#include "ports/Clock.h"
#include "ports/Dialogs.h"
#include "ports/Failure.h"
#include "transfer/ClassicEngine.h"
#include "transfer/TextNumbers.h"

namespace pellora {

namespace {

constexpr double kStallTicks = 20000;
constexpr double kTickRange = 4294967296.0;  // tick counts are modulo 2^32

// Ticks from `then` to `now`, right across the wrap and negative for a stamp that lies ahead. A stamp of
// 0 means "never", whatever the tick count is.
double TicksSinceStamp(std::uint32_t now, float then) {
  if (then == 0 || !std::isfinite(then)) return now;
  double difference = std::fmod(static_cast<double>(now) - static_cast<double>(then), kTickRange);
  if (difference >= kTickRange / 2) difference -= kTickRange;
  if (difference < -kTickRange / 2) difference += kTickRange;
  return difference;
}

}  // namespace

// Ends the wait for a main connection that is never made. An established one is not timed.
Task<> ClassicEngine::AskAboutTimeOut() {
  const auto hold = Hold();
  if (!StillCurrent()) co_return;
  if (!Record().InUse) co_return;
  WS.Close();
  BoxRequest request{Text(kTextAskKeepTimedOut), Text(kTextTimeOutTitle), kYesNo};
  const int answer = co_await Ask(std::move(request));
  if (!StillCurrent()) co_return;
  if (answer != kAnswerYes) {
    EndRecord(kGivenUp);
    co_return;
  }
  DownloadRecord& record = Record();
  record.Active = false;
  record.Finished = false;
  record.ConnectState = kConnectTimedOut;
  EmptySlot();
  Retire();
  program_.lists->RefreshRows(kAllRows, kForced);
}

// Segment `i` may still be reconnected: nothing happened to it, nor to its connection, since that one's
// number was taken.
bool ClassicEngine::Stalled(int i, std::uint32_t number) {
  const DownloadRecord& record = Record();
  if (record.Paused || record.Finished || building_ || i > record.SegmentCount) return false;
  const SegmentRecord& segment = record.Segment(i);
  return segment.Watched && segment.State < kSegmentReceiving && WS1(i - 1).Number() == number;
}

Task<> ClassicEngine::StallTick() {
  const auto hold = Hold();
  if (!StillCurrent()) co_return;
  if (Record().Paused || Record().Finished) co_return;
  for (int i = 1; i <= Record().SegmentCount; ++i) {
    std::uint32_t number = WS1(i - 1).Number();
    if (!Stalled(i, number)) continue;
    if (!(TicksSinceStamp(Tick(), Record().Segment(i).LastActivity) > kStallTicks)) continue;
    Record().Segment(i).LastActivity = static_cast<float>(Tick());
    co_await Tasks().Yield();
    if (!StillCurrent()) co_return;
    if (!Stalled(i, number)) continue;
    Record().Segment(i).State = kSegmentUnconnected;
    Ftp(i - 1).CloseData();
    WS1(i - 1).Close();
    Record().Segment(i).Fold();
    number = WS1(i - 1).Number();
    co_await Tasks().Yield();
    if (!StillCurrent()) co_return;
    if (!Stalled(i, number)) continue;
    // Fails where another handler connected the socket meanwhile; that connection is as good.
    Skip([&] { WS1(i - 1).Connect(Record().Host, Record().Port); });
  }
}

}  // namespace pellora
