#include "SimHttpServer.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace pellora {

namespace {

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool SameName(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return Lower(x) == Lower(y); });
}

struct Range {
  std::uint64_t first = 0;
  std::uint64_t last = 0;
};

// "bytes=first-last" or "bytes=first-", limited to the file; nullopt if it is neither or begins after the end.
std::optional<Range> ParseRange(std::string_view text, std::uint64_t length) {
  constexpr std::string_view kUnit = "bytes=";
  if (text.substr(0, kUnit.size()) != kUnit) return std::nullopt;
  text.remove_prefix(kUnit.size());
  Range range;
  const char* const end = text.data() + text.size();
  const auto first = std::from_chars(text.data(), end, range.first);
  if (first.ec != std::errc() || first.ptr == end || *first.ptr != '-') return std::nullopt;
  if (first.ptr + 1 == end) {
    range.last = length == 0 ? 0 : length - 1;
  } else {
    const auto last = std::from_chars(first.ptr + 1, end, range.last);
    if (last.ec != std::errc() || last.ptr != end) return std::nullopt;
  }
  if (range.first >= length || range.last < range.first) return std::nullopt;
  range.last = std::min(range.last, length - 1);
  return range;
}

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
    if (colon == std::string_view::npos || !SameName(text.substr(0, colon), name)) continue;
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

SimWire SimHttpServer::Wire(int number) {
  connections_ = std::max(connections_, number);
  return FaultOf(number).wire;
}

void SimHttpServer::Accepted(SimPeer&) {}

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
    requests_.push_back(request);
    const std::uint32_t think = FaultOf(peer.Number()).thinkTime;
    if (think == 0) {
      Reply(peer, request);
    } else {
      peer.After(think, [this, request](SimPeer& later) { Reply(later, request); });
    }
  }
}

void SimHttpServer::Reply(SimPeer& peer, const HttpRequest& request) {
  const HttpFault& fault = FaultOf(peer.Number());
  if (fault.halfClose) return peer.Close();
  if (!fault.raw.empty()) {
    peer.Send(fault.raw);
    if (fault.closeAfterReply) peer.Close();
    return;
  }
  if (fault.status != 0) {
    const std::string type = fault.contentType.empty() ? "text/html" : fault.contentType;
    return SendAnswer(peer, request, ErrorPage(fault.status, fault.reason, type, fault.page), fault);
  }
  const auto found = answers_.find(PathOf(request.target));
  if (found == answers_.end()) {
    return SendAnswer(peer, request, ErrorPage(404, "Not Found", "text/html", "<html>no such page</html>"), fault);
  }
  Answer answer = found->second;
  if (!fault.contentType.empty()) answer.type = fault.contentType;
  SendAnswer(peer, request, std::move(answer), fault);
}

void SimHttpServer::SendAnswer(SimPeer& peer, const HttpRequest& request, Answer answer, const HttpFault& fault) {
  const std::uint64_t whole = answer.content.Length();
  Range range{0, whole == 0 ? 0 : whole - 1};
  std::uint64_t length = whole;
  std::string rangeLine;
  const std::optional<std::string> asked = request.Header("Range");
  if (asked && answer.status == 200 && !fault.ignoreRange && !fault.http10) {
    if (const std::optional<Range> wanted = ParseRange(*asked, whole)) {
      range = *wanted;
      length = range.last - range.first + 1;
      answer.status = 206;
      answer.reason = "Partial Content";
      rangeLine = "Content-Range: bytes " + std::to_string(range.first) + "-" + std::to_string(range.last) + "/" +
                  std::to_string(whole) + "\r\n";
    } else {
      answer = ErrorPage(416, "Range Not Satisfiable", "text/html", "<html>no such range</html>");
      range.first = 0;
      length = answer.content.Length();
    }
  }
  bool close = fault.closeAfterReply || fault.http10 || fault.length == HttpLength::Missing;
  if (const auto connection = request.Header("Connection")) close = close || SameName(*connection, "close");

  std::string head = (fault.http10 ? "HTTP/1.0 " : "HTTP/1.1 ") + std::to_string(answer.status) + " " + answer.reason +
                     "\r\nServer: origin\r\n";
  if (!fault.http10 && !fault.ignoreRange) head += "Accept-Ranges: bytes\r\n";
  if (!answer.location.empty()) head += "Location: " + answer.location + "\r\n";
  std::string lengthText = std::to_string(length);
  if (fault.length == HttpLength::Huge) lengthText = "99999999999999999999";
  if (fault.length == HttpLength::Wrong) lengthText = std::to_string(fault.wrongLength);
  if (fault.length != HttpLength::Missing) head += "Content-Length: " + lengthText + "\r\n";
  head += rangeLine + "Content-Type: " + answer.type + "\r\n" + fault.extraHeaders +
          (close ? "Connection: close\r\n\r\n" : "Connection: keep-alive\r\n\r\n");

  const std::uint64_t begin = peer.Sent();
  if (fault.dropInHeader && begin == 0) peer.wire.dropAfter = std::min<std::uint64_t>(*fault.dropInHeader, head.size());
  if (fault.dropInBody && begin == 0) peer.wire.dropAfter = head.size() + *fault.dropInBody;
  if (fault.hangInBody && begin == 0) peer.wire.hangAfter = head.size() + *fault.hangInBody;
  peer.Send(std::move(head));
  if (request.method != "HEAD") peer.Send(answer.content, range.first, length);
  if (close) peer.Close();
}

}  // namespace pellora
