#include "fetch/WebRequests.h"

#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

#include "core/Ascii.h"
#include "core/Program.h"
#include "core/ProxyServer.h"
#include "core/Version.h"
#include "fetch/EnvironmentProxy.h"
#include "fetch/HttpDate.h"
#include "fetch/ReplyHeads.h"
#include "ports/Machine.h"
#include "ports/Platform.h"

namespace pellora {

namespace {

constexpr int kMostWayChanges = 8;  // the servers that share an address may each want another way

// A value with a control character could end its line, and is not sent.
void AddHeader(FetchRequest& request, const char* name, std::string value) {
  if (value.empty() || HasControls(value)) return;
  request.headers.push_back({name, std::move(value)});
}

}  // namespace

void WebRequests::Begin(const WebAddress& given) {
  given_ = given;
  netrc_ = ReadNetrc(program_.platform);
  wayChanges_.clear();
}

void WebRequests::TakeHanded(const std::string& cookies) {
  if (cookies != std::exchange(handed_, cookies)) cookies_.TakeAll(given_, cookies);
}

void WebRequests::TakeCookies(const WebAddress& from, const FetchAnswer& answer) {
  const std::int64_t now = ParseHttpDate(HeaderOf(answer, "Date")).value_or(0);
  for (const std::string_view cookie : HeadersOf(answer, "Set-Cookie")) cookies_.Take(from, cookie, now);
}

bool WebRequests::TakeChallenge(const WebAddress& from, const Challenge& challenge) {
  const std::string origin = OriginOf(from);
  const Challenge* const former = ChallengeOf(from);
  if (former != nullptr && former->auth != challenge.auth) ++wayChanges_[origin];
  challenges_[origin] = challenge;
  return wayChanges_[origin] <= kMostWayChanges;
}

const Challenge* WebRequests::ChallengeOf(const WebAddress& address) const {
  const auto found = challenges_.find(OriginOf(address));
  return found == challenges_.end() ? nullptr : &found->second;
}

LoginPlace WebRequests::PlaceAt(const WebAddress& address) const {
  const Challenge* const challenge = ChallengeOf(address);
  return PlaceOf(address, challenge != nullptr ? challenge->realm : std::string());
}

void WebRequests::TakeRefusal(const LoginPlace& place, const Login& login) {
  refused_.insert({place, {login.user, login.password}});
}

bool WebRequests::IsUsable(const LoginPlace& place, const Login& login) const {
  return login != Login() && !refused_.contains({place, {login.user, login.password}});
}

std::string WebRequests::UserFor(const WebAddress& address) const {
  return SharesSecrets(given_, address) ? given_.user : std::string();
}

bool WebRequests::HasLoginFor(const WebAddress& address) const { return FirstOf(address) != Login(); }

bool WebRequests::HasOtherProxyLogin(const LoginPlace& proxy) const {
  return IsUsable(proxy, logins_.GivenFor({proxy, {}}));
}

// A default is meant for anonymous FTP, not for every web site.
Login WebRequests::FirstOf(const WebAddress& address) const {
  const bool own = SharesSecrets(given_, address);
  const std::string user = UserFor(address);
  const bool withDefault = address.scheme == WebScheme::Ftp || address.scheme == WebScheme::Ftps;
  const LoginPlace place = PlaceAt(address);
  const Login ownLogin = own ? Login{given_.user, given_.password} : Login();
  const Login complete = ownLogin.password.empty() ? Login() : ownLogin;
  for (const Login& login :
       {complete, logins_.GivenFor({place, user}), LoginIn(netrc_, address.host, user, withDefault), ownLogin}) {
    if (IsUsable(place, login)) return login;
  }
  return {};
}

Login WebRequests::LoginFor(const WebAddress& address) const {
  if (address.scheme == WebScheme::Http && ChallengeOf(address) == nullptr) return {};
  return FirstOf(address);
}

std::string WebRequests::ProxyFor(const WebAddress& address) const {
  const Settings& settings = program_.settings;
  std::string url = settings.ProxyHTTP ? ProxyOf(settings) : EnvironmentProxy(address, [this](const std::string& name) {
    return program_.platform.machine.Variable(name);
  });
  std::optional<ProxyServer> proxy = ParseProxy(url, PortOfProxies(url));
  if (!proxy) return url;
  const LoginPlace place = PlaceOf(*proxy);
  if (IsUsable(place, proxy->login)) return url;
  const Login given = logins_.GivenFor({place, {}});
  if (proxy->login == Login() && given == Login()) return url;
  proxy->login = IsUsable(place, given) ? given : Login();
  return UrlOf(*proxy);
}

FetchRequest WebRequests::Make(const WebAddress& address, const AskedFor& asked, const std::string& referrer,
                               const std::string& ifRange) const {
  FetchRequest request;
  request.url = WireUrl(address);
  request.ranged = asked.ranged;
  request.from = asked.from;
  request.to = asked.to;
  request.certificates = program_.settings.ExtraCertificates;
  Login login = LoginFor(address);
  request.user = std::move(login.user);
  request.password = std::move(login.password);
  if (const Challenge* const challenge = ChallengeOf(address)) request.auth = challenge->auth;
  if (address.scheme == WebScheme::Sftp) {
    request.knownHosts = KnownHostsFiles(program_.platform);
    request.acceptedKey = keys_.AcceptedFor(OriginOf(address));
    if (!request.user.empty()) request.key = PrivateKeyFile(program_.platform);
  }
  request.proxy = ProxyFor(address);
  if (!IsHttp(address.scheme)) return request;
  AddHeader(request, "User-Agent", userAgent_.empty() ? std::string("Pellora/") + kFullVersionText : userAgent_);
  AddHeader(request, "Accept", "*/*");
  AddHeader(request, "Cookie", cookies_.For(address));
  const std::optional<WebAddress> page = ParseWebAddress(referrer);
  if (page) AddHeader(request, "Referer", ReferrerFor(*page, address));
  AddHeader(request, "If-Range", ifRange);
  return request;
}

}  // namespace pellora
