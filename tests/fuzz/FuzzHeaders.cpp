#include <climits>
#include <string>
#include <vector>

#include "Oracle.h"
#include "Targets.h"

namespace pellora {

namespace {

// The reply read line by line, with copies of everything.
ReplyHeaders Expected(std::string_view reply) {
  ReplyHeaders headers;
  headers.status = RoundedNumber(reply.size() > 8 ? reply.substr(8) : std::string_view());
  std::vector<std::string> lines = Pieces(reply, "\r\n");
  lines.pop_back();
  const auto valueOf = [](const std::string& line, std::size_t at) { return line.size() > at ? line.substr(at) : ""; };
  for (const std::string& line : lines) {
    const std::string lower = LowerCase(line);
    if (lower.starts_with("content-length:")) {
      const std::string value = valueOf(line, 16);
      headers.contentLength = RoundedNumber(value);
      headers.tooLong = LeadingNumber(value) > INT_MAX;
    }
    if (lower.starts_with("location:")) headers.location = WithoutOuterBlanks(valueOf(line, 10));
    if (lower.starts_with("content-type:")) headers.contentType = WithoutOuterBlanks(valueOf(line, 13));
  }
  return headers;
}

void DemandEqual(const ReplyHeaders& headers, const ReplyHeaders& expected) {
  Demand(headers.status == expected.status, "the status is the number at the ninth character");
  Demand(headers.location == expected.location, "the last Location line holds");
  Demand(headers.contentLength == expected.contentLength && headers.tooLong == expected.tooLong,
         "the last Content-Length line holds");
  Demand(headers.contentType == expected.contentType, "the last Content-Type line holds");
}

}  // namespace

void FuzzHeaders(std::string_view bytes, const std::function<ReplyHeaders(std::string_view)>& parse) {
  const AllocationMeter meter;
  const ReplyHeaders headers = parse(bytes);
  Demand(meter.Bytes() <= 4 * bytes.size() + 1024, "a reply takes memory in proportion to its length");
  DemandEqual(headers, Expected(bytes));

  // An additional line does not affect the others.
  const std::string ended = std::string(bytes) + "\r\n";
  ReplyHeaders later = parse(ended);
  const ReplyHeaders withMore = parse(ended + "content-LENGTH: 4711\r\nno header");
  Demand(withMore.contentLength == 4711 && !withMore.tooLong, "a later line wins");
  later.contentLength = 4711;
  later.tooLong = false;
  DemandEqual(withMore, later);
}

}  // namespace pellora
