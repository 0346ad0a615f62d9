// What answers and ends of requests mean to a download.
#include <algorithm>

#include "async/TaskLoop.h"
#include "fetch/FileNameFromReply.h"
#include "fetch/WebEngine.h"
#include "fetch/WebWords.h"
#include "ports/Network.h"

namespace pellora {

namespace {

constexpr int kMostRedirects = 20;
constexpr std::int64_t kSample = std::int64_t{64} << 10;

}  // namespace

std::string WebEngine::ReasonFor(const ReplyReading& reading, const FetchAnswer& answer) const {
  switch (reading.reason) {
    case ReplyReason::NotFound:
      return Say(WebText::NotFound);
    case ReplyReason::Login:
      return Say(WebText::LoginNeeded);
    case ReplyReason::ProxyLogin:
      return Say(WebText::NoProxy);
    case ReplyReason::Status:
    case ReplyReason::Forbidden:
      return Say(WebText::Refused, {std::to_string(answer.status)});
    case ReplyReason::BadRedirect:
      return Say(WebText::Unsupported);
    case ReplyReason::NoRanges:
      return Say(WebText::NoParts);
    case ReplyReason::TransferCoding:
    case ReplyReason::ContentCoding:
      return Say(WebText::WrongCoding);
    case ReplyReason::OtherLength:
    case ReplyReason::OtherVersion:
    case ReplyReason::Unproven:
      return Say(WebText::Changed);
    default:
      return Say(WebText::WrongAnswers);
  }
}

// Answers are compared with the first one's, or with that of another server whose bytes were the same.
ReplyReading WebEngine::Read(const WebLane& lane, const FetchAnswer& answer) const {
  AskedFor asked = lane.Asked();
  const std::string name = FileNameFromReply(answer, current_);
  asked.fileName = name;
  const ReplyReading reading = CheckReply(answer, asked, facts_);
  if (reading.verdict != ReplyVerdict::Changed && reading.verdict != ReplyVerdict::CompareSample) return reading;
  for (const FileFacts& twin : twins_) {
    const ReplyReading again = CheckReply(answer, asked, twin);
    if (again.verdict == ReplyVerdict::Body) return again;
  }
  return reading;
}

void WebEngine::LaneAnswered(WebLane& lane, const FetchAnswer& answer) {
  if (!StillCurrent()) return;
  lane.Sign(Now());
  const ReplyReading reading = Read(lane, answer);
  if (lane.sample) return TakeSample(lane, reading);
  AskedFor asked = lane.Asked();
  switch (reading.verdict) {
    case ReplyVerdict::Body:
    case ReplyVerdict::Empty:
      return TakeBody(lane, answer, reading);
    case ReplyVerdict::CompareWhole:
      for (const auto& other : lanes_) {
        if (other.get() != &lane) Release(*other);
      }
      oneLane_ = unranged_ = lane.compares = true;
      lane.endProves = facts_.total >= 0 && reading.facts.total < 0;
      return TakeBody(lane, answer, reading);
    case ReplyVerdict::Held:
      facts_.total = reading.facts.total;
      if (plan_) plan_->SetTotal(facts_.total);
      return plan_ && plan_->Complete() ? AllHeld() : LaneLost(lane, Say(WebText::WrongAnswers), RoundCause::Failure);
    case ReplyVerdict::CompareSample:
      lane.sampled = reading.facts;
      return AskForSample(lane);
    case ReplyVerdict::AskWhole:
      if (const auto range = ParseContentRange(HeaderOf(answer, "Content-Range"))) statedTotal_ = range->total;
      asked.ranged = false;
      asked.from = 0;
      asked.to = -1;
      return AskAgain(lane, asked);
    case ReplyVerdict::AskUnconditional:
      unconditional_ = true;
      asked.conditional = false;
      return AskAgain(lane, asked);
    case ReplyVerdict::OneLane:
      oneLane_ = true;
      if (OthersFlow(lane)) return GiveUpLane(lane);
      unranged_ = true;
      return OpenWhole(lane);
    case ReplyVerdict::Changed:
      return OthersFlow(lane) ? GiveUpLane(lane) : HasChanged();
    case ReplyVerdict::Redirect:
      return Redirect(lane, answer, reading);
    case ReplyVerdict::Http2:
      http2_ = oneLane_ = true;
      return AskAgain(lane, asked);
    case ReplyVerdict::Wait:
      if (reading.retryAfter) services_->hosts.SetWait(OriginOf(current_), Now() + *reading.retryAfter * 1000);
      if (OthersFlow(lane)) return GiveUpLane(lane);
      return LaneLost(lane, Say(WebText::Refused, {std::to_string(answer.status)}),
                      reading.retryAfter ? RoundCause::RetryAfter : RoundCause::Failure,
                      reading.retryAfter.value_or(0));
    case ReplyVerdict::Again:
      return LaneLost(lane, ReasonFor(reading, answer), RoundCause::Failure);
    case ReplyVerdict::WaitTooLong:
    case ReplyVerdict::Login:
    case ReplyVerdict::Refused:
      return OthersFlow(lane) ? GiveUpLane(lane) : Rest(FetchEvent::GivenUp, ReasonFor(reading, answer));
  }
}

void WebEngine::TakeBody(WebLane& lane, const FetchAnswer& answer, const ReplyReading& reading) {
  lane.asks = 0;
  lane.proof = reading.proof;
  if (!factsKnown_) return TakeFirstBody(lane, answer, reading);
  const bool opened = state_ == FetchState::Opening;
  proven_ = !lane.compares;
  if (opened) peer_ = answer.peerAddress;
  if (lane.compares) {
    plan_.emplace(NewPlan());
    plan_->Adopt(lane.Number(), {0, facts_.total});
  } else if (reading.range.end >= 0) {
    plan_->EndRequestAt(lane.Number(), reading.range.end);
  }
  lane.Take(LaneEvent::RightAnswer);
  services_->hosts.Accepted(OriginOf(current_), static_cast<int>(lanes_.size()));
  if (!opened) return;
  Take(FetchEvent::FirstAnswerRight);
  Announce(program_.Text(kTextWebDownloading));
  OpenLanes();
}

void WebEngine::TakeFirstBody(WebLane& lane, const FetchAnswer& answer, const ReplyReading& reading) {
  facts_ = reading.facts;
  if (reading.verdict == ReplyVerdict::Empty) facts_.total = 0;
  if (statedTotal_ >= 0 && facts_.total >= 0 && facts_.total != statedTotal_) {
    return Rest(FetchEvent::GivenUp, Say(WebText::WrongAnswers));
  }
  factsKnown_ = proven_ = true;
  peer_ = answer.peerAddress;
  written_ = {};
  ChooseName(answer);
  plan_.emplace(NewPlan());
  lane.Take(LaneEvent::RightAnswer);
  Take(FetchEvent::FirstAnswerRight);
  Announce(program_.Text(kTextWebDownloading));
  if (facts_.total == 0) {
    Release(lane);
  } else {
    plan_->Adopt(lane.Number(), {0, reading.range.end});
    lane.SetReading(false, Now());
  }
  program_.platform.tasks.Spawn(CreatePart());
}

// Bytes that are held, to see whether this server has the same version.
void WebEngine::AskForSample(WebLane& lane) {
  if (OthersFlow(lane)) return GiveUpLane(lane);
  if (!IsHttp(current_.scheme) || ++lane.asks > 2 || written_.Ranges().empty() || !part_) return HasChanged();
  const Range held = written_.Ranges().front();
  if (plan_) plan_->Release(lane.Number());
  BeginRequest(lane, {RequestKind::Later, true, held.begin, std::min(held.end, held.begin + kSample) - 1});
  lane.sample = true;
}

void WebEngine::TakeSample(WebLane& lane, const ReplyReading& reading) {
  const bool fits = reading.verdict == ReplyVerdict::Body || reading.verdict == ReplyVerdict::CompareSample;
  if (fits && reading.facts == lane.sampled) return;
  if (OthersFlow(lane)) return GiveUpLane(lane);
  HasChanged();
}

void WebEngine::CollectCookies(const FetchAnswer& answer) {
  if (!SharesSecrets(given_, current_)) return;
  for (const std::string_view value : HeadersOf(answer, "Set-Cookie")) {
    const std::string_view pair = value.substr(0, value.find(';'));
    if (pair.find('=') == std::string_view::npos) continue;
    if (!cookies_.empty()) cookies_ += "; ";
    cookies_ += pair;
  }
}

void WebEngine::Redirect(WebLane& lane, const FetchAnswer& answer, const ReplyReading& reading) {
  if (OthersFlow(lane)) return GiveUpLane(lane);
  if (++redirects_ > kMostRedirects) return Rest(FetchEvent::GivenUp, Say(WebText::WrongAnswers));
  const ResolvedRedirect target = ResolveRedirect(current_, reading.location);
  if (target.fault != RedirectFault::None || !program_.platform.fetcher->Supports(SchemeName(target.address.scheme))) {
    return Rest(FetchEvent::GivenUp, Say(WebText::Unsupported));
  }
  CollectCookies(answer);
  current_ = target.address;
  peer_.clear();
  BeginRequest(lane, lane.Asked());
}

void WebEngine::HasChanged() {
  if (!Fetching()) return;
  if (state_ == FetchState::Holding) Take(FetchEvent::NetworkOrTimeBack);
  if (written_.Ranges().empty() && entry_.oldPartPath.empty()) {
    // Nothing is held that could be lost.
    const Rounds rounds = rounds_;
    EndRun();
    BeginAnew();
    rounds_ = rounds;
    return;
  }
  Rest(FetchEvent::Question, Say(WebText::Changed));
  program_.platform.tasks.Spawn(AskAboutChange(run_));
}

Task<> WebEngine::AskAboutChange(Run run) {
  const auto hold = Hold();
  BoxRequest request{Record().FileName + ": " + Say(WebText::Changed) + "\n" + Say(WebText::AskBeginAnew), kProgramName,
                     kYesNo | kQuestion};
  const int answer = co_await program_.boxes.Ask(this, std::move(request));
  if (!StillCurrent() || run != run_ || state_ != FetchState::Asking) co_return;
  if (answer != kAnswerYes) {
    Rest(FetchEvent::AnswerNo, Say(WebText::Changed));
    co_return;
  }
  BeginAnew();
}

// Of the part files so far the last one that holds something is kept until the new file is finished.
void WebEngine::BeginAnew() {
  state_ = FetchState::Paused;
  std::string uselessPath = entry_.partPath;
  FileIdentity useless = entry_.part;
  if (!written_.Ranges().empty()) {
    std::swap(uselessPath, entry_.oldPartPath);
    std::swap(useless, entry_.oldPart);
  }
  DropPart();
  DeletePartFile(program_.platform, uselessPath, useless);
  WriteJournal(JournalStateNow());
  Start();
}

Task<> WebEngine::AskAboutKey(Run run, std::string fingerprint) {
  const auto hold = Hold();
  const std::string host = current_.host;
  BoxRequest request{Say(WebText::UnknownKey, {host, fingerprint}) + "\n" + Say(WebText::AskTrustKey), kProgramName,
                     kYesNo | kQuestion};
  const int answer = co_await program_.boxes.Ask(this, std::move(request));
  if (!StillCurrent() || run != run_ || state_ != FetchState::Asking) co_return;
  if (answer != kAnswerYes) {
    Rest(FetchEvent::AnswerNo, Say(WebText::UnknownKey, {host, fingerprint}));
    co_return;
  }
  acceptedKey_ = fingerprint;
  state_ = FetchState::Paused;
  Start();
}

void WebEngine::LaneEnded(WebLane& lane, FetchEnd end, const std::string& reason) {
  if (!StillCurrent()) return;
  if (lane.sample) {
    // If all of it has come, SampleCompared is still to follow.
    const bool all = lane.Asked().from + lane.sampleAt > lane.Asked().to;
    if (!all)
      LaneLost(lane, reason.empty() ? Say(WebText::ConnectionLost, {current_.host}) : reason, RoundCause::Failure);
    return;
  }
  if (lane.Flows() && !part_) {
    earlyEnd_ = EarlyEnd{lane.Number(), end, reason};
    return;
  }
  if (lane.Flows()) return EndedFlow(lane, end, reason);
  EndedUnanswered(lane, end, reason);
}

void WebEngine::EndedUnanswered(WebLane& lane, FetchEnd end, const std::string& reason) {
  const bool others = OthersFlow(lane);
  switch (end) {
    case FetchEnd::NotTrusted:
    case FetchEnd::Unsupported:
    case FetchEnd::NoLogin:
    case FetchEnd::NotFound:
      return others ? GiveUpLane(lane) : Rest(FetchEvent::GivenUp, reason);
    case FetchEnd::UnknownKey:
      Rest(FetchEvent::Question, Say(WebText::UnknownKey, {current_.host, reason}));
      program_.platform.tasks.Spawn(AskAboutKey(run_, reason));
      return;
    case FetchEnd::NoConnect:
      if (others) {
        services_->hosts.RefusedBeyond(OriginOf(current_), static_cast<int>(lanes_.size()));
        return GiveUpLane(lane);
      }
      break;
    default:
      break;
  }
  const bool network = program_.platform.network.HasConnection();
  const RoundCause cause = !network                  ? RoundCause::NoNetwork
                           : end == FetchEnd::NoHost ? RoundCause::NoNames
                                                     : RoundCause::Failure;
  LaneLost(lane, reason.empty() ? Say(WebText::Silent, {current_.host}) : reason, cause);
}

void WebEngine::EndedFlow(WebLane& lane, FetchEnd end, const std::string& reason) {
  if (facts_.total < 0) {
    if (end != FetchEnd::Whole)
      return LaneLost(lane, reason.empty() ? Say(WebText::ConnectionLost, {current_.host}) : reason,
                      RoundCause::Failure);
    const std::int64_t length = plan_->Offset(lane.Number());
    const std::vector<Range>& held = heldBefore_.Ranges();
    if (lane.compares && !held.empty() && length < held.back().end) {
      if (lane.proof != LengthProof::UntilClose) return ComparedOther();
      return LaneLost(lane, Say(WebText::ConnectionLost, {current_.host}), RoundCause::Failure);
    }
    facts_.total = length;
    unconfirmed_ = lane.proof == LengthProof::UntilClose;
    plan_->SetTotal(facts_.total);
    Release(lane);
    return AllHeld();
  }
  if (lane.endProves && end == FetchEnd::Whole) {
    if (plan_->Complete()) return AllHeld();
    if (lane.proof == LengthProof::Chunked) return ComparedOther();
  }
  if (plan_->Next(lane.Number()) == LaneNext::Continue) {
    return LaneLost(lane, reason.empty() ? Say(WebText::ConnectionLost, {current_.host}) : reason,
                    program_.platform.network.HasConnection() ? RoundCause::Failure : RoundCause::NoNetwork);
  }
  Release(lane);
  for (const auto& other : lanes_) {
    if (other->state == LaneState::Refused) other->state = LaneState::Idle;
  }
  OpenLanes();
}

void WebEngine::Release(WebLane& lane) {
  lane.Close();
  std::erase_if(early_, [&](const auto& block) { return block.first == lane.Number(); });
  if (earlyEnd_ && earlyEnd_->lane == lane.Number()) earlyEnd_.reset();
  lane.sample = lane.compares = lane.endProves = false;
  if (plan_) plan_->Release(lane.Number());
  lane.Take(LaneEvent::Stop);
}

void WebEngine::GiveUpLane(WebLane& lane) {
  Release(lane);
  lane.state = LaneState::Refused;
}

void WebEngine::LaneLost(WebLane& lane, const std::string& reason, RoundCause cause, std::int64_t retryAfterSeconds) {
  lastReason_ = reason;
  Release(lane);
  if (OthersAreOpen(lane)) {
    lane.state = LaneState::BackingOff;
    lane.due = Now() + (retryAfterSeconds > 0 ? lane.backOff.NextAfter(retryAfterSeconds) : lane.backOff.Next());
    lane.text = RetryIn(lane.due - Now());
    return;
  }
  RoundEnded(cause, retryAfterSeconds > 0 ? backOff_.NextAfter(retryAfterSeconds) : backOff_.Next());
}

void WebEngine::RoundEnded(RoundCause cause, std::int64_t wait) {
  for (const auto& lane : lanes_) Release(*lane);
  if (state_ == FetchState::Holding) return;
  rounds_.Ended(cause);
  if (rounds_.Spent()) return Rest(FetchEvent::GivenUp, lastReason_);
  Take(FetchEvent::LastLaneLost);
  holdCause_ = cause;
  holdUntil_ = Now() + wait;
  AnnounceRetry(wait);
  Draw();
}

}  // namespace pellora
