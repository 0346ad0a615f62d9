#include "fetch/WebRequests.h"

#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

#include "core/Ascii.h"
#include "core/Program.h"
#include "core/Version.h"
#include "fetch/EnvironmentProxy.h"
#include "fetch/HttpDate.h"
#include "fetch/ReplyHeads.h"
#include "ports/Machine.h"
#include "ports/Platform.h"

namespace pellora {

namespace {

// A value with a control character could end its line, and is not sent.
void AddHeader(FetchRequest& request, const char* name, std::string value) {
  if (value.empty() || HasControls(value)) return;
  request.headers.push_back({name, std::move(value)});
}

}  // namespace

void WebRequests::Begin(const WebAddress& given) {
  given_ = given;
  netrc_ = ReadNetrc(program_.platform);
}

void WebRequests::TakeHanded(const std::string& cookies) {
  if (cookies != std::exchange(handed_, cookies)) cookies_.TakeAll(given_, cookies);
}

void WebRequests::TakeCookies(const WebAddress& from, const FetchAnswer& answer) {
  const std::int64_t now = ParseHttpDate(HeaderOf(answer, "Date")).value_or(0);
  for (const std::string_view cookie : HeadersOf(answer, "Set-Cookie")) cookies_.Take(from, cookie, now);
}

// not for every web site.
NetrcLogin WebRequests::LoginFor(const WebAddress& address) const {
  const bool own = SharesSecrets(given_, address);
  if (own && !given_.password.empty()) return {given_.user, given_.password};
  const std::string user = own ? given_.user : std::string();
  const bool withDefault = address.scheme == WebScheme::Ftp || address.scheme == WebScheme::Ftps;
  NetrcLogin login = LoginIn(netrc_, address.host, user, withDefault);
  if (login.user.empty()) login.user = user;
  return login;
}

std::string WebRequests::ProxyFor(const WebAddress& address) const {
  const Settings& settings = program_.settings;
  if (!settings.ProxyHTTP) {
    return EnvironmentProxy(address,
                            [this](const std::string& name) { return program_.platform.machine.Variable(name); });
  }
  if (!IsHttp(address.scheme)) return {};
  return "http://" + settings.ProxyServer + ":" + std::to_string(settings.ProxyPort);
}

FetchRequest WebRequests::Make(const WebAddress& address, const AskedFor& asked, const std::string& referrer,
                               const std::string& ifRange) const {
  FetchRequest request;
  request.url = WireUrl(address);
  request.ranged = asked.ranged;
  request.from = asked.from;
  request.to = asked.to;
  request.certificates = program_.settings.ExtraCertificates;
  NetrcLogin login = LoginFor(address);
  request.user = std::move(login.user);
  request.password = std::move(login.password);
  if (address.scheme == WebScheme::Sftp) {
    request.knownHosts = KnownHostsFiles(program_.platform);
    request.acceptedKey = keys_.AcceptedFor(OriginOf(address));
    if (!request.user.empty()) request.key = PrivateKeyFile(program_.platform);
  }
  request.proxy = ProxyFor(address);
  if (!IsHttp(address.scheme)) return request;
  AddHeader(request, "User-Agent", std::string("Pellora/") + kFullVersionText);
  AddHeader(request, "Accept", "*/*");
  AddHeader(request, "Cookie", cookies_.For(address));
  const std::optional<WebAddress> page = ParseWebAddress(referrer);
  if (page) AddHeader(request, "Referer", ReferrerFor(*page, address));
  AddHeader(request, "If-Range", ifRange);
  return request;
}

}  // namespace pellora
