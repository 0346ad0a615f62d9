// CookieFile: cookies in the format in which browsers' extensions and command-line tools export them, called
// Netscape's.
//
// A line is seven fields separated by tabs: domain, whether its subdomains have the cookie too, path, whether it is for
// https alone, its end in seconds since 1970 (0: that of the browser's session), name, value. A line that begins with
// "#" is a comment, but for "#HttpOnly_" before the domain. What is no such line is passed over.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/WebAddress.h"

namespace pellora {

struct ListedCookie {
  std::string domain;  // in lower case, without a dot before it
  bool subdomains = false;
  std::string path;
  bool secure = false;
  std::int64_t end = 0;  // 0: none
  std::string name;
  std::string value;
};

// In the order of the file.
std::vector<ListedCookie> ReadCookieFile(std::string_view file);

// The cookies that a browser would send to the address (RFC 6265, section 5.4), as "name=value; name=value": those of
// its host, its path and its scheme that have not ended. Longer paths come first, and of one name only the first one
// counts. A value that cannot be sent is left out. `now`: seconds since 1970.
std::string CookiesFor(const std::vector<ListedCookie>& cookies, const WebAddress& address, std::int64_t now);

}  // namespace pellora
