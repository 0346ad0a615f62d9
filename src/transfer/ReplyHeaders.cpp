#include "transfer/ReplyHeaders.h"

#include <cstddef>
#include <limits>

#include "core/Ascii.h"
#include "core/Numbers.h"

namespace pellora {

namespace {

constexpr std::size_t kStatusAt = 8;  // after "HTTP/1.1"

// Where a value begins, counted from the start of its line. The first two take one blank after the
// colon for granted: without it the first character of the value is lost.
struct Key {
  std::string_view name;
  std::size_t valueAt;
};
constexpr Key kContentLength{"CONTENT-LENGTH:", 16};
constexpr Key kLocation{"LOCATION:", 10};
constexpr Key kContentType{"CONTENT-TYPE:", 13};

std::string_view From(std::string_view text, std::size_t at) {
  return at < text.size() ? text.substr(at) : std::string_view();
}

}  // namespace

ReplyHeaders ParseReplyHeaders(std::string_view reply) {
  ReplyHeaders headers;
  headers.status = RoundedPrefix(From(reply, kStatusAt));

  std::string_view contentLength;
  std::string_view location;
  std::string_view contentType;
  std::size_t start = 0;
  // Text after the last line end is not a line.
  for (std::size_t end = reply.find("\r\n"); end != std::string_view::npos; end = reply.find("\r\n", start)) {
    const std::string_view line = reply.substr(start, end - start);
    if (StartsWithNoCase(line, kContentLength.name)) contentLength = From(line, kContentLength.valueAt);
    if (StartsWithNoCase(line, kLocation.name)) location = From(line, kLocation.valueAt);
    if (StartsWithNoCase(line, kContentType.name)) contentType = From(line, kContentType.valueAt);
    start = end + 2;
  }
  headers.contentLength = RoundedPrefix(contentLength);
  headers.tooLong = NumericPrefix(contentLength) > std::numeric_limits<std::int32_t>::max();
  headers.location = TrimBlanks(location);
  headers.contentType = TrimBlanks(contentType);
  return headers;
}

}  // namespace pellora
