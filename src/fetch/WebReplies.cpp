// What answers and ends of requests mean to a download.
#include <algorithm>

#include "async/TaskLoop.h"
#include "core/ArchiveLook.h"
#include "core/Ascii.h"
#include "core/FileNames.h"
#include "fetch/DigestHeaders.h"
#include "fetch/FileNameFromReply.h"
#include "fetch/WebEngine.h"
#include "fetch/WebWords.h"
#include "ports/Network.h"

namespace pellora {

namespace {

constexpr int kMostRedirects = 20;
constexpr std::int64_t kKeepsPlaceFor = 60'000;  // ms; in a longer wait another download has the place
constexpr std::int64_t kSample = std::int64_t{64} << 10;
constexpr int kMostFailures = 3;  // of a source in a row, while others flow

}  // namespace

std::string WebEngine::ReasonFor(const ReplyReading& reading, const FetchAnswer& answer) const {
  switch (reading.reason) {
    case ReplyReason::NotFound:
      return Say(WebText::NotFound);
    case ReplyReason::Login:
      return Say(WebText::LoginNeeded);
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

// `detail` is in English.
std::string WebEngine::ReasonFor(const WebLane& lane, FetchEnd end, const std::string& detail) const {
  const std::string& host = lane.address.host;
  switch (end) {
    case FetchEnd::NoConnect:
      return Say(WebText::NotReached, {host, detail});
    case FetchEnd::NoHost:
      return Say(WebText::NoHost, {host});
    case FetchEnd::NotTrusted:
      return Say(WebText::NotTrusted, {host, detail});
    case FetchEnd::UnknownKey:
      return Say(WebText::UnknownKey, {host, ReadHostKey(detail).fingerprint});
    case FetchEnd::NoLogin:
      return Say(WebText::LoginNeeded);
    case FetchEnd::NotFound:
      return Say(WebText::NotFound);
    case FetchEnd::Unsupported:
    case FetchEnd::OtherHttp:
      return Say(WebText::Unsupported);
    case FetchEnd::Proxy:
    case FetchEnd::ProxyLogin:
      return Say(WebText::NoProxy, {detail});
    default:
      return Say(WebText::ConnectionLost, {host});
  }
}

// Answers are compared with the first one's, or with that of another server whose bytes were the same.
ReplyReading WebEngine::Read(const WebLane& lane, const FetchAnswer& answer) const {
  AskedFor asked = lane.Asked();
  const std::string name = FileNameFromReply(answer, lane.address);
  asked.fileName = name;
  ReplyReading reading = ReadOfMirror(lane, CheckReply(answer, asked, KnownOf(lane)));
  if (IsSelection()) reading = ReadOfSelection(std::move(reading));
  if (reading.verdict != ReplyVerdict::Changed && reading.verdict != ReplyVerdict::CompareSample) return reading;
  for (const FileFacts& twin : SourceOf(lane).twins) {
    const ReplyReading again = CheckReply(answer, asked, twin);
    if (again.verdict == ReplyVerdict::Body) return again;
  }
  return reading;
}

void WebEngine::LaneAnswered(WebLane& lane, const FetchAnswer& answer) {
  if (!StillCurrent()) return;
  lane.Sign(Now());
  requests_.TakeCookies(lane.address, answer);
  if (answer.status / 100 == 2 || answer.status == 0) LoginsAccepted(lane);
  const ReplyReading reading = Read(lane, answer);
  if (lane.sample) return TakeSample(lane, reading);
  if (IsSelection() && TakesNoParts(lane, reading)) return;
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
      if (OthersAreOpen(lane)) return GoOnWithout(lane, ReasonFor(reading, answer));
      oneLane_ = unranged_ = true;
      return OpenWhole(lane);
    case ReplyVerdict::Changed:
      if (NewAddress() != nullptr && !OthersOfSource(lane)) {
        return HasChanged(
            Say(WebText::OtherSizeThere, {std::to_string(reading.facts.total), std::to_string(facts_.total)}));
      }
      return IsOther(lane, ReasonFor(reading, answer));
    case ReplyVerdict::Redirect:
      return Redirect(lane, reading);
    case ReplyVerdict::Http2:
      if (http2_ || OthersAreOpen(lane)) return Refused(lane, ReasonFor(reading, answer));
      return AskByHttp2(lane, asked);
    case ReplyVerdict::Wait:
      return WaitAsAsked(lane, answer, reading);
    case ReplyVerdict::Again:
      return LaneLost(lane, ReasonFor(reading, answer), RoundCause::Failure);
    case ReplyVerdict::WaitTooLong:
      return GiveUp(lane, Say(WebText::AskedToWait, {Moment(reading.retryAfter.value_or(0) * 1000)}));
    case ReplyVerdict::Login:
      return LoginDemanded(lane, answer);
    case ReplyVerdict::Refused:
      if (reading.reason == ReplyReason::Forbidden && MissesPage(lane)) return Refused(lane, PageGone(answer.status));
      return Refused(lane, ReasonFor(reading, answer));
  }
}

// One lane may be refused where others were let in. The address of a redirect may have expired: then the given one is
// asked once more.
void WebEngine::Refused(WebLane& lane, const std::string& reason) {
  if (!OthersAreOpen(lane) && AskGivenOnceMore(lane)) return;
  GiveUp(lane, CookiesAreGone() ? Say(WebText::CookiesGone) : reason);
}

bool WebEngine::AskGivenOnceMore(WebLane& lane) {
  Source& source = SourceOf(lane);
  if (lane.redirects > 0 || lane.address == source.given) return false;
  lane.address = source.current = source.given;
  source.peer.clear();
  AskAgain(lane, lane.Asked());
  return true;
}

// This lane and, if no other of it is open, its source are of no use.
void WebEngine::GiveUp(WebLane& lane, const std::string& reason) {
  if (OthersAreOpen(lane)) return GoOnWithout(lane, reason);
  if (!LeaveOut(lane.source, reason)) Rest(FetchEvent::GivenUp, reason);
}

// Its source has another file, or another version of it.
void WebEngine::IsOther(WebLane& lane, const std::string& fault) {
  if (OthersOfSource(lane)) return GoOnWithout(lane, fault);
  if (!LeaveOut(lane.source, fault, true)) HasChanged();
}

void WebEngine::WaitAsAsked(WebLane& lane, const FetchAnswer& answer, const ReplyReading& reading) {
  const std::int64_t wait = reading.retryAfter.value_or(0);  // s
  if (wait > 0) services_->hosts.SetWait(OriginOf(lane.address), Now() + wait * 1000);
  if (OthersFlow(lane)) return TakesNoMore(lane);
  LaneLost(lane, Say(WebText::Refused, {std::to_string(answer.status)}),
           wait > 0 ? RoundCause::RetryAfter : RoundCause::Failure, wait);
}

void WebEngine::TakeBody(WebLane& lane, const FetchAnswer& answer, const ReplyReading& reading) {
  lane.proof = reading.proof;
  const bool finds = lane.source == 0 && !IsSelection() && (!factsKnown_ || !(entry_.foundChecksum || lane.compares));
  if (finds) entry_.foundChecksum = ChecksumIn(answer);  // a mirror proves nothing by its own word
  if (!factsKnown_) return TakeFirstBody(lane, answer, reading);
  const bool opened = state_ == FetchState::Opening;
  Proven(lane, reading.facts);
  SourceOf(lane).proven = !lane.compares;
  if (opened || SourceOf(lane).peer.empty()) SourceOf(lane).peer = answer.peerAddress;
  if (lane.compares) {
    plan_.emplace(NewPlan());
    plan_->Adopt(lane.Number(), {0, facts_.total});
  } else if (reading.range.end >= 0) {
    plan_->EndRequestAt(lane.Number(), reading.range.end);
  }
  lane.Take(LaneEvent::RightAnswer);
  services_->hosts.Accepted(OriginOf(lane.address));
  TakeNewAddress();
  if (!opened) return;
  Take(FetchEvent::FirstAnswerRight);
  Announce(program_.Text(kTextWebDownloading));
  OpenLanes();
}

// A browser has begun the download, and got an answer of this length and type.
bool WebEngine::IsExpected(const FetchAnswer& answer, std::int64_t total) const {
  const std::optional<ExpectedAnswer>& expected = Handed().expected;
  if (!expected) return true;
  const std::string_view type = HeaderOf(answer, "Content-Type");
  return total == expected->size && EqualsNoCase(TrimBlanks(type.substr(0, type.find(';'))), expected->type);
}

// A ZIP archive is first shown, if the user wants that: the download pauses, and the viewer continues it.
bool WebEngine::ShowsInside(const WebLane& lane, const FetchAnswer& answer) {
  const bool wanted = program_.settings.AutoPreviewZIP && program_.lookInside && !program_.IsQuiet(slot_.Index());
  const std::string name = entry_.path.empty() ? FileNameFromReply(answer, lane.address) : NameOf(entry_.path);
  if (!wanted || wasShownInside_ || !EndsWithNoCase(name, "zip")) return false;
  wasShownInside_ = true;
  const ArchiveLook look{Record().URL, {}, slot_.Index(), program_.Serial(slot_.Index()), true};
  Rest(FetchEvent::Pause, {});
  program_.lookInside(look);
  return true;
}

void WebEngine::TakeFirstBody(WebLane& lane, const FetchAnswer& answer, const ReplyReading& reading) {
  const std::int64_t total = reading.verdict == ReplyVerdict::Empty ? 0 : reading.facts.total;
  if (!IsExpected(answer, total)) return Rest(FetchEvent::GivenUp, Say(WebText::OtherThanBrowsers));
  if (ShowsInside(lane, answer)) return;
  if (entry_.size >= 0 && total >= 0 && total != entry_.size) {
    if (!LeaveOut(lane.source, Say(WebText::OtherSize), true)) Rest(FetchEvent::GivenUp, Say(WebText::OtherSize));
    return;
  }
  facts_ = reading.facts;
  facts_.total = total;
  if (statedTotal_ >= 0 && facts_.total >= 0 && facts_.total != statedTotal_) {
    return Rest(FetchEvent::GivenUp, Say(WebText::WrongAnswers));
  }
  factsKnown_ = true;
  entry_.factsFrom = static_cast<std::uint64_t>(lane.source);
  Proven(lane, facts_);
  SourceOf(lane).peer = answer.peerAddress;
  written_ = {};
  // A server that takes ranges may still answer the first request with 200, but then it says so.
  oneLane_ |= answer.status == 200 && !EqualsNoCase(HeaderOf(answer, "Accept-Ranges"), "bytes");
  const std::vector<std::string> types = ListMembers(answer, "Content-Type");
  isMetalink_ = !types.empty() && types.front() == kMetalinkType;
  ChooseName(lane, answer);
  TakeLinks(lane, answer);
  TakeNewAddress();
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

Range WebEngine::LongestHeld() const {
  Range longest;
  for (const Range& range : written_.Ranges()) {
    if (range.Length() > longest.Length()) longest = range;
  }
  return longest;
}

// The server may come back with another version, and no validator would show it.
bool WebEngine::MayChangeUnseen() const {
  const Source& main = sources_.Main();
  return part_ && IsHttp(main.current.scheme) && LongestHeld().Length() >= kSample &&
         (!main.facts || IfRangeOf(main.facts->validator).empty());
}

// Bytes that are held, to see whether this server has the same version. Versions differ rather at the end of what is
// held than at its beginning.
void WebEngine::AskForSample(WebLane& lane) {
  const bool alone = !OthersAreOpen(lane);
  const Range longest = LongestHeld();
  const bool little = longest.Length() < (facts_.total < 0 ? kSample : std::min(kSample, facts_.total));
  if (!part_ || (little && !alone)) return LaneLost(lane, Say(WebText::Changed), RoundCause::Failure);  // more will be
  if (little) return CookiesAreGone() || PageIsGone() || IsSelection() ? HasChanged() : BeginAnewUnasked();
  if (++lane.asks > 2) return IsOther(lane, Say(WebText::Changed));
  if (plan_) plan_->Release(lane.Number());
  BeginRequest(lane, {RequestKind::Later, true, std::max(longest.begin, longest.end - kSample), longest.end - 1});
  lane.sample = true;
}

void WebEngine::TakeSample(WebLane& lane, const ReplyReading& reading) {
  const bool fits = reading.verdict == ReplyVerdict::Body || reading.verdict == ReplyVerdict::CompareSample;
  if (fits && reading.facts == lane.sampled) return;
  IsOther(lane, Say(WebText::Changed));
}

// Where the first answer comes from is where all further lanes go.
void WebEngine::Redirect(WebLane& lane, const ReplyReading& reading) {
  const ResolvedRedirect target = ResolveRedirect(lane.address, reading.location);
  const bool wrong =
      target.fault != RedirectFault::None || !program_.platform.fetcher->Supports(SchemeName(target.address.scheme));
  if (++lane.redirects > kMostRedirects || wrong) {
    return GiveUp(lane, Say(wrong ? WebText::Unsupported : WebText::WrongAnswers));
  }
  lane.address = target.address;
  if (!OthersOfSource(lane)) {
    SourceOf(lane).current = target.address;
    SourceOf(lane).peer.clear();
  }
  if (const std::int64_t wait = services_->hosts.WaitFor(OriginOf(lane.address), Now()); wait > 0) {
    return LaneLost(lane, Say(WebText::AskedToWait, {Moment(wait)}), RoundCause::RetryAfter, SecondsOf(wait));
  }
  BeginRequest(lane, lane.Asked());
}

// The question is in the window, where it holds nothing else up; the row has its reason.
void WebEngine::Ask(const std::string& reason, const std::string& question, std::string yes, std::string no,
                    std::function<void(bool)> answer) {
  RestAsking(reason, question);
  ShowQuestion(std::move(yes), std::move(no), std::move(answer));
  Draw();
}

void WebEngine::RestAsking(const std::string& reason, const std::string& question) {
  if (state_ == FetchState::Holding) Take(FetchEvent::NetworkOrTimeBack);
  Rest(FetchEvent::Question, reason);
  Announce(question.empty() ? reason : reason + " " + question);
}

void WebEngine::ShowQuestion(std::string yes, std::string no, std::function<void(bool)> answer) {
  EngineQuestion asked{std::move(yes), std::move(no), {}};
  asked.answer = [weak = weak_from_this(), run = run_, answer = std::move(answer)](bool isYes) {
    const std::shared_ptr<WebEngine> self = weak.lock();
    if (self && self->StillCurrent() && run == self->run_ && self->state_ == FetchState::Asking) answer(isYes);
  };
  if (view_ != nullptr) view_->ShowQuestion(std::move(asked));
}

void WebEngine::HasChanged(const std::string& atNewAddress) {
  if (!Fetching() && state_ != FetchState::Finishing) return;
  if (state_ == FetchState::Holding) Take(FetchEvent::NetworkOrTimeBack);
  if (CookiesAreGone()) return Rest(FetchEvent::GivenUp, Say(WebText::CookiesGone));  // a login page, rather
  if (written_.Ranges().empty() && !IsSelection() && entry_.oldPartPath.empty())
    return BeginAnewUnasked();  // nothing can be lost
  if (IsSelection() && NewAddress() == nullptr) return ArchiveHasChanged();
  if (NewAddress() != nullptr) {
    return Rest(FetchEvent::GivenUp, atNewAddress.empty() ? Say(WebText::OtherBytesThere) : atNewAddress);
  }
  Ask(Say(WebText::Changed), Say(WebText::AskBeginAnew), Say(WebText::BeginAnew), Say(WebText::KeepPart),
      [this](bool yes) {
        if (yes) return BeginAnew();
        Rest(FetchEvent::AnswerNo, Say(WebText::Changed));
      });
}

// Of the part files so far the last one that holds something is kept until the new file is finished.
void WebEngine::LeavePart() {
  EndRun();
  Take(FetchEvent::Pause);
  std::string uselessPath = entry_.partPath;
  FileIdentity useless = entry_.part;
  if (!written_.Ranges().empty()) {
    std::swap(uselessPath, entry_.oldPartPath);
    std::swap(useless, entry_.oldPart);
  }
  DropPart();
  services_->journal.Discard(uselessPath, useless);
  WriteJournal(JournalStateNow());
}

void WebEngine::BeginAnew() {
  LeavePart();
  StartOrQueue();
}

void WebEngine::BeginAnewUnasked() {
  LeavePart();
  Start(Sense::Anew);
}

// Whether the user trusts the server, whose key is then kept. Downloads from one server ask once.
void WebEngine::AskAboutKey(const WebLane& lane, const HostKey& key) {
  const WebAddress address = lane.address;
  const std::string reason = Say(WebText::UnknownKey, {address.host, key.fingerprint});
  Ask(reason, Say(WebText::AskTrustKey), Say(WebText::TrustKey), Say(WebText::RefuseKey),
      [this, address, key, reason](bool yes) {
        if (!yes) return Rest(FetchEvent::AnswerNo, reason);
        program_.platform.tasks.Spawn(KeepHostKey(&program_.platform, address, key));
        services_->keys.Accept(OriginOf(address), key.fingerprint);
      });
  services_->keys.WhenAccepted(OriginOf(address), key.fingerprint, [weak = weak_from_this(), run = run_] {
    const std::shared_ptr<WebEngine> self = weak.lock();
    if (!self || !self->StillCurrent() || run != self->run_ || self->state_ != FetchState::Asking) return;
    self->Take(FetchEvent::Pause);
    self->StartOrQueue();
  });
}

void WebEngine::LaneEnded(WebLane& lane, FetchEnd end, const std::string& reason) {
  if (!StillCurrent()) return;
  if (lane.sample) {
    // If all of it has come, SampleCompared is still to follow.
    const bool all = lane.Asked().from + lane.sampleAt > lane.Asked().to;
    if (!all) LaneLost(lane, ReasonFor(lane, end, reason), RoundCause::Failure);
    return;
  }
  if (lane.Flows() && !part_) {
    earlyEnd_ = EarlyEnd{lane.Number(), end, reason};
    return;
  }
  if (lane.Flows()) return EndedFlow(lane, end, reason);
  EndedUnanswered(lane, end, reason);
}

// On one connection: several requests would share it.
void WebEngine::AskByHttp2(WebLane& lane, const AskedFor& asked) {
  http2_ = oneLane_ = true;
  AskAgain(lane, asked);
}

void WebEngine::EndedUnanswered(WebLane& lane, FetchEnd end, const std::string& reason) {
  const std::string sentence = ReasonFor(lane, end, reason);
  switch (end) {
    case FetchEnd::NotTrusted:
    case FetchEnd::Unsupported:
    case FetchEnd::NotFound:
      return Refused(lane, sentence);
    case FetchEnd::NoLogin:
      return LoginRefused(lane);
    case FetchEnd::ProxyLogin:
      return ProxyDemands(lane);
    case FetchEnd::OtherHttp:
      if (http2_ || OthersAreOpen(lane)) return Refused(lane, sentence);
      return AskByHttp2(lane, lane.Asked());
    case FetchEnd::UnknownKey: {
      if (OthersAreOpen(lane)) return GoOnWithout(lane, sentence);
      const HostKey key = ReadHostKey(reason);
      if (services_->keys.AcceptedFor(OriginOf(lane.address)) != key.fingerprint) return AskAboutKey(lane, key);
      break;  // accepted for another download meanwhile
    }
    case FetchEnd::NoConnect:
      if (OthersFlow(lane)) return TakesNoMore(lane);
      break;
    default:
      break;
  }
  LaneLost(lane, sentence, CauseOf(end));
}

// A name that has had an address once is not wrong: it is the names that are missing.
RoundCause WebEngine::CauseOf(FetchEnd end) const {
  if (!program_.platform.network.HasConnection()) return RoundCause::NoNetwork;
  return end == FetchEnd::NoHost && factsKnown_ ? RoundCause::NoNames : RoundCause::Failure;
}

void WebEngine::EndedFlow(WebLane& lane, FetchEnd end, const std::string& reason) {
  if (facts_.total < 0) {
    if (end != FetchEnd::Whole) return LaneLost(lane, ReasonFor(lane, end, reason), CauseOf(end));
    const std::int64_t length = plan_->Offset(lane.Number());
    const std::vector<Range>& held = heldBefore_.Ranges();
    if (lane.compares && !held.empty() && length < held.back().end) {
      if (lane.proof != LengthProof::UntilClose) return ComparedOther();
      return LaneLost(lane, ReasonFor(lane, FetchEnd::Lost, {}), RoundCause::Failure);
    }
    if (entry_.size >= 0 && length != entry_.size) return Rest(FetchEvent::GivenUp, Say(WebText::OtherSize));
    facts_.total = length;
    unconfirmed_ = lane.proof == LengthProof::UntilClose;
    plan_->SetTotal(facts_.total);
    Release(lane);
    return AllHeld();
  }
  if (lane.endProves) {
    if (end != FetchEnd::Whole) return LaneLost(lane, ReasonFor(lane, end, reason), CauseOf(end));
    if (plan_->Complete()) return AllHeld();
    if (lane.proof == LengthProof::Chunked) return ComparedOther();
  }
  if (plan_->Next(lane.Number()) == LaneNext::Continue) {
    return LaneLost(lane, ReasonFor(lane, end, reason), CauseOf(end));
  }
  Release(lane);
  for (const auto& other : lanes_) {
    if (other->state == LaneState::Refused) other->Take(LaneEvent::Again);
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

void WebEngine::GoOnWithout(WebLane& lane, const std::string& fault) {
  if (!OthersOfSource(lane) && LeaveOut(lane.source, fault)) return;
  SourceOf(lane).single = true;
  if (!sources_.HasOthers(lane.source)) oneLane_ = true;
  Release(lane);
  lane.Take(LaneEvent::OneMore);
}

void WebEngine::TakesNoMore(WebLane& lane) {
  Release(lane);
  services_->hosts.RefusedMore(OriginOf(lane.address), Now());
  lane.Take(LaneEvent::OneMore);
}

void WebEngine::LaneLost(WebLane& lane, const std::string& reason, RoundCause cause, std::int64_t retryAfterSeconds) {
  lastReason_ = reason;
  ForgetUncompared();
  Release(lane);
  Source& source = SourceOf(lane);
  const bool failed = cause == RoundCause::Failure || cause == RoundCause::NoNames;
  if (failed && !OthersOfSource(lane)) ++source.failures;
  if (OthersAreOpen(lane)) {
    if (source.failures >= kMostFailures && RestSource(lane.source, reason)) return;
    // A single connection was lost, and neither the server nor the network.
    if (cause == RoundCause::Failure && retryAfterSeconds == 0 && lane.backOff.TakeRecovery()) return OpenLanes();
    lane.Take(LaneEvent::Lost);
    lane.due = Now() + (retryAfterSeconds > 0 ? lane.backOff.NextAfter(retryAfterSeconds) : lane.backOff.Next());
    lane.text = RetryIn(lane.due - Now());
    return;
  }
  RoundEnded(cause, retryAfterSeconds > 0 ? backOff_.NextAfter(retryAfterSeconds) : backOff_.Next());
}

void WebEngine::RoundEnded(RoundCause cause, std::int64_t wait) {
  ForgetUncompared();
  for (const auto& lane : lanes_) Release(*lane);
  if (state_ == FetchState::Holding) return;
  // It served until now: what it has refused meanwhile says nothing of how many connections it takes.
  if (cause == RoundCause::Failure && rounds_.Count() == 0) {
    services_->hosts.Forget(OriginOf(sources_.Main().current));
  }
  if (MayChangeUnseen()) sources_.Main().proven = false;
  if (MainHasFailed(cause) && MoveToOther()) {
    wait = 0;
  } else {
    rounds_.Ended(cause);
  }
  if (rounds_.Spent()) return Rest(FetchEvent::GivenUp, Say(WebText::TooManyTries, {lastReason_}));
  HoldFor(wait, cause);
  if (wait > kKeepsPlaceFor) {
    TheFigures().yields = true;
    program_.lists->RefreshRows(kAllRows, kUnforced);  // another may start
  }
  Draw();
}

}  // namespace pellora
