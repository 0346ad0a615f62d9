// HttpFault: what a SimHttpServer does wrong in one reply, or with its connection. By default nothing.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "SimNetwork.h"

namespace pellora {

enum class HttpLength {
  Right,
  Missing,  // no Content-Length; the connection ends after the body
  Huge,     // 99999999999999999999
  Wrong,    // HttpFault::wrongLength
};

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
  // Of ranges.
  std::uint64_t rangeShift = 0;           // the range begins so many bytes later than it should, and says so
  std::optional<std::string> total = {};  // in Content-Range instead of the length: "*", or a number
  std::string contentRange = {};          // the whole value of Content-Range, whatever is sent
  bool noContentRange = false;            // 206 without it
  bool multipart = false;                 // 206 of the type multipart/byteranges
  bool dropIfRange = false;               // a request with If-Range loses its Range, also if the validator is right
  // Of bodies; these hold for every reply of a connection.
  bool chunked = false;
  std::string trailers = {};                  // lines after the last chunk, each with its CRLF
  std::optional<std::uint64_t> cutBody = {};  // ends with the connection after that many bytes
  std::string tail = {};                      // sent after the body, beyond its length
  std::optional<std::uint64_t> stallAt = {};  // a pause after that many bytes
  std::uint32_t stall = 0;                    // ms; 0: for ever
  std::optional<std::uint64_t> swapAt = {};   // from that byte of the file on its bytes are those of `swap`
  SimContent swap = {};
  // Of heads.
  std::string early = {};                    // sent before the reply: a whole head of 1xx
  std::string secondLength = {};             // the value of a second Content-Length
  std::string encoding = {};                 // Content-Encoding
  std::string transferEncoding = {};         // Transfer-Encoding, of a body that is sent as it is, until the end
  std::string retryAfter = {};               // Retry-After
  std::optional<std::int64_t> retryIn = {};  // the same as a date so many seconds from now, with the present Date
};

}  // namespace pellora
