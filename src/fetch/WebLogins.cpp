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

void WebEngine::LoginDemanded(WebLane& lane, const FetchAnswer& answer) {
  const std::optional<Challenge> challenge = ReadChallenge(HeadersOf(answer, "WWW-Authenticate"));
  if (!challenge) return Refused(lane, Say(WebText::LoginNeeded));
  requests_.TakeChallenge(lane.address, *challenge);
  const bool answered = lane.auth == challenge->auth;  // else it went out in another way
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
  if (AskGivenOnceMore(lane) || LeaveOut(lane.source, reason)) return;
  if (CookiesAreGone()) return Rest(FetchEvent::GivenUp, Say(WebText::CookiesGone));
  LoginMissing({place, sent, reason, unencrypted});
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
  LoginMissing({place, proxy->login, reason});
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

std::string WebEngine::UserAt(const LoginPlace& place) const {
  return place == requests_.PlaceAt(given_) ? given_.user : std::string();
}

void WebEngine::LoginMissing(LoginDemand demand) {
  if (!services_->logins.MaySeek(demand.place)) return AskForLogin(demand);
  for (const auto& lane : lanes_) Release(*lane);
  seeksLogin_ = true;
  program_.platform.tasks.Spawn(SeekLogin(run_, std::move(demand)));
}

Task<> WebEngine::SeekLogin(Run run, LoginDemand demand) {
  const auto hold = Hold();
  const LoginPlace place = demand.place;
  const std::string user = UserAt(place);
  co_await services_->logins.Seek(place, user);
  if (!StillCurrent() || run != run_ || !seeksLogin_) co_return;
  seeksLogin_ = false;
  if (state_ == FetchState::Holding) co_return;  // the next round knows what was found
  if (services_->logins.GivenFor(place) == Login()) {
    AskForLogin(demand);
    co_return;
  }
  EndRun();
  Take(FetchEvent::Pause);
  Start();
}

// Downloads of one place share the answer.
void WebEngine::AskForLogin(const LoginDemand& demand) {
  RestAsking(demand.reason, {});
  asksForLogin_ = true;
  ShowLoginQuestion(demand);
  Draw();
  services_->logins.WhenGiven(demand.place, [weak = weak_from_this(), run = run_] {
    const std::shared_ptr<WebEngine> self = weak.lock();
    if (!self || !self->StillCurrent() || run != self->run_ || self->state_ != FetchState::Asking) return;
    self->Take(FetchEvent::Pause);
    self->StartOrQueue();
  });
}

// It stays until it is settled, so that a second click finds the window again.
void WebEngine::ShowLoginQuestion(const LoginDemand& demand) {
  const bool ofArchive = demand.place.scheme == kArchivePlace;
  ShowQuestion(Say(ofArchive ? WebText::EnterPassword : WebText::LogIn), Say(WebText::NotNow),
               [this, demand](bool yes) {
                 if (!yes) return Rest(FetchEvent::AnswerNo, demand.reason);
                 ShowLoginQuestion(demand);
                 OpenLoginWindow(demand);
               });
}

void WebEngine::OpenLoginWindow(const LoginDemand& demand) {
  if (!services_->logins.ask) return;
  LoginQuestion question{demand.place, demand.reason, demand.refused.user, demand.unencrypted, {}};
  if (question.user.empty()) question.user = UserAt(demand.place);
  question.cancelled = [weak = weak_from_this(), run = run_, reason = demand.reason] {
    const std::shared_ptr<WebEngine> self = weak.lock();
    if (!self || !self->StillCurrent() || run != self->run_ || self->state_ != FetchState::Asking) return;
    self->Rest(FetchEvent::AnswerNo, reason);
  };
  services_->logins.ask(std::move(question));
}

}  // namespace pellora
