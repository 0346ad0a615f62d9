// The misbehaviours of SimHttpServer that have a name, so that a test can be run with each of them.
#include <algorithm>
#include <array>

#include "SimHttpServer.h"

namespace pellora {

namespace {

constexpr std::uint64_t kSome = 5000;  // bytes, less than any file that is split

// For requests of a range that begins after the first byte.
void OnLaterRanges(SimHttpServer& server, const HttpFault& fault) {
  server.OnEach([fault](const HttpRequest& request) -> std::optional<HttpFault> {
    const std::string range = request.Header("Range").value_or("bytes=0-");
    return range.starts_with("bytes=0-") ? std::nullopt : std::optional(fault);
  });
}

// From the second request on.
void OnLaterRequests(SimHttpServer& server, const HttpFault& fault) {
  server.OnEach(
      [fault](const HttpRequest& request) { return request.number == 1 ? std::nullopt : std::optional(fault); });
}

HttpFault Page(int status, const std::string& reason) {
  HttpFault fault;
  fault.status = status;
  fault.reason = reason;
  fault.ignoreRange = true;
  return fault;
}

struct Misbehaviour {
  const char* name;
  void (*begin)(SimHttpServer& server);
};

constexpr auto kAll = std::to_array<Misbehaviour>({
    {"ignores ranges", [](SimHttpServer& server) { server.Always({.ignoreRange = true}); }},
    {"HTTP/1.0", [](SimHttpServer& server) { server.Always({.http10 = true}); }},
    {"until close", [](SimHttpServer& server) { server.Always({.length = HttpLength::Missing, .ignoreRange = true}); }},
    {"HTTP/1.0 until close",
     [](SimHttpServer& server) { server.Always({.length = HttpLength::Missing, .http10 = true}); }},
    {"chunked", [](SimHttpServer& server) { server.Always({.chunked = true}); }},
    {"chunked without ranges", [](SimHttpServer& server) { server.Always({.ignoreRange = true, .chunked = true}); }},
    {"chunked with trailers",
     [](SimHttpServer& server) { server.Always({.chunked = true, .trailers = "X-Sum: 1\r\nContent-Length: 1\r\n"}); }},
    {"chunked and cut", [](SimHttpServer& server) { server.Always({.chunked = true, .cutBody = kSome}); }},
    {"later start", [](SimHttpServer& server) { server.Always({.rangeShift = 1}); }},
    {"wrong Content-Range", [](SimHttpServer& server) { server.Always({.contentRange = "bytes 7-9/10"}); }},
    {"Content-Range that is none", [](SimHttpServer& server) { server.Always({.contentRange = "bytes"}); }},
    {"no Content-Range", [](SimHttpServer& server) { server.Always({.noContentRange = true}); }},
    {"unknown total", [](SimHttpServer& server) { server.Always({.total = "*"}); }},
    {"other total on later ranges", [](SimHttpServer& server) { OnLaterRanges(server, {.total = "4000000000"}); }},
    {"multipart", [](SimHttpServer& server) { server.Always({.multipart = true}); }},
    {"no ranges on later requests", [](SimHttpServer& server) { OnLaterRanges(server, {.ignoreRange = true}); }},
    {"page of 200 on later ranges", [](SimHttpServer& server) { OnLaterRanges(server, Page(200, "OK")); }},
    {"403 on later ranges", [](SimHttpServer& server) { OnLaterRanges(server, Page(403, "Forbidden")); }},
    {"404 on later ranges", [](SimHttpServer& server) { OnLaterRanges(server, Page(404, "Not Found")); }},
    {"one use", [](SimHttpServer& server) { OnLaterRequests(server, Page(403, "Forbidden")); }},
    {"If-Range drops the range", [](SimHttpServer& server) { server.Always({.dropIfRange = true}); }},
    {"204", [](SimHttpServer& server) { server.Always({.raw = "HTTP/1.1 204 No Content\r\n\r\n"}); }},
    {"401", [](SimHttpServer& server) { server.Always(Page(401, "Unauthorized")); }},
    {"404", [](SimHttpServer& server) { server.Always(Page(404, "Not Found")); }},
    {"426", [](SimHttpServer& server) { server.Always(Page(426, "Upgrade Required")); }},
    {"505", [](SimHttpServer& server) { server.Always(Page(505, "HTTP Version Not Supported")); }},
    {"429 on later requests",
     [](SimHttpServer& server) {
       HttpFault fault = Page(429, "Too Many Requests");
       fault.retryAfter = "3";
       OnLaterRequests(server, fault);
     }},
    {"503 once with a date",
     [](SimHttpServer& server) {
       HttpFault fault = Page(503, "Service Unavailable");
       fault.retryIn = 30;
       server.OnRequest(1, fault);
     }},
    {"503 for ever", [](SimHttpServer& server) { server.Always(Page(503, "Service Unavailable")); }},
    {"two connections at most, others refused", [](SimHttpServer& server) { server.SetLimit({.most = 2}); }},
    {"two connections at most, others reset",
     [](SimHttpServer& server) { server.SetLimit({.most = 2, .over = HttpOver::Reset}); }},
    {"two replies at most, else 429",
     [](SimHttpServer& server) { server.SetLimit({.most = 2, .over = HttpOver::TooManyRequests, .retryAfter = "1"}); }},
    {"two replies at most, else 503",
     [](SimHttpServer& server) { server.SetLimit({.most = 2, .over = HttpOver::Busy}); }},
    {"silent", [](SimHttpServer& server) { server.Always({.wire = {.hangAfterAccept = true}}); }},
    {"slow to answer", [](SimHttpServer& server) { server.Always({.thinkTime = 60'000}); }},
    {"stalls", [](SimHttpServer& server) { server.Always({.stallAt = kSome, .stall = 10'000}); }},
    {"stalls for ever", [](SimHttpServer& server) { server.Always({.stallAt = kSome}); }},
    {"stalls once for ever", [](SimHttpServer& server) { server.OnRequest(1, {.stallAt = kSome}); }},
    {"cut", [](SimHttpServer& server) { server.Always({.cutBody = kSome}); }},
    {"cut once", [](SimHttpServer& server) { server.OnRequest(1, {.cutBody = kSome}); }},
    {"cut in the head", [](SimHttpServer& server) { server.Always({.dropInHeader = 20}); }},
    {"too long", [](SimHttpServer& server) { server.Always({.tail = "more than was said"}); }},
    {"closes each time", [](SimHttpServer& server) { server.Always({.closeAfterReply = true}); }},
    {"closes without reply", [](SimHttpServer& server) { server.Always({.halfClose = true}); }},
    {"refuses connections", [](SimHttpServer& server) { server.Always({.wire = {.refuse = true}}); }},
    {"gzip", [](SimHttpServer& server) { server.Always({.encoding = "gzip"}); }},
    {"gzip on the way", [](SimHttpServer& server) { server.Always({.transferEncoding = "gzip"}); }},
    {"the length twice",
     [](SimHttpServer& server) { server.Always({.length = HttpLength::Wrong, .wrongLength = 10, .secondLength = "10"}); }},
    {"two lengths", [](SimHttpServer& server) { server.Always({.secondLength = "10"}); }},
    {"huge length", [](SimHttpServer& server) { server.Always({.length = HttpLength::Huge, .closeAfterReply = true}); }},
    {"negative length",
     [](SimHttpServer& server) { server.Always({.length = HttpLength::Wrong, .wrongLength = -7}); }},
    {"early hints",
     [](SimHttpServer& server) {
       server.Always({.early = "HTTP/1.1 103 Early Hints\r\nContent-Length: 5\r\nETag: \"early\"\r\n\r\n"});
     }},
    {"no HTTP", [](SimHttpServer& server) { server.Always({.raw = "220 files.example ready\r\n\r\n"}); }},
});

}  // namespace

bool SimHttpServer::Misbehave(std::string_view name) {
  const auto* const found = std::find_if(kAll.begin(), kAll.end(), [&](const auto& one) { return name == one.name; });
  if (found == kAll.end()) return false;
  NoFaults();
  found->begin(*this);
  return true;
}

std::vector<std::string> SimHttpServer::Misbehaviours() {
  std::vector<std::string> names;
  names.reserve(kAll.size());
  for (const Misbehaviour& one : kAll) names.emplace_back(one.name);
  return names;
}

}  // namespace pellora
