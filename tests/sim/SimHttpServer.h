// SimHttpServer: a scripted HTTP/1.1 server with files, ranges and a menu of faults.
//
// Paths return files, redirects and pages; a target in absolute form (as sent to a proxy) is looked up by its path.
// Everything the program sent is in Requests() and, byte for byte, in the network's log.
//
// Faults (SimHttpFault.h) are chosen for a request: by OnEach; by its number (OnRequest); by the number of its
// connection (OnConnection); else they are the same for all (Always). Wires are those of OnConnection and Always.
// Misbehave chooses a fault by its name. What a path has beside its bytes is in its HttpTraits: validators, cookies,
// logins, one-use links. With traits a 416 says the length.
//
//   SimHttpServer origin(sim.network(), "origin.example", 443);
//   origin.File("/a.bin", content);
//   origin.Traits("/a.bin").validators = {{.etag = "\"1\"", .modified = 1'700'000'000}};
//   origin.ChangeAfter(3, "/a.bin", other, {{.etag = "\"2\""}});  // from the fourth request on
//   origin.OnEach([](const HttpRequest& request) { return ...; });
//   origin.SetLimit({.most = 2, .over = HttpOver::Busy, .retryAfter = "5"});
//   origin.Restart(3000);                                         // resets all connections; back in 3 s
#pragma once

#include <climits>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "SimContent.h"
#include "SimHttpFault.h"
#include "SimNetwork.h"
#include "ports/Fetcher.h"

namespace pellora {

struct HttpRequest {
  int connection = 0;   // number on this server
  std::int64_t at = 0;  // ms since the start of the run
  std::string bytes;    // to the end of the blank line
  std::string method, target;
  int number = 0;  // of the server's requests, from 1
  // The value of that header, or nullopt; names are compared without case.
  std::optional<std::string> Header(std::string_view name) const;
};

struct HttpValidators {
  std::string etag = {};       // with its quotes, and "W/" if it is weak; empty: none
  std::int64_t modified = -1;  // seconds since 1970; -1: no Last-Modified
};

// What a path has beside its bytes.
struct HttpTraits {
  // One for each node of the site; a connection reaches node (number - 1) % size. Replies with any have a Date too.
  std::vector<HttpValidators> validators = {};
  std::string disposition = {};              // Content-Disposition
  std::string encoding = {};                 // Content-Encoding
  std::vector<std::string> setCookies = {};  // values of Set-Cookie
  std::string cookie = {};                   // "name=value" that a request must have
  int withoutCookie = 403;                   // the status of its refusal; 200: a login page
  std::string referrer = {};                 // Referer that a request must have; else 403
  std::string login = {};                    // "user:password" that a request must have,
  FetchAuth auth = FetchAuth::Basic;         // in this way
  std::string realm = "origin";
  int uses = INT_MAX;  // requests after so many get 403
  int served = 0;      // requests so far
};

// What becomes of connections, or requests, above the limit.
enum class HttpOver {
  Refuse,           // the connection is refused
  Reset,            // it is made, and ends at once
  TooManyRequests,  // the request gets 429
  Busy,             // it gets 503
};

struct HttpLimit {
  int most = INT_MAX;  // open connections; of the last two kinds: replies being sent
  HttpOver over = HttpOver::Refuse;
  std::string retryAfter = {};  // Retry-After of 429 and 503; empty: none
};

class SimHttpServer final : public SimServer {
 public:
  SimHttpServer() = default;
  SimHttpServer(SimNetwork& network, const std::string& host, std::int32_t port = 80) : loop_(&network.Loop()) {
    network.Serve(host, port, *this);
  }

  void File(const std::string& path, SimContent content, const std::string& type = "application/octet-stream");
  void Redirect(const std::string& path, const std::string& location, int status = 302);
  void Page(const std::string& path, int status, const std::string& type, const std::string& body);

  // Of a path that has something. They stay when it gets something else.
  HttpTraits& Traits(const std::string& path) { return traits_[path]; }
  // After that many requests to the server the path has other bytes and validators. What is being sent goes on.
  void ChangeAfter(int requests, const std::string& path, SimContent content, std::vector<HttpValidators> validators);
  void Remove(const std::string& path) { answers_.erase(path); }

  void Always(HttpFault fault) { always_ = std::move(fault); }
  void OnConnection(int number, HttpFault fault) { byConnection_[number] = std::move(fault); }
  void OnRequest(int number, HttpFault fault) { byRequest_[number] = std::move(fault); }
  // nullopt: none chosen here.
  void OnEach(std::function<std::optional<HttpFault>(const HttpRequest&)> choose) { choose_ = std::move(choose); }
  void SetLimit(HttpLimit limit) { limit_ = std::move(limit); }
  // All connections are reset, and new ones refused for that time.
  void Restart(std::uint32_t milliseconds);
  // Replaces the faults by those of a name in SimHttpMisbehaviour.cpp. False if there are none.
  bool Misbehave(std::string_view name);
  static std::vector<std::string> Misbehaviours();
  std::string proxyLogin;  // as a proxy: "user:password" that it demands, by Basic; empty: none
  bool tunnels = false;    // as a proxy: CONNECT succeeds, and leads to this server
  void NoFaults() {
    const HttpFault none;  // not a temporary, of which g++ 12 warns at -O3
    always_ = none;
    byConnection_.clear();
    byRequest_.clear();
    choose_ = nullptr;
    limit_ = {};
  }

  const std::vector<HttpRequest>& Requests() const { return requests_; }
  int Connections() const { return connections_; }
  int Open() const;  // connections that the server knows to be open

  SimWire Wire(int number) override;
  void Dialled(SimPeer& peer) override;
  void Accepted(SimPeer& peer) override;
  void Received(SimPeer& peer, std::string_view bytes) override;
  void ClientClosed(SimPeer& peer) override;
  const SimContent* Holds(const std::string& path) const override;

 private:
  struct Answer {
    int status = 200;
    std::string reason = "OK";
    std::string type;
    SimContent content;
    std::string location;
    std::string lines = {};  // more of the head, each with its CRLF
    bool hasRanges = true;
  };
  struct Change {
    int after;
    std::string path;
    SimContent content;
    std::vector<HttpValidators> validators;
  };
  const HttpFault& FaultOf(int number) const;
  std::optional<HttpFault> Chosen(const HttpRequest& request) const;
  void Reply(SimPeer& peer, const HttpRequest& request, const HttpFault& fault);
  Answer Choose(SimPeer& peer, const HttpRequest& request, const HttpFault& fault);
  bool RefusesAsProxy(SimPeer& peer, const HttpRequest& request);
  std::optional<Answer> Refuse(const HttpRequest& request, HttpTraits& traits) const;
  void Describe(Answer& answer, const HttpRequest& request, const HttpTraits& traits) const;
  void ApplyChanges();
  bool IsBusyWithout(const SimPeer& peer) const;  // as many replies are being sent as the limit allows
  bool HasTraits(const HttpRequest& request) const;
  HttpValidators ValidatorsOf(const HttpRequest& request) const;
  bool RangeCounts(const HttpRequest& request, const HttpFault& fault) const;
  std::string Date(std::int64_t secondsFromNow) const;
  std::string Head(const Answer& answer, const HttpFault& fault, std::uint64_t length, const std::string& rangeLine,
                   bool close) const;
  void SendAnswer(SimPeer& peer, const HttpRequest& request, Answer answer, const HttpFault& fault);
  static Answer ErrorPage(int status, const std::string& reason, const std::string& type, const std::string& body);

  SimLoop* loop_ = nullptr;  // null: it was made without its network, and nobody has connected
  std::map<std::string, Answer> answers_;
  std::map<std::string, HttpTraits> traits_;
  std::vector<Change> changes_;
  HttpFault always_;
  std::map<int, HttpFault> byConnection_;
  std::map<int, HttpFault> byRequest_;
  std::function<std::optional<HttpFault>(const HttpRequest&)> choose_;
  HttpLimit limit_;
  std::vector<HttpRequest> requests_;
  std::vector<std::weak_ptr<SimPeer>> peers_;  // those that may be open
  int connections_ = 0;
  SimLoop::Micros downUntil_ = 0;  // after a restart
};

}  // namespace pellora
