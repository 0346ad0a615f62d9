// The contract of the Fetcher on the simulated network.
#include <memory>
#include <string>

#include "FetcherContract.h"
#include "SimHttpServer.h"
#include "SimPlatform.h"

namespace pellora {
namespace {

constexpr const char* kAddress = "10.0.0.1";
constexpr std::uint64_t kEndless = std::uint64_t{1} << 40;

// "HTTP/1.1 200 OK" with these lines, and what follows the head.
std::string Ok(const std::string& lines, const std::string& body) {
  return "HTTP/1.1 200 OK\r\n" + lines + "\r\n" + body;
}

class SimStage final : public FetchStage {
 public:
  SimStage() {
    Name("files.example", SimTls::Good);
    Name("expired.example", SimTls::Expired);
    Name("other.example", SimTls::WrongHost);
    Name("unknown.example", SimTls::UnknownAuthority);
    sim.network().Serve(kAddress, 80, web);
    sim.network().Serve(kAddress, 443, web);
    odd.File("/endless", SimContent::Generated(kEndless));
    odd.Page("/missing", 404, "text/plain", "gone");
    odd.Redirect("/moved", "/elsewhere");
    odd.OnEach([](const HttpRequest& request) { return FaultFor(request); });
  }

  Fetcher& Port() override { return sim.fetcher(); }
  bool RunUntil(const std::function<bool()>& condition) override { return sim.RunUntil(condition, 60'000); }
  void RunFor(int milliseconds) override { sim.RunFor(static_cast<std::uint64_t>(milliseconds)); }

  std::string Url(const std::string& name, const std::string& content) override {
    return UrlUnderName("files.example", name, content);
  }
  std::string SecureUrl(Certificate certificate, const std::string& name, const std::string& content) override {
    UrlUnderName("", name, content);
    constexpr const char* kHosts[] = {"files", "expired", "other", "unknown"};
    return std::string("https://") + kHosts[static_cast<std::size_t>(certificate)] + ".example/" + name;
  }
  std::string Authorities() override { return "/tmp/authorities.pem"; }
  std::string Url(Reply reply) override {
    constexpr const char* kPaths[] = {"echo",    "ends-early", "until-close", "chunked", "chunked-cut",
                                      "hints",   "coded",      "compressed",  "moved",   "missing",
                                      "nothing", "silence",    "endless"};
    return std::string("http://odd.example/") + kPaths[static_cast<std::size_t>(reply)];
  }
  std::int64_t EndlessBytes() override {
    std::uint64_t bytes = 0;
    for (const SimConnectionLog& connection : sim.network().Log()) {
      if (connection.received.find("GET /endless ") != std::string::npos) bytes += connection.delivered;
    }
    return static_cast<std::int64_t>(bytes);
  }
  std::string RefusingUrl() override { return "https://odd.example:4433/file"; }
  std::string NamelessUrl() override { return "https://no-such-name.invalid/file"; }
  std::string UrlUnderName(const std::string& host, const std::string& name, const std::string& content) override {
    web.File("/" + name, content);
    web.Traits("/" + name).validators = {{.etag = "\"" + std::to_string(content.size()) + "\""}};
    return "http://" + host + "/" + name;
  }
  std::string NumericAddress() override { return kAddress; }

 private:
  void Name(const std::string& host, SimTls tls) {
    sim.fetcher().SetAddresses(host, {kAddress});
    sim.fetcher().Host(host).tls = tls;
  }
  static std::optional<HttpFault> FaultFor(const HttpRequest& request) {
    const std::string& path = request.target;
    const std::string some(400, 'x');
    const std::string packed(kCompressedSize - 2, 'p');
    if (path == "/echo") {
      return HttpFault{.raw = Ok("Content-Length: " + std::to_string(request.bytes.size()) + "\r\n", request.bytes)};
    }
    if (path == "/ends-early") return HttpFault{.closeAfterReply = true, .raw = Ok("Content-Length: 1000\r\n", some)};
    if (path == "/until-close") return HttpFault{.closeAfterReply = true, .raw = Ok("Connection: close\r\n", some)};
    const std::string chunked = "Transfer-Encoding: chunked\r\n";
    if (path == "/chunked") {
      return HttpFault{.raw = Ok(chunked, "5\r\nfirst\r\n6\r\nsecond\r\n0\r\nLate: yes\r\n\r\n")};
    }
    if (path == "/chunked-cut") return HttpFault{.closeAfterReply = true, .raw = Ok(chunked, "5\r\nfirst\r\n")};
    if (path == "/hints") {
      return HttpFault{.raw = "HTTP/1.1 103 Early Hints\r\nLink: early\r\n\r\n" +
                              Ok("Kind: final\r\nContent-Length: 4\r\n", "body")};
    }
    if (path == "/coded") {
      return HttpFault{.raw = Ok("Transfer-Encoding: gzip, chunked\r\n", "19\r\n\x1f\x8b" + packed + "\r\n0\r\n\r\n")};
    }
    if (path == "/compressed") {
      return HttpFault{.raw =
                           Ok("Content-Encoding: gzip\r\nContent-Length: " + std::to_string(kCompressedSize) + "\r\n",
                              "\x1f\x8b" + packed)};
    }
    if (path == "/nothing") return HttpFault{.halfClose = true};
    if (path == "/silence") return HttpFault{.thinkTime = 3'600'000};
    return std::nullopt;
  }

  SimPlatform sim;
  SimHttpServer web;
  SimHttpServer odd{sim.network(), "odd.example"};
};

std::unique_ptr<FetchStage> NewSimStage() { return std::make_unique<SimStage>(); }

INSTANTIATE_TEST_SUITE_P(Simulated, FetcherContract, testing::Values(FetchStageMaker{"SimFetcher", &NewSimStage}));

}  // namespace
}  // namespace pellora
