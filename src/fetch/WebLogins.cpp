// Who gets a login, and where it comes from: the address, what the user has answered, ~/.netrc, the desktop's store, a
// question.
#include <memory>
#include <optional>
#include <utility>

#include "async/TaskLoop.h"
#include "core/ProxyServer.h"
#include "fetch/Challenge.h"
#include "fetch/ReplyHeads.h"
#include "fetch/SelectionFiles.h"
#include "fetch/WebEngine.h"

namespace pellora {

namespace {

constexpr int kUnauthorized = 401;

}  // namespace

void WebEngine::LoginDemanded(WebLane& lane, const FetchAnswer& answer) {
  const std::optional<Challenge> challenge = ReadChallenge(HeadersOf(answer, "WWW-Authenticate"));
  if (!challenge) return Refused(lane, MissesPage(lane) ? PageGone(answer.status) : Say(WebText::LoginNeeded));
  const bool settled = requests_.TakeChallenge(lane.address, *challenge);
  const bool answered = lane.auth == challenge->auth || !settled;  // else it went out in another way
  // That needs a ticket, which only libcurl knows of, and no login.
  if (!answered && challenge->auth == FetchAuth::Negotiate) return AskAgain(lane, lane.Asked());
  ServerDemands(lane, answered, lane.address.scheme == WebScheme::Http && challenge->auth == FetchAuth::Basic);
}

void WebEngine::LoginRefused(WebLane& lane) { ServerDemands(lane, true, lane.address.scheme == WebScheme::Ftp); }

void WebEngine::ServerDemands(WebLane& lane, bool refused, bool unencrypted) {
  const LoginPlace place = requests_.PlaceAt(lane.address);
  const Login sent = refused ? lane.login : Login();
  const std::string reason = Say(sent.password.empty() ? WebText::LoginNeeded : WebText::WrongLogin);
  if (sent != Login() && OthersAreOpen(lane)) return GoOnWithout(lane, reason);  // they have got it accepted
  if (sent != Login()) TakeRefusal(place, sent);
  if (requests_.HasLoginFor(lane.address)) return AskAgain(lane, lane.Asked());
  if (OthersAreOpen(lane)) return GoOnWithout(lane, reason);
  if (AskGivenOnceMore(lane) || (!IsWorthAsking(lane) && LeaveOut(lane.source, reason))) return;
  if (CookiesAreGone()) return Rest(FetchEvent::GivenUp, Say(WebText::CookiesGone));
  LoginDemand demand{{place, requests_.UserFor(lane.address)}, sent, reason, unencrypted};
  if (MissesPage(lane) && IsHttp(lane.address.scheme)) demand.inRow = PageGone(kUnauthorized);
  demand.ofOwnAddress = lane.source == 0;
  LoginMissing(std::move(demand));
}

// A mirror does without a login. So does a download that nobody watches, if it has mirrors.
bool WebEngine::IsWorthAsking(const WebLane& lane) const {
  return lane.source == 0 && !entry_.quiet && !program_.headless;
}

void WebEngine::ProxyDemands(WebLane& lane) {
  const std::optional<ProxyServer> proxy = ParseProxy(lane.proxy, PortOfProxies(lane.proxy));
  if (!proxy) return LaneLost(lane, Say(WebText::WrongAnswers), RoundCause::Failure);
  const LoginPlace place = PlaceOf(*proxy);
  const bool wrong = proxy->login != Login();
  const std::string reason = Say(wrong ? WebText::WrongProxyLogin : WebText::ProxyLoginNeeded, {proxy->host});
  if (wrong && OthersAreOpen(lane)) return GoOnWithout(lane, reason);
  if (wrong) TakeRefusal(place, proxy->login);
  if (requests_.HasOtherProxyLogin(place)) return AskAgain(lane, lane.Asked());
  if (OthersAreOpen(lane)) return GoOnWithout(lane, reason);
  LoginMissing({{place, {}}, proxy->login, reason});
}

void WebEngine::TakeRefusal(const LoginPlace& place, const Login& login) {
  requests_.TakeRefusal(place, login);
  services_->logins.Refused(place, login);
}

void WebEngine::LoginsAccepted(const WebLane& lane) {
  if (lane.login != Login()) services_->logins.Accepted(requests_.PlaceAt(lane.address), lane.login);
  const std::optional<ProxyServer> proxy = ParseProxy(lane.proxy, PortOfProxies(lane.proxy));
  if (proxy && proxy->login != Login()) services_->logins.Accepted(PlaceOf(*proxy), proxy->login);
}

void WebEngine::LoginMissing(LoginDemand demand) {
  if (!services_->logins.MaySeek(demand.wish)) return AskForLogin(demand);
  for (const auto& lane : lanes_) Release(*lane);
  seeksLogin_ = true;
  program_.platform.tasks.Spawn(SeekLogin(run_, std::move(demand)));
}

Task<> WebEngine::SeekLogin(Run run, LoginDemand demand) {
  const auto hold = Hold();
  co_await services_->logins.Seek(demand.wish);
  if (!StillCurrent() || run != run_ || !seeksLogin_) co_return;
  seeksLogin_ = false;
  if (state_ == FetchState::Holding) co_return;  // the next round knows what was found
  if (services_->logins.GivenFor(demand.wish) == Login()) {
    AskForLogin(demand);
    co_return;
  }
  EndRun();
  Take(FetchEvent::Pause);
  Start();
}

// Downloads of one place share the answer.
void WebEngine::AskForLogin(const LoginDemand& demand) {
  RestAsking(demand.inRow.empty() ? demand.reason : demand.inRow, {});
  asksForLogin_ = true;
  ShowLoginQuestion(demand);
  Draw();
  services_->logins.WhenGiven(demand.wish, [weak = weak_from_this(), run = run_] {
    const std::shared_ptr<WebEngine> self = weak.lock();
    if (!self || !self->StillCurrent() || run != self->run_ || self->state_ != FetchState::Asking) return;
    self->Take(FetchEvent::Pause);
    self->StartOrQueue();
  });
}

// Then mirrors may have it.
void WebEngine::LoginDenied(const LoginDemand& demand) {
  if (!demand.ofOwnAddress || !sources_.HasOthers(0)) return Rest(FetchEvent::AnswerNo, demand.reason);
  sources_.LeaveOut(0, demand.reason);
  Take(FetchEvent::Pause);
  StartOrQueue(Sense::Anew);
}

// It stays until it is settled, so that a second click finds the window again.
void WebEngine::ShowLoginQuestion(const LoginDemand& demand) {
  const bool ofArchive = demand.wish.first.scheme == kArchivePlace;
  ShowQuestion(Say(ofArchive ? WebText::EnterPassword : WebText::LogIn), Say(WebText::NotNow),
               [this, demand](bool yes) {
                 if (!yes) return LoginDenied(demand);
                 ShowLoginQuestion(demand);
                 OpenLoginWindow(demand);
               });
}

void WebEngine::OpenLoginWindow(const LoginDemand& demand) {
  if (!services_->logins.ask) return;
  const auto& [place, named] = demand.wish;
  LoginQuestion question{place, named, demand.reason, demand.refused.user, demand.unencrypted, {}};
  if (question.user.empty()) question.user = named;
  question.cancelled = [weak = weak_from_this(), run = run_, demand] {
    const std::shared_ptr<WebEngine> self = weak.lock();
    if (!self || !self->StillCurrent() || run != self->run_ || self->state_ != FetchState::Asking) return;
    self->LoginDenied(demand);
  };
  services_->logins.ask(std::move(question));
}

}  // namespace pellora
