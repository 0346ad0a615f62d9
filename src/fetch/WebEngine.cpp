#include "fetch/WebEngine.h"

#include <algorithm>

#include "archive/RemoteArchives.h"
#include "async/TaskLoop.h"
#include "core/DateTexts.h"
#include "core/Queue.h"
#include "core/RecordLife.h"
#include "core/SpeedLimits.h"
#include "fetch/WebWords.h"
#include "ports/Locale.h"
#include "ports/Network.h"

namespace pellora {

namespace {

constexpr std::uint32_t kPulse = 250;          // ms
constexpr std::int64_t kAsleep = 15'000;       // ms without a pulse: the machine was suspended
constexpr std::int64_t kClaimEvery = 2'000;    // ms
constexpr std::int64_t kRefreshEvery = 200;    // ms
constexpr std::int64_t kNetworkRetest = 1000;  // ms
constexpr int kSpareLanes = 1;                 // relieve a slow one

}  // namespace

WebEngine::WebEngine(Program& program, std::shared_ptr<WebServices> services)
    : program_(program),
      services_(std::move(services)),
      requests_(program, services_->keys, services_->logins),
      pulse_(program.platform, kPulse),
      backOff_(services_->NextSeed()) {
  pulse_.OnTimer = [this] { Pulse(); };
}

WebEngine::~WebEngine() = default;

void WebEngine::Begin(const Slot& slot, EngineView& view) {
  slot_ = slot;
  view_ = &view;
  elapsed_ = Record().ElapsedSeconds;
  speed_ = program_.speed->ShareOf(slot.Index());
  entry_.key = JournalKeyOf(Record().URL, Record().DateAdded);
  const JournalEntry* const known = services_->journal.Find(entry_.key);
  if (known == nullptr) {
    entry_.id = services_->journal.NewId();
    return;
  }
  entry_ = *known;
  facts_ = entry_.facts;
  factsKnown_ = !entry_.partPath.empty();
  written_ = entry_.held;
}

bool WebEngine::StillCurrent() {
  if (Current()) return true;
  Retire();
  return false;
}

std::string WebEngine::Say(WebText text, std::initializer_list<std::string_view> values) const {
  return FillText(TextOf(program_, text), values);
}

std::string WebEngine::RetryIn(std::int64_t milliseconds) const {
  return Say(WebText::RetryIn, {std::to_string(SecondsOf(milliseconds))});
}

std::string WebEngine::Moment(std::int64_t wait) const {
  constexpr double kDay = 24.0 * 60 * 60 * 1000;  // ms
  const double at = program_.platform.clock.Now() + static_cast<double>(wait) / kDay;
  const DateForms forms = program_.platform.locale.ShortForms();
  return ShortDate(at, forms) + " " + ShortTime(at, forms);
}

bool WebEngine::Fetching() const {
  return state_ == FetchState::Opening || state_ == FetchState::Running || state_ == FetchState::Holding;
}

Task<> WebEngine::InitConnection() {
  const auto hold = Hold();
  if (!StillCurrent()) co_return;
  requests_.ForgetRefusals();
  Start();
  co_await program_.platform.tasks.Yield();
  if (!StillCurrent()) co_return;
  if (view_ != nullptr) {
    view_->ShowAddress(Record().URL);
    view_->ShowLanes(LaneCount());
  }
  Draw();
}

Task<> WebEngine::ResumeDownload() {
  const auto hold = Hold();
  if (!StillCurrent() || Record().Finished) co_return;
  if (state_ == FetchState::Asking && asksForLogin_) Take(FetchEvent::Pause);
  co_await InitConnection();
  if (StillCurrent()) program_.lists->RefreshRows(kAllRows, kForced);
}

void WebEngine::Start(Sense sense) {
  DownloadRecord& record = Record();
  if (record.Finished || Fetching() || state_ == FetchState::Finishing) return;
  const AddressReading* const fresh = NewAddress();
  if (state_ == FetchState::Asking) {
    if (fresh == nullptr) return;
    Take(FetchEvent::AnswerNo);  // the question was about the former address
  }
  ++run_;
  // A download that waited for a place keeps its count of failures.
  if (state_ != FetchState::Waiting && sense == Sense::AsWished) {
    rounds_ = {};
    backOff_.Restart();
    readings_ = 0;
  }
  Take(FetchEvent::Start);
  record.Active = true;
  record.Paused = false;
  record.Queued = 0;  // resumed in its window
  record.ConnectState = kConnectTried;
  TheFigures().standing = WebStanding::Active;
  TheFigures().notBefore = 0;
  entry_.startAt.reset();
  entry_.reason.clear();
  ShowCommand3(Command3Means::Pause);
  oneLane_ = unranged_ = unconditional_ = http2_ = unconfirmed_ = differs_ = renaming_ = renameIsJournaled_ = false;
  statedTotal_ = -1;
  checked_.clear();
  lastByte_ = lastPulse_ = lastClaim_ = Now();
  meter_.Start(lastByte_);
  speedLanes_ = speed_->MostLanes();
  pulse_.SetEnabled(true);
  Announce(Say(WebText::Connecting));
  if (!services_->journal.Readable()) return StopWithoutJournal();
  const std::optional<WebAddress> address = ParseWebAddress(fresh != nullptr ? fresh->listed : record.URL);
  if (!address) return Rest(FetchEvent::GivenUp, Say(WebText::Unsupported));
  given_ = *address;
  if (fresh != nullptr) {
    UseNewAddress(*fresh);
  } else {
    UseListedLogin();
  }
  if (sense == Sense::AsWished) BeginSources();
  requests_.Begin(given_);
  if (CookiesAreGone() && !factsKnown_) return Rest(FetchEvent::GivenUp, Say(WebText::CookiesGone));
  TakeHandedOver();
  if (IsSelection()) {
    program_.platform.tasks.Spawn(OpenSelection(run_, sense == Sense::AsWished));
  } else if (part_ || creating_ || entry_.partPath.empty()) {
    Open();
  } else {
    program_.platform.tasks.Spawn(AdoptPart(run_));
  }
}

// That of the record's address, or that came with its add.
void WebEngine::UseListedLogin() {
  const DownloadRecord& record = Record();
  if (!record.UserName.empty()) given_.user = record.UserName;
  if (!record.Password.empty()) given_.password = record.Password;
  const auto added = services_->addedLogins.find(entry_.key);
  if (added == services_->addedLogins.end()) return;
  given_.user = added->second.user;
  given_.password = added->second.password;
}

void WebEngine::StopWithoutJournal() {
  const std::string reason =
      Record().Received > 0 ? Say(WebText::ProgressLost) : Say(WebText::JournalUnreadable, {services_->journal.Path()});
  Rest(FetchEvent::GivenUp, reason);
}

const HandOver& WebEngine::Handed() const { return services_->handOvers.Of(entry_.key); }

void WebEngine::TakeHandedOver() {
  const HandOver& handed = Handed();
  entry_.hadCookies = entry_.hadCookies || !handed.cookies.empty();
  entry_.hadPage = entry_.hadPage || !handed.referrer.empty();
  requests_.TakeUserAgent(handed.userAgent);
  if (!handed.cookies.empty() && SharesSecretsOfListed()) requests_.TakeHanded(handed.cookies);
}

// Without them the server may send something else under this address.
bool WebEngine::CookiesAreGone() const {
  return entry_.hadCookies && NewAddress() == nullptr && Handed().cookies.empty();
}

// Most servers do without it.
bool WebEngine::PageIsGone() const { return entry_.hadPage && NewAddress() == nullptr && Handed().referrer.empty(); }

bool WebEngine::MissesPage(const WebLane& lane) const { return PageIsGone() && lane.source == 0; }

std::string WebEngine::PageGone(int status) const { return Say(WebText::PageGone, {std::to_string(status)}); }

bool WebEngine::HasPlace() const { return !Queue(program_).IsFull(program_.settings.MaxSimulDownlads); }

void WebEngine::StartOrQueue(Sense sense) { HasPlace() ? Start(sense) : WaitForPlace(); }

void WebEngine::WaitForPlace() {
  Take(FetchEvent::StartNoPlace);
  EndRun();
  DownloadRecord& record = Record();
  record.Active = record.Paused = false;
  record.Queued = 1;
  TheFigures().yields = false;
  TheFigures().standing = WebStanding::Paused;
  entry_.reason.clear();
  ShowCommand3(Command3Means::Pause);
  Announce(program_.Text(kTextWebQueued));
  WriteJournal(JournalStateNow());
  Claim();
  Draw();
  program_.lists->RefreshRows(kAllRows, kUnforced);
}

void WebEngine::ContinueOrQueue() {
  WebFigures& figures = TheFigures();
  if (figures.yields && !HasPlace()) return WaitForPlace();
  figures.yields = false;
  Take(FetchEvent::NetworkOrTimeBack);
  Announce(Say(WebText::Connecting));
  OpenFromGiven();
}

void WebEngine::EndRun() {
  ++run_;
  seeksLogin_ = asksForLogin_ = false;
  pulse_.SetEnabled(false);
  for (const auto& lane : lanes_) {
    lane->Close();
    lane->Take(LaneEvent::Stop);
  }
  plan_.reset();
  early_.clear();
  earlyEnd_.reset();
  seek_.reset();
  describing_.reset();
  inquiry_.reset();
  readsAgain_ = false;
  check_.clear();
}

void WebEngine::PauseDownload() {
  if (!StillCurrent()) return;
  if (Record().Finished || Record().Paused || renaming_) return;
  Rest(FetchEvent::Pause, {});
}

void WebEngine::Rest(FetchEvent event, const std::string& given) {
  const bool fails = event != FetchEvent::Pause && event != FetchEvent::Question;
  const std::string reason = fails && NewAddress() != nullptr ? KeepFormerAddress(given) : given;
  ForgetUncompared();
  Take(event);
  EndRun();
  DownloadRecord& record = Record();
  record.Active = false;
  record.Paused = true;
  record.Queued = 0;
  TheFigures().yields = false;
  TheFigures().standing = reason.empty() ? WebStanding::Paused : WebStanding::Stopped;
  entry_.reason = reason;
  ShowCommand3(Command3Means::Resume);
  Announce(reason.empty() ? program_.Text(kTextWebPaused) : reason);
  WriteJournal(JournalStateNow());
  Claim();
  ClosePartAtRest();
  Draw();
  program_.lists->RefreshRows(kAllRows, kForced);
}

void WebEngine::Retire() {
  if (retired_) return;
  const auto hold = Hold();
  retired_ = true;
  EndRun();
  part_.reset();
  if (EngineView* const view = std::exchange(view_, nullptr)) view->EngineRetired();
}

void WebEngine::Pulse() {
  if (!StillCurrent()) return;
  const std::int64_t now = Now();
  const std::int64_t passed = now - std::exchange(lastPulse_, now);
  const bool opensPart = !part_ && (factsKnown_ || !entry_.partPath.empty());
  const bool opens = opensPart || readsAgain_ || update_;
  if (passed > kAsleep && state_ != FetchState::Finishing && !opens) {
    ForgetUncompared();
    for (const auto& lane : lanes_) Release(*lane);
    if (Fetching() && state_ != FetchState::Holding) RoundEnded(RoundCause::NoNetwork, 0);
    return;
  }
  if (state_ == FetchState::Running) elapsed_ += static_cast<double>(passed) / 1000;
  if (state_ == FetchState::Holding) {
    if (holdCause_ == RoundCause::NoNetwork && !program_.platform.network.HasConnection()) {
      holdUntil_ = now + kNetworkRetest;
      Announce(Say(WebText::WaitingForNetwork));
    } else if (now >= holdUntil_) {
      ContinueOrQueue();
    } else {
      AnnounceRetry(holdUntil_ - now);
    }
  } else {
    CheckLanes(now);
  }
  UnpackSoon();
  if (now - lastClaim_ >= kClaimEvery) Claim();
  if (now - lastDraw_ >= kRefreshEvery) Draw();
}

void WebEngine::CheckLanes(std::int64_t now) {
  const bool starved = program_.platform.fetcher->Starved();
  for (std::size_t i = 0; i < lanes_.size() && (state_ == FetchState::Opening || state_ == FetchState::Running); ++i) {
    WebLane& lane = *lanes_[i];
    if (starved || lane.HeldUp()) lane.Sign(now);
    if (lane.Overdue(now)) {
      LaneLost(lane, Say(WebText::Silent, {lane.address.host}), RoundCause::Failure);
    } else if (lane.state == LaneState::BackingOff) {
      if (now >= lane.due) {
        lane.Take(LaneEvent::Again);
        OpenLanes();
      } else {
        lane.text = RetryIn(lane.due - now);
      }
    } else if (lane.state == LaneState::Refused && !oneLane_ && SourceForLane()) {
      lane.Take(LaneEvent::Again);
      OpenLanes();
    } else if (lane.Flows() && plan_) {
      plan_->SetRate(lane.Number(), lane.meter.BytesPerSecond(now));
    }
  }
  if (state_ == FetchState::Running) FitLanesToSpeed();
  if (state_ == FetchState::Running) RelieveSlowLane();
  if (state_ == FetchState::Running) EndIdleRound();
}

// No lane is left that an event could continue: the server has asked all downloads to wait, or takes none now.
void WebEngine::EndIdleRound() {
  const bool waits = std::any_of(lanes_.begin(), lanes_.end(),
                                 [](const auto& lane) { return lane->Open() || lane->state == LaneState::BackingOff; });
  if (waits || !part_ || earlyEnd_ || seeksLogin_) return;
  const std::int64_t wait = services_->hosts.WaitFor(OriginOf(sources_.Main().current), Now());
  if (wait > 0) lastReason_ = Say(WebText::AskedToWait, {Moment(wait)});
  RoundEnded(wait > 0 ? RoundCause::RetryAfter : RoundCause::Failure,
             wait > 0 ? backOff_.NextAfter(SecondsOf(wait)) : backOff_.Next());
}

// A limit that was set, lifted or is shared with more downloads now allows another number of lanes. What a closed lane
// had to fetch goes to the others.
void WebEngine::FitLanesToSpeed() {
  const int before = std::exchange(speedLanes_, speed_->MostLanes());
  for (std::size_t i = lanes_.size(); i > 1 && OpenCount() > speedLanes_; --i) {
    WebLane& lane = *lanes_[i - 1];
    if (lane.Open() && !lane.compares && !lane.sample) Release(lane);
  }
  if (speedLanes_ > before) OpenLanes();
}

// A slow lane's rest goes to a new connection; the slow one flows on until that delivers.
void WebEngine::RelieveSlowLane() {
  const std::optional<int> source = SourceForLane();
  if (!plan_ || oneLane_ || inOrder_ || !part_ || !source || OpenCount() >= speedLanes_) return;
  const std::optional<int> slow = plan_->SlowLane();
  if (!slow) return;
  for (int number = 0; number < MostLanes() + kSpareLanes; ++number) {
    WebLane& by = LaneOf(number);
    if (by.Open() || by.state != LaneState::Idle) continue;
    const std::optional<Piece> piece = plan_->Relieve(*slow, number);
    if (piece) BeginPiece(by, {RequestKind::Later, true, piece->range.begin, piece->range.end - 1}, *source);
    return;
  }
}

void WebEngine::OpenFromGiven() {
  sources_.Main().current = sources_.Main().given;
  sources_.Main().peer.clear();
  Open();
}

void WebEngine::Open() {
  for (const auto& lane : lanes_) Release(*lane);
  const int main = sources_.MainNumber();
  const Source& source = sources_.Main();
  if (const std::int64_t wait = services_->hosts.WaitFor(OriginOf(source.current), Now()); wait > 0) {
    lastReason_ = Say(WebText::AskedToWait, {Moment(wait)});
    return RoundEnded(RoundCause::RetryAfter, backOff_.NextAfter(SecondsOf(wait)));
  }
  WebLane& first = LaneOf(0);
  if (!factsKnown_) {
    plan_.reset();
    return BeginPiece(first, {RequestKind::First, !unranged_, 0, -1}, main);
  }
  heldBefore_ = written_;
  comparedTo_ = 0;
  plan_.emplace(NewPlan());
  if (plan_->Complete()) return AllHeld();
  if (unranged_) return OpenWhole(first);
  const std::vector<Piece> pieces = plan_->Give(std::vector<int>{0});
  if (pieces.empty()) return OpenWhole(first);
  AskedFor asked{source.proven ? RequestKind::Later : RequestKind::Resumed, true, pieces.front().range.begin,
                 facts_.total < 0 ? -1 : pieces.front().range.end - 1};
  asked.conditional = !source.proven && !unconditional_ && IsHttp(source.current.scheme) && source.facts &&
                      !IfRangeOf(source.facts->validator).empty();
  BeginPiece(first, asked, main);
}

RangePlan WebEngine::NewPlan() const {
  RangePlan::Shape shape;
  shape.lanes = kMaxLanes + kSpareLanes;
  shape.openRequests = !sources_.AllAreHttp() || !IsHttp(sources_.Main().current.scheme);
  return {facts_.total, extraction_ ? extraction_->HeldOrUnwanted(written_) : written_, shape};
}

// The body is compared with what is held, and what is missing is taken.
void WebEngine::OpenWhole(WebLane& lane) {
  for (const auto& other : lanes_) Release(*other);
  oneLane_ = true;
  heldBefore_ = written_;
  comparedTo_ = 0;
  BeginPiece(lane, {RequestKind::Resumed, false, 0, -1}, sources_.MainNumber());
}

void WebEngine::OpenLanes() {
  if (!plan_ || state_ != FetchState::Running || !part_ || (oneLane_ && AnyIsOpen())) return;
  std::vector<int> idle;
  std::vector<int> open = OpenLanesOfSources();
  std::vector<int> room = RoomOfSources(open);
  for (int number = 0; number < MostLanes(); ++number) {
    WebLane& lane = LaneOf(number);
    if (lane.Open() || lane.state != LaneState::Idle) continue;
    if (const std::optional<int> source = sources_.ForLane(open, room, HasHashes())) {
      lane.source = *source;
      ++open[static_cast<std::size_t>(*source)];
      --room[static_cast<std::size_t>(*source)];
      idle.push_back(number);
    } else {
      lane.Take(LaneEvent::OneMore);
    }
  }
  for (const Piece& piece : plan_->Give(idle)) {
    if (state_ != FetchState::Running) return;
    WebLane& lane = LaneOf(piece.lane);
    BeginPiece(lane, {RequestKind::Later, true, piece.range.begin, facts_.total < 0 ? -1 : piece.range.end - 1},
               lane.source);
  }
}

WebLane& WebEngine::LaneOf(int number) {
  while (lanes_.size() <= static_cast<std::size_t>(number)) {
    WebLaneOwner& owner = *this;
    lanes_.push_back(std::make_unique<WebLane>(static_cast<int>(lanes_.size()), owner, services_->NextSeed()));
  }
  return *lanes_[static_cast<std::size_t>(number)];
}

int WebEngine::MostLanes() const {
  if (oneLane_ || inOrder_ || facts_.total < 0) return 1;
  return std::min(std::clamp(program_.settings.MaxSegments, 1, kMaxLanes), speed_->MostLanes());
}

bool WebEngine::AnyIsOpen() const {
  return std::any_of(lanes_.begin(), lanes_.end(), [](const auto& lane) { return lane->Open(); });
}

int WebEngine::OpenCount() const {
  return static_cast<int>(std::count_if(lanes_.begin(), lanes_.end(), [](const auto& lane) { return lane->Open(); }));
}

bool WebEngine::OthersFlow(const WebLane& lane) const {
  return std::any_of(lanes_.begin(), lanes_.end(), [&](const auto& other) {
    return other.get() != &lane && other->source == lane.source && other->Open() && other->Flows();
  });
}

bool WebEngine::OthersAreOpen(const WebLane& lane) const {
  return std::any_of(lanes_.begin(), lanes_.end(),
                     [&](const auto& other) { return other.get() != &lane && other->Open(); });
}

bool WebEngine::OthersOfSource(const WebLane& lane) const {
  return std::any_of(lanes_.begin(), lanes_.end(), [&](const auto& other) {
    return other.get() != &lane && other->Open() && other->source == lane.source;
  });
}

void WebEngine::BeginPiece(WebLane& lane, AskedFor asked, int source) {
  lane.source = source;
  lane.address = sources_.At(source).current;
  lane.asks = lane.redirects = 0;
  BeginRequest(lane, asked);
}

void WebEngine::BeginRequest(WebLane& lane, AskedFor asked) {
  if (lane.state == LaneState::Idle) lane.Take(LaneEvent::PieceGiven);
  lane.Close();
  FetchRequest request = MakeRequest(lane, asked);
  lane.login = {request.user, request.password};
  lane.auth = request.auth;
  lane.proxy = request.proxy;
  auto connection = std::make_unique<HostMemory::Connection>(services_->hosts, OriginOf(lane.address));
  lane.Begin(*program_.platform.fetcher, std::move(request), asked, std::move(connection),
             program_.speed->NewLane(*speed_), Now());
  if (view_ != nullptr) view_->ShowLanes(LaneCount());
}

void WebEngine::AskAgain(WebLane& lane, AskedFor asked) {
  constexpr int kMostAsks = 4;  // besides redirects
  if (++lane.asks > kMostAsks) return LaneLost(lane, Say(WebText::WrongAnswers), RoundCause::Failure);
  BeginRequest(lane, asked);
}

FetchRequest WebEngine::MakeRequest(const WebLane& lane, const AskedFor& asked) const {
  const Source& source = SourceOf(lane);
  const std::string ifRange =
      asked.conditional ? IfRangeOf(source.facts.value_or(FileFacts()).validator) : std::string();
  FetchRequest request = requests_.Make(lane.address, asked, Handed().referrer, ifRange);
  request.http2 = http2_;
  if (request.proxy.empty() && lane.address == source.current) request.address = source.peer;
  return request;
}

FetchRequest WebEngine::MakeSmallRequest(const WebAddress& address) const {
  return requests_.Make(address, AskedFor{RequestKind::First, false, 0, -1}, Handed().referrer, {});
}

}  // namespace pellora
