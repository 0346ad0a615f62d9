#include "SimHttpServer.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "SimHttpText.h"

namespace pellora {

namespace {

std::string PathOf(const std::string& target) {
  const std::size_t scheme = target.find("://");
  if (scheme == std::string::npos) return target;
  const std::size_t slash = target.find('/', scheme + 3);
  return slash == std::string::npos ? "/" : target.substr(slash);
}

}  // namespace

std::optional<std::string> HttpRequest::Header(std::string_view name) const {
  std::size_t line = bytes.find("\r\n");
  while (line != std::string::npos && line + 2 < bytes.size()) {
    const std::size_t begin = line + 2;
    line = bytes.find("\r\n", begin);
    const std::string_view text = std::string_view(bytes).substr(begin, line - begin);
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos || !SameWithoutCase(text.substr(0, colon), name)) continue;
    std::string_view value = text.substr(colon + 1);
    while (!value.empty() && value.front() == ' ') value.remove_prefix(1);
    return std::string(value);
  }
  return std::nullopt;
}

void SimHttpServer::File(const std::string& path, SimContent content, const std::string& type) {
  Answer answer;
  answer.type = type;
  answer.content = std::move(content);
  answers_[path] = std::move(answer);
}

void SimHttpServer::Redirect(const std::string& path, const std::string& location, int status) {
  Answer answer = ErrorPage(status, "Found", "text/html", "<html><body>moved</body></html>");
  answer.location = location;
  answers_[path] = std::move(answer);
}

void SimHttpServer::Page(const std::string& path, int status, const std::string& type, const std::string& body) {
  answers_[path] = ErrorPage(status, status == 200 ? "OK" : "Error", type, body);
}

SimHttpServer::Answer SimHttpServer::ErrorPage(int status, const std::string& reason, const std::string& type,
                                               const std::string& body) {
  Answer answer;
  answer.status = status;
  answer.reason = reason;
  answer.type = type;
  answer.content = SimContent(body);
  return answer;
}

const HttpFault& SimHttpServer::FaultOf(int number) const {
  const auto at = byConnection_.find(number);
  return at == byConnection_.end() ? always_ : at->second;
}

// By the request itself.
std::optional<HttpFault> SimHttpServer::Chosen(const HttpRequest& request) const {
  if (choose_) {
    if (std::optional<HttpFault> fault = choose_(request)) return fault;
  }
  const auto at = byRequest_.find(request.number);
  return at == byRequest_.end() ? std::nullopt : std::optional(at->second);
}

void SimHttpServer::ChangeAfter(int requests, const std::string& path, SimContent content,
                                std::vector<HttpValidators> validators) {
  changes_.push_back({requests, path, std::move(content), std::move(validators)});
}

void SimHttpServer::ApplyChanges() {
  std::erase_if(changes_, [&](Change& change) {
    if (static_cast<int>(requests_.size()) <= change.after) return false;
    const auto found = answers_.find(change.path);
    File(change.path, change.content, found == answers_.end() ? "application/octet-stream" : found->second.type);
    traits_[change.path].validators = change.validators;
    return true;
  });
}

void SimHttpServer::Restart(std::uint32_t milliseconds) {
  if (!loop_) throw std::logic_error("this server has no network yet");
  downUntil_ = loop_->Time() + SimLoop::Micros{milliseconds} * SimLoop::kMillisecond;
  for (const std::weak_ptr<SimPeer>& weak : peers_) {
    if (const std::shared_ptr<SimPeer> peer = weak.lock()) peer->Reset();
  }
}

int SimHttpServer::Open() const {
  return static_cast<int>(std::count_if(peers_.begin(), peers_.end(), [](const std::weak_ptr<SimPeer>& weak) {
    const std::shared_ptr<SimPeer> peer = weak.lock();
    // A client that gave up before it was connected is not heard of again.
    return peer && !peer->ServerGone() && !(peer->ClientGone() && peer->Log().connectedAt < 0);
  }));
}

SimWire SimHttpServer::Wire(int number) {
  connections_ = std::max(connections_, number);
  return FaultOf(number).wire;
}

void SimHttpServer::Dialled(SimPeer& peer) {
  loop_ = &peer.Loop();
  const bool over = limit_.over == HttpOver::Refuse && Open() >= limit_.most;
  if (over || peer.Loop().Time() < downUntil_) peer.wire.refuse = true;
  if (peer.wire.refuse) return;
  std::erase_if(peers_, [](const std::weak_ptr<SimPeer>& weak) { return weak.expired(); });
  peers_.push_back(peer.weak_from_this());
}

void SimHttpServer::Accepted(SimPeer& peer) {
  if (limit_.over == HttpOver::Reset && Open() > limit_.most) peer.Reset();
}

void SimHttpServer::ClientClosed(SimPeer& peer) {
  std::erase_if(peers_, [&](const std::weak_ptr<SimPeer>& weak) { return weak.lock().get() == &peer; });
}

const SimContent* SimHttpServer::Holds(const std::string& path) const {
  const auto found = answers_.find(path);
  return found != answers_.end() && found->second.status == 200 ? &found->second.content : nullptr;
}

void SimHttpServer::Received(SimPeer& peer, std::string_view bytes) {
  std::string& waiting = peer.notes["request"];
  waiting += bytes;
  for (;;) {
    // Blank lines before a request are ignored.
    while (waiting.substr(0, 2) == "\r\n") waiting.erase(0, 2);
    const std::size_t end = waiting.find("\r\n\r\n");
    if (end == std::string::npos) return;
    HttpRequest request;
    request.connection = peer.Number();
    request.at = peer.Loop().Time() / SimLoop::kMillisecond;
    request.bytes = waiting.substr(0, end + 4);
    waiting.erase(0, end + 4);
    const std::size_t blank = request.bytes.find(' ');
    const std::size_t blank2 = blank == std::string::npos ? blank : request.bytes.find(' ', blank + 1);
    if (blank2 != std::string::npos) {
      request.method = request.bytes.substr(0, blank);
      request.target = request.bytes.substr(blank + 1, blank2 - blank - 1);
    }
    request.number = static_cast<int>(requests_.size()) + 1;
    requests_.push_back(request);
    ApplyChanges();
    const std::optional<HttpFault> chosen = Chosen(request);
    const std::uint32_t think = (chosen ? *chosen : FaultOf(peer.Number())).thinkTime;
    if (think == 0) {
      Reply(peer, request, chosen ? *chosen : FaultOf(peer.Number()));
    } else {
      peer.notes["busy"] = "thinks";
      peer.After(think, [this, request, chosen](SimPeer& later) {
        later.notes.erase("busy");
        Reply(later, request, chosen ? *chosen : FaultOf(later.Number()));
      });
    }
  }
}

void SimHttpServer::Reply(SimPeer& peer, const HttpRequest& request, const HttpFault& fault) {
  if (fault.halfClose) return peer.Close();
  if (!fault.raw.empty()) {
    peer.Send(fault.raw);
    if (fault.closeAfterReply) peer.Close();
    return;
  }
  if (RefusesAsProxy(peer, request)) return;
  if (tunnels && request.method == "CONNECT" && fault.status == 0) {
    return peer.Send("HTTP/1.1 200 Connection established\r\n\r\n");
  }
  SendAnswer(peer, request, Choose(peer, request, fault), fault);
}

bool SimHttpServer::RefusesAsProxy(SimPeer& peer, const HttpRequest& request) {
  const bool proxied = request.method == "CONNECT" || !request.target.starts_with('/');
  if (proxyLogin.empty() || !proxied) return false;
  if (request.Header("Proxy-Authorization") == "Basic " + SimBase64(proxyLogin)) return false;
  peer.Send(
      "HTTP/1.1 407 Proxy Authentication Required\r\nProxy-Authenticate: Basic realm=\"proxy\"\r\n"
      "Content-Length: 0\r\n\r\n");
  return true;
}

SimHttpServer::Answer SimHttpServer::Choose(SimPeer& peer, const HttpRequest& request, const HttpFault& fault) {
  if (IsBusyWithout(peer)) {
    const bool tooMany = limit_.over == HttpOver::TooManyRequests;
    Answer busy = ErrorPage(tooMany ? 429 : 503, tooMany ? "Too Many Requests" : "Service Unavailable", "text/html",
                            "<html>too many connections</html>");
    if (!limit_.retryAfter.empty()) busy.lines = "Retry-After: " + limit_.retryAfter + "\r\n";
    return busy;
  }
  if (fault.status != 0) {
    const std::string type = fault.contentType.empty() ? "text/html" : fault.contentType;
    return ErrorPage(fault.status, fault.reason, type, fault.page);
  }
  const std::string path = PathOf(request.target);
  const auto found = answers_.find(path);
  if (found == answers_.end()) return ErrorPage(404, "Not Found", "text/html", "<html>no such page</html>");
  const auto traits = traits_.find(path);
  if (traits != traits_.end()) {
    if (std::optional<Answer> refusal = Refuse(request, traits->second)) return *refusal;
  }
  Answer answer = found->second;
  if (!fault.contentType.empty()) answer.type = fault.contentType;
  if (traits != traits_.end()) Describe(answer, request, traits->second);
  return answer;
}

bool SimHttpServer::IsBusyWithout(const SimPeer& peer) const {
  if (limit_.over != HttpOver::TooManyRequests && limit_.over != HttpOver::Busy) return false;
  const auto busy = std::count_if(peers_.begin(), peers_.end(), [&](const std::weak_ptr<SimPeer>& weak) {
    const std::shared_ptr<SimPeer> other = weak.lock();
    return other && other.get() != &peer && !other->ClientGone() &&
           (other->Waiting() > 0 || other->notes.contains("busy"));
  });
  return busy >= limit_.most;
}

std::optional<SimHttpServer::Answer> SimHttpServer::Refuse(const HttpRequest& request, HttpTraits& traits) const {
  if (++traits.served > traits.uses) return ErrorPage(403, "Forbidden", "text/html", "<html>this link was used</html>");
  const std::string scheme = SimAuthName(traits.auth);
  if (!traits.login.empty() && request.Header("Authorization") != scheme + " " + SimBase64(traits.login)) {
    Answer answer = ErrorPage(401, "Unauthorized", "text/html", "<html>log in</html>");
    answer.lines = "WWW-Authenticate: " + scheme + " realm=\"" + traits.realm + "\"\r\n";
    return answer;
  }
  const std::string cookies = "; " + request.Header("Cookie").value_or("") + ";";
  if (!traits.cookie.empty() && cookies.find("; " + traits.cookie + ";") == std::string::npos) {
    Answer page = ErrorPage(traits.withoutCookie, traits.withoutCookie == 200 ? "OK" : "Forbidden", "text/html",
                            "<html>please log in</html>");
    page.hasRanges = false;
    return page;
  }
  if (!traits.referrer.empty() && request.Header("Referer") != traits.referrer) {
    return ErrorPage(403, "Forbidden", "text/html", "<html>no links from elsewhere</html>");
  }
  const std::string etag = ValidatorsOf(request).etag;
  if (const auto none = request.Header("If-None-Match"); none && !etag.empty() && (*none == etag || *none == "*")) {
    return ErrorPage(304, "Not Modified", "text/html", "");
  }
  if (const auto match = request.Header("If-Match"); match && *match != "*" && *match != etag) {
    return ErrorPage(412, "Precondition Failed", "text/html", "<html>another version</html>");
  }
  return std::nullopt;
}

void SimHttpServer::Describe(Answer& answer, const HttpRequest& request, const HttpTraits& traits) const {
  const HttpValidators validators = ValidatorsOf(request);
  if (!traits.validators.empty()) answer.lines += "Date: " + Date(0) + "\r\n";
  if (!validators.etag.empty()) answer.lines += "ETag: " + validators.etag + "\r\n";
  if (validators.modified >= 0) answer.lines += "Last-Modified: " + SimHttpDate(validators.modified) + "\r\n";
  if (!traits.disposition.empty()) answer.lines += "Content-Disposition: " + traits.disposition + "\r\n";
  if (!traits.encoding.empty()) answer.lines += "Content-Encoding: " + traits.encoding + "\r\n";
  for (const std::string& cookie : traits.setCookies) answer.lines += "Set-Cookie: " + cookie + "\r\n";
}

bool SimHttpServer::HasTraits(const HttpRequest& request) const { return traits_.contains(PathOf(request.target)); }

HttpValidators SimHttpServer::ValidatorsOf(const HttpRequest& request) const {
  const auto traits = traits_.find(PathOf(request.target));
  if (traits == traits_.end() || traits->second.validators.empty()) return {};
  const auto node = static_cast<std::size_t>(request.connection - 1) % traits->second.validators.size();
  return traits->second.validators[node];
}

std::string SimHttpServer::Date(std::int64_t secondsFromNow) const {
  constexpr double kDaysTo1970 = 25569.0;
  return SimHttpDate(static_cast<std::int64_t>(std::floor((loop_->Now() - kDaysTo1970) * 86400.0)) + secondsFromNow);
}

}  // namespace pellora
