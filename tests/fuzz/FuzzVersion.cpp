#include <cfloat>
#include <string>

#include "Oracle.h"
#include "Targets.h"
#include "core/Addresses.h"
#include "core/Version.h"

namespace pellora {

namespace {

std::string After(const std::string& text, const std::string& mark) {
  const std::size_t at = text.find(mark);
  const std::size_t from = at == std::string::npos ? mark.size() - 1 : at + mark.size();
  return from < text.size() ? text.substr(from) : "";
}

}  // namespace

void FuzzVersion(std::string_view bytes, const std::function<VersionReply(std::string_view)>& read) {
  const AllocationMeter meter;
  const VersionReply reply = read(bytes);
  Demand(meter.Bytes() <= 2 * bytes.size() + 1024, "a reply takes memory in proportion to its length");

  const std::string body = After(std::string(bytes), "\r\n\r\n");
  const double number = LeadingNumber(body);
  const bool held = number > FLT_MAX || number < -FLT_MAX;
  Demand(held ? reply.version == (number > 0 ? FLT_MAX : -FLT_MAX) : reply.version == static_cast<float>(number),
         "the version is the number at the body's start");
  Demand(reply.notes == After(body, "\r\n"), "the notes follow the first line of the body");
  if (!(kVersion < reply.version)) return;
  const std::string digits = VersionDigits(reply.version);
  Demand(!digits.empty() && digits.find_first_not_of("0123456789") == std::string::npos,
         "a newer version's package is named by digits alone");
  Demand(ParseUrl(kPackageSite + digits + ".zip").result == kUrlAccepted, "its address can be added");
}

}  // namespace pellora
