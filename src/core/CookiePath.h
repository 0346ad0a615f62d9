// CookiePath: which paths a cookie goes to (RFC 6265, section 5.1.4).
#pragma once

#include <string_view>

namespace pellora {

constexpr bool CookiePathFits(std::string_view cookie, std::string_view path) {
  if (!path.starts_with(cookie)) return false;
  return path.size() == cookie.size() || cookie.ends_with('/') || path[cookie.size()] == '/';
}

}  // namespace pellora
