// CookieJar: the cookies that the servers of one download have set, in memory alone.
//
// Stricter than RFC 6265: a cookie goes back to the origin that set it, or to https on the same host, never to another
// host, whatever its Domain says. Path and Secure are obeyed. Cookies are not kept over a restart, so a cookie without
// an end and one with a later end are the same; one whose end is not in the future is removed.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/WebAddress.h"

namespace pellora {

class CookieJar {
 public:
  // `header` is the value of one Set-Cookie of a reply from `from`; `now`: seconds since 1970. What is no cookie is
  // passed over (RFC 6265, section 5.2).
  void Take(const WebAddress& from, std::string_view header, std::int64_t now);
  // "name=value; name=value" of a browser, for all paths of that origin.
  void TakeAll(const WebAddress& from, std::string_view pairs);
  // The value of Cookie for a request: longer paths first, then the older ones (RFC 6265, section 5.4). Empty: none.
  std::string For(const WebAddress& to) const;

 private:
  struct Cookie {
    WebAddress from;
    std::string name;
    std::string value;
    std::string path;  // begins with "/"
    bool secure = false;
  };
  std::vector<Cookie> cookies_;  // the oldest first
};

}  // namespace pellora
