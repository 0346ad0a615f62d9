// SimHttpServer: a scripted HTTP/1.1 server with files, ranges and a menu of faults.
//
// Faults are chosen by the number of the connection (OnConnection), else the same for all (Always). Paths return files,
// redirects and pages; a target in absolute form (as sent to a proxy) is looked up by its path. Everything the program
// sent is in Requests() and, byte for byte, in the network's log.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "SimContent.h"
#include "SimNetwork.h"

namespace pellora {

enum class HttpLength {
  Right,
  Missing,  // no Content-Length; the connection ends after the body
  Huge,     // 99999999999999999999
  Wrong,    // HttpFault::wrongLength
};

// The faults of one connection. By default there are none.
struct HttpFault {
  SimWire wire = {};
  // The connection ends, or hangs, after that many bytes of the first reply's header or body.
  std::optional<std::uint64_t> dropInHeader = {};
  std::optional<std::uint64_t> dropInBody = {};
  std::optional<std::uint64_t> hangInBody = {};
  HttpLength length = HttpLength::Right;
  std::int64_t wrongLength = 0;
  bool ignoreRange = false;  // 200 and the whole file for a range
  bool http10 = false;       // HTTP/1.0 status line, no keep-alive, no ranges
  bool closeAfterReply = false;
  bool halfClose = false;  // closes its direction after the request and sends no reply
  int status = 0;          // replies with an error page of that status
  std::string reason = "Error";
  std::string contentType = {};  // of the error page ("text/html" if empty), or instead of the file's
  std::string page = "<html><body>error</body></html>";
  std::string extraHeaders = {};  // whole lines, each with its CRLF
  std::string raw = {};           // sent verbatim, instead of any reply
  std::uint32_t thinkTime = 0;    // ms between request and reply
};

struct HttpRequest {
  int connection = 0;   // number on this server
  std::int64_t at = 0;  // ms since the start of the run
  std::string bytes;    // to the end of the blank line
  std::string method, target;
  // The value of that header, or nullopt; names are compared without case.
  std::optional<std::string> Header(std::string_view name) const;
};

class SimHttpServer final : public SimServer {
 public:
  SimHttpServer() = default;
  SimHttpServer(SimNetwork& network, const std::string& host, std::int32_t port = 80) {
    network.Serve(host, port, *this);
  }

  void File(const std::string& path, SimContent content, const std::string& type = "application/octet-stream");
  void Redirect(const std::string& path, const std::string& location, int status = 302);
  void Page(const std::string& path, int status, const std::string& type, const std::string& body);

  void Always(HttpFault fault) { always_ = std::move(fault); }
  void OnConnection(int number, HttpFault fault) { byConnection_[number] = std::move(fault); }
  void NoFaults() {
    const HttpFault none;  // not a temporary, of which g++ 12 warns at -O3
    always_ = none;
    byConnection_.clear();
  }

  const std::vector<HttpRequest>& Requests() const { return requests_; }
  int Connections() const { return connections_; }

  SimWire Wire(int number) override;
  void Accepted(SimPeer& peer) override;
  void Received(SimPeer& peer, std::string_view bytes) override;
  const SimContent* Holds(const std::string& path) const override;

 private:
  struct Answer {
    int status = 200;
    std::string reason = "OK";
    std::string type;
    SimContent content;
    std::string location;
  };
  const HttpFault& FaultOf(int number) const;
  void Reply(SimPeer& peer, const HttpRequest& request);
  void SendAnswer(SimPeer& peer, const HttpRequest& request, Answer answer, const HttpFault& fault);
  static Answer ErrorPage(int status, const std::string& reason, const std::string& type, const std::string& body);

  std::map<std::string, Answer> answers_;
  HttpFault always_;
  std::map<int, HttpFault> byConnection_;
  std::vector<HttpRequest> requests_;
  int connections_ = 0;
};

}  // namespace pellora
