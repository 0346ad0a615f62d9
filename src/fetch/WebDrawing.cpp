// What windows, lists and scripts are shown of a download.
#include <algorithm>
#include <utility>

#include "core/Numbers.h"
#include "fetch/WebEngine.h"
#include "fetch/WebWords.h"

namespace pellora {

std::uint32_t WebEngine::SilentFor() const {
  return Fetching() ? static_cast<std::uint32_t>(std::max<std::int64_t>(0, Now() - lastByte_)) : 0;
}

int WebEngine::LaneCount() const { return std::min<int>(static_cast<int>(lanes_.size()), kMaxLanes); }

Lane WebEngine::LaneAt(int lane, LaneForm) const {
  const WebLane& one = *lanes_.at(static_cast<std::size_t>(lane - 1));
  Lane shown;
  shown.received = one.received;
  if (plan_ && facts_.total >= 0 && one.Open()) {
    const Range piece = plan_->PieceOf(one.Number());
    shown.size = one.received + std::max<std::int64_t>(0, piece.end - plan_->Offset(one.Number()));
  }
  switch (one.state) {
    case LaneState::Connecting:
      shown.state = &program_.Text(kTextWebConnecting);
      break;
    case LaneState::Receiving:
      shown.state = &program_.Text(kTextWebReceiving);
      shown.colour = LaneColour::Receiving;
      break;
    case LaneState::BackingOff:
      shown.state = &one.text;
      break;
    case LaneState::Refused:
      shown.state = &TextOf(program_, WebText::NoMoreConnections);
      break;
    case LaneState::Idle:
      if (state_ == FetchState::Running || state_ == FetchState::Finishing || state_ == FetchState::Done) {
        shown.state = &program_.Text(kTextWebLaneComplete);
        shown.size = one.received;
        shown.colour = LaneColour::Complete;
      } else if (state_ == FetchState::Holding) {
        shown.state = &one.text;
      } else {
        shown.state = &program_.Text(kTextWebPaused);
        shown.colour = LaneColour::Paused;
      }
      break;
  }
  return shown;
}

FileMap WebEngine::Map() const {
  FileMap map;
  if (!factsKnown_ || facts_.total <= 0) return map;
  map.size = facts_.total;
  map.held = (plan_ ? plan_->Held() : written_).Ranges();
  if (!plan_) return map;
  for (const auto& lane : lanes_) {
    if (!lane->Open() || !lane->Flows()) continue;
    const Range rest{plan_->Offset(lane->Number()), plan_->PieceOf(lane->Number()).end};
    if (rest.Length() > 0) map.awaited.push_back(rest);
  }
  return map;
}

void WebEngine::AnnounceRetry(std::int64_t wait) {
  for (const auto& lane : lanes_) lane->text = RetryIn(wait);
  Announce(RetryIn(wait) + ": " + lastReason_);
}

void WebEngine::Announce(std::string state) { announced_ = std::move(state); }

void WebEngine::ShowCommand3(Command3Means means) {
  if (view_ != nullptr) view_->ShowCommand3(means);
}

void WebEngine::WriteFigures() {
  DownloadRecord& record = Record();
  WebFigures& figures = TheFigures();
  if (!services_->journal.Readable()) {
    figures.reason = entry_.reason;
    return;  // what the list says of it is all that is left
  }
  if (entry_.toFetch >= 0) {
    WriteFiguresOfSelection(figures);
  } else {
    figures.received = plan_ ? plan_->Held().Bytes() : written_.Bytes();
    figures.size = factsKnown_ ? facts_.total : -1;
  }
  // While it runs, over the last seconds; then over all of its time.
  const double mean = elapsed_ > 0 ? static_cast<double>(figures.received) / elapsed_ : 0;
  const double rate = state_ == FetchState::Running ? meter_.BytesPerSecond(Now()) : record.Finished ? mean : 0;
  figures.bytesPerSecond = std::max(0.0, rate);
  figures.reason = figures.standing == WebStanding::Stopped ? entry_.reason
                   : state_ == FetchState::Holding          ? announced_
                   : !check_.empty()                        ? check_
                                                            : Notes();
  record.Received = HeldToInt32(figures.received);
  record.FileSize = HeldToInt32(std::max<std::int64_t>(0, figures.size));
  record.ElapsedSeconds = static_cast<float>(elapsed_);
  if (record.Finished) {
    record.Percent = 100.0F;
  } else if (figures.size > 0) {
    record.Percent = UnfinishedPercent(figures);
  }
  record.RemainingSeconds =
      figures.bytesPerSecond > 0 && figures.size > 0
          ? static_cast<float>(static_cast<double>(figures.size - figures.received) / figures.bytesPerSecond)
          : 0.0F;
}

void WebEngine::Draw() {
  lastDraw_ = Now();
  WriteFigures();
  if (view_ != nullptr) {
    view_->DoRefresh();
    view_->RefreshList(0);
  } else {
    program_.lists->RefreshRows(slot_.Index(), kUnforced);
  }
}

Totals WebEngine::Figures() {
  WriteFigures();
  const DownloadRecord& record = Record();
  const WebFigures& figures = TheFigures();
  Totals totals;
  totals.state = &announced_;
  totals.received = figures.received;
  totals.size = figures.size;
  totals.bytesPerSecond = figures.bytesPerSecond;
  totals.percent = record.Percent;
  totals.elapsed = record.ElapsedSeconds;
  totals.remaining = figures.size < 0 ? -1.0F : record.RemainingSeconds;
  totals.busy = figures.size < 0 && (state_ == FetchState::Opening || state_ == FetchState::Running);
  return totals;
}

}  // namespace pellora
