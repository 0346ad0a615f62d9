#include "core/ParseUrl.h"

#include <cstdint>
#include <limits>

#include "core/Ascii.h"
#include "core/ListCodec.h"
#include "core/Numbers.h"
#include "core/Record.h"
#include "core/Scheme.h"

namespace pellora {

namespace {

constexpr std::int32_t kHttpPort = 80;
constexpr std::int32_t kFtpPort = 21;

// Cuts a host of the form "host:port" at its first ":". False: the number does not fit an int32.
bool TakePort(ParsedUrl& parsed) {
  const std::size_t colon = parsed.host.find(':');
  if (colon == std::string::npos) return true;
  const std::int64_t number = RoundTiesToEven(NumericPrefix(std::string_view(parsed.host).substr(colon + 1)));
  using Limits = std::numeric_limits<std::int32_t>;
  if (number < Limits::min() || number > Limits::max()) return false;
  parsed.port = static_cast<std::int32_t>(number);
  parsed.host.resize(colon);
  return true;
}

// Reads "user:password@host:port". False: the "@" comes before the ":".
bool TakeLogin(ParsedUrl& parsed) {
  parsed.port = kFtpPort;
  parsed.protocol = kFtp;
  const std::size_t colon = parsed.host.find(':');
  const std::size_t at = parsed.host.find('@');
  if (colon == std::string::npos || at == std::string::npos) {
    // The host keeps a ":2121" or "name@" in it.
    parsed.user = "anonymous";
    return true;
  }
  parsed.user = parsed.host.substr(0, colon);
  if (at < colon) return false;
  parsed.password = parsed.host.substr(colon + 1, at - colon - 1);
  parsed.host.erase(0, at + 1);
  return TakePort(parsed);
}

}  // namespace

ParsedUrl ParseUrl(std::string_view url) {
  ParsedUrl parsed;
  if (url.size() > kLongestListString) return parsed;  // no list file could keep it
  url = TrimBlanks(url);
  const bool http = HasHttpScheme(url);
  if (!http && !HasFtpScheme(url)) return parsed;

  const std::string_view rest = url.substr(url.find("//") + 2);
  const std::size_t slash = rest.find('/');
  if (slash == std::string_view::npos) return parsed;  // an address must have a path
  parsed.host = rest.substr(0, slash);
  parsed.path = rest.substr(slash);
  parsed.fileName = parsed.path.substr(parsed.path.rfind('/') + 1);

  bool accepted = false;
  if (http) {
    parsed.port = kHttpPort;
    accepted = TakePort(parsed);
  } else {
    accepted = TakeLogin(parsed);
  }
  parsed.result = accepted ? kUrlAccepted : kUrlRefused;
  return parsed;
}

}  // namespace pellora
