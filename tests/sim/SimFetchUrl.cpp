#include "SimFetchUrl.h"

#include <algorithm>
#include <charconv>

#include "core/Percent.h"

namespace pellora {

namespace {

struct Scheme {
  const char* name;
  std::int32_t port;
};
constexpr Scheme kSchemes[] = {{"http", 80}, {"https", 443}, {"ftp", 21}, {"ftps", 990}, {"sftp", 22}};

}  // namespace

std::optional<FetchUrl> SplitFetchUrl(const std::string& text) {
  FetchUrl url;
  const std::size_t colon = text.find("://");
  if (colon == std::string::npos) return std::nullopt;
  url.scheme = text.substr(0, colon);
  const auto* const known = std::find_if(std::begin(kSchemes), std::end(kSchemes),
                                         [&](const Scheme& scheme) { return url.scheme == scheme.name; });
  if (known == std::end(kSchemes)) return std::nullopt;
  const std::size_t begin = colon + 3;
  const std::size_t end = std::min(text.find_first_of("/?", begin), text.size());
  std::string authority = text.substr(begin, end - begin);
  if (const std::size_t at = authority.rfind('@'); at != std::string::npos) {
    url.login = PercentDecoded(authority.substr(0, at));
    authority.erase(0, at + 1);
  }
  url.target = text.substr(end);
  if (!url.target.starts_with('/')) url.target.insert(0, "/");
  url.port = known->port;
  const std::size_t bracket = authority.find(']');
  const std::size_t mark = authority.find(':', bracket == std::string::npos ? 0 : bracket);
  url.host = bracket == std::string::npos ? authority.substr(0, mark) : authority.substr(1, bracket - 1);
  if (mark == std::string::npos) return url;
  const char* const last = authority.data() + authority.size();
  const auto number = std::from_chars(authority.data() + mark + 1, last, url.port);
  if (number.ec != std::errc() || number.ptr != last) return std::nullopt;
  url.hasPort = url.port != known->port;
  return url;
}

bool IsNumericHost(const std::string& host) {
  return host.find(':') != std::string::npos || host.find_first_not_of("0123456789.") == std::string::npos;
}

}  // namespace pellora
