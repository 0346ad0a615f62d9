// What SimHttpServer sends.
#include <algorithm>
#include <charconv>
#include <utility>

#include "SimHttpServer.h"
#include "SimHttpText.h"

namespace pellora {

namespace {

struct Range {
  std::uint64_t first = 0;
  std::uint64_t last = 0;
};

// "bytes=first-last", "bytes=first-" or "bytes=-length", limited to the file; nullopt if it is neither or begins after
// the end.
std::optional<Range> ParseRange(std::string_view text, std::uint64_t length) {
  constexpr std::string_view kUnit = "bytes=";
  if (text.substr(0, kUnit.size()) != kUnit) return std::nullopt;
  text.remove_prefix(kUnit.size());
  Range range;
  const char* const end = text.data() + text.size();
  if (text.starts_with('-') && length > 0) {
    std::uint64_t last = 0;
    const auto read = std::from_chars(text.data() + 1, end, last);
    if (read.ec != std::errc() || read.ptr != end || last == 0) return std::nullopt;
    return Range{length - std::min(last, length), length - 1};
  }
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

// A chunk has at least so many bytes, but for the last one.
constexpr std::uint64_t kChunk = 50'001;

// What is left of a reply's body.
struct Body {
  SimContent content;
  std::uint64_t at = 0;
  std::uint64_t left = 0;
  bool cut = false;    // the connection ends after it
  bool close = false;  // it does anyway
};

void SendBytes(SimPeer& peer, const Body& body, std::uint64_t length, const HttpFault& fault) {
  const std::uint64_t end = body.at + length;
  const std::uint64_t kept = fault.swapAt ? std::clamp(*fault.swapAt, body.at, end) : end;
  peer.Send(body.content, body.at, kept - body.at);
  if (kept < end) peer.Send(fault.swap, kept, end - kept);
}

void SendPiece(SimPeer& peer, Body& body, std::uint64_t length, const HttpFault& fault) {
  const std::uint64_t chunk = fault.chunked ? std::max(kChunk, length / 256) : std::max<std::uint64_t>(length, 1);
  do {
    const std::uint64_t size = std::min(chunk, length);
    if (fault.chunked && size == 0) return;
    if (fault.chunked) {
      char digits[16];
      const auto end = std::to_chars(std::begin(digits), std::end(digits), size, 16);
      peer.Send(std::string(digits, end.ptr) + "\r\n");
    }
    SendBytes(peer, body, size, fault);
    if (fault.chunked) peer.Send("\r\n");
    body.at += size;
    body.left -= size;
    length -= size;
  } while (length > 0);
}

void FinishBody(SimPeer& peer, Body body, const HttpFault& fault) {
  SendPiece(peer, body, body.left, fault);
  if (fault.chunked && !body.cut) peer.Send("0\r\n" + fault.trailers + "\r\n");
  if (!fault.tail.empty()) peer.Send(fault.tail);
  if (body.close || body.cut) peer.Close();
}

void SendBody(SimPeer& peer, Body body, const HttpFault& fault) {
  if (fault.cutBody && *fault.cutBody < body.left) {
    body.left = *fault.cutBody;
    body.cut = true;
  }
  if (!fault.stallAt || *fault.stallAt > body.left) return FinishBody(peer, std::move(body), fault);
  SendPiece(peer, body, *fault.stallAt, fault);
  peer.notes["busy"] = "stalls";
  if (fault.stall == 0) return;
  peer.After(fault.stall, [body, fault](SimPeer& later) {
    later.notes.erase("busy");
    FinishBody(later, body, fault);
  });
}

}  // namespace

// A validator in If-Range that is weak, or another, makes the range void (RFC 9110, section 13.1.5).
bool SimHttpServer::RangeCounts(const HttpRequest& request, const HttpFault& fault) const {
  const std::optional<std::string> condition = request.Header("If-Range");
  if (!condition) return true;
  if (fault.dropIfRange) return false;
  const HttpValidators validators = ValidatorsOf(request);
  if (condition->starts_with('"')) return *condition == validators.etag;
  return validators.modified >= 0 && *condition == SimHttpDate(validators.modified);
}

std::string SimHttpServer::Head(const Answer& answer, const HttpFault& fault, std::uint64_t length,
                                const std::string& rangeLine, bool close) const {
  std::string head = (fault.http10 ? "HTTP/1.0 " : "HTTP/1.1 ") + std::to_string(answer.status) + " " + answer.reason +
                     "\r\nServer: origin\r\n";
  if (!fault.http10 && !fault.ignoreRange) head += "Accept-Ranges: bytes\r\n";
  if (!answer.location.empty()) head += "Location: " + answer.location + "\r\n";
  std::string lengthText = std::to_string(length);
  if (fault.length == HttpLength::Huge) lengthText = "99999999999999999999";
  if (fault.length == HttpLength::Wrong) lengthText = std::to_string(fault.wrongLength);
  if (fault.chunked) {
    head += "Transfer-Encoding: chunked\r\n";
  } else if (!fault.transferEncoding.empty()) {
    head += "Transfer-Encoding: " + fault.transferEncoding + "\r\n";
  } else if (fault.length != HttpLength::Missing) {
    head += "Content-Length: " + lengthText + "\r\n";
  }
  if (!fault.secondLength.empty()) head += "Content-Length: " + fault.secondLength + "\r\n";
  head += rangeLine + "Content-Type: " + answer.type + "\r\n" + answer.lines;
  if (!fault.encoding.empty()) head += "Content-Encoding: " + fault.encoding + "\r\n";
  if (!fault.retryAfter.empty()) head += "Retry-After: " + fault.retryAfter + "\r\n";
  if (fault.retryIn) head += "Date: " + Date(0) + "\r\nRetry-After: " + Date(*fault.retryIn) + "\r\n";
  return head + fault.extraHeaders + (close ? "Connection: close\r\n\r\n" : "Connection: keep-alive\r\n\r\n");
}

void SimHttpServer::SendAnswer(SimPeer& peer, const HttpRequest& request, Answer answer, const HttpFault& fault) {
  const std::uint64_t whole = answer.content.Length();
  Range range{0, whole == 0 ? 0 : whole - 1};
  std::uint64_t length = whole;
  std::string rangeLine;
  const std::optional<std::string> asked = request.Header("Range");
  const bool hasRanges = answer.hasRanges && !fault.ignoreRange && !fault.http10;
  if (asked && answer.status == 200 && hasRanges && RangeCounts(request, fault)) {
    if (const std::optional<Range> wanted = ParseRange(*asked, whole)) {
      range = *wanted;
      range.first = std::min(range.last, range.first + fault.rangeShift);
      length = range.last - range.first + 1;
      answer.status = 206;
      answer.reason = "Partial Content";
      std::string value = "bytes " + std::to_string(range.first) + "-" + std::to_string(range.last) + "/" +
                          fault.total.value_or(std::to_string(whole));
      if (!fault.contentRange.empty()) value = fault.contentRange;
      if (fault.multipart) answer.type = "multipart/byteranges; boundary=part";
      if (!fault.noContentRange && !fault.multipart) rangeLine = "Content-Range: " + value + "\r\n";
    } else {
      answer = ErrorPage(416, "Range Not Satisfiable", "text/html", "<html>no such range</html>");
      if (HasTraits(request)) answer.lines = "Content-Range: bytes */" + std::to_string(whole) + "\r\n";
      range.first = 0;
      length = answer.content.Length();
    }
  }
  bool close = fault.closeAfterReply || fault.http10 || fault.length == HttpLength::Missing;
  close = close || !fault.transferEncoding.empty();
  if (const auto connection = request.Header("Connection")) close = close || SameWithoutCase(*connection, "close");
  std::string head = Head(answer, fault, length, rangeLine, close);

  const std::uint64_t begin = peer.Sent();
  if (fault.dropInHeader && begin == 0) peer.wire.dropAfter = std::min<std::uint64_t>(*fault.dropInHeader, head.size());
  if (fault.dropInBody && begin == 0) peer.wire.dropAfter = head.size() + *fault.dropInBody;
  if (fault.hangInBody && begin == 0) peer.wire.hangAfter = head.size() + *fault.hangInBody;
  if (!fault.early.empty()) peer.Send(fault.early);
  peer.Send(std::move(head));
  if (request.method != "HEAD") return SendBody(peer, {answer.content, range.first, length, false, close}, fault);
  if (close) peer.Close();
}

}  // namespace pellora
