// Scheme: how an address begins that Pellora takes. Nothing here trims; callers do, each as its own texts need it.
#pragma once

#include <string_view>

#include "core/Ascii.h"

namespace pellora {

inline constexpr std::string_view kHttpScheme = "http://";
inline constexpr std::string_view kFtpScheme = "ftp://";

// In any case, as the parser takes addresses.
constexpr bool HasHttpScheme(std::string_view url) { return StartsWithNoCase(url, kHttpScheme); }
constexpr bool HasFtpScheme(std::string_view url) { return StartsWithNoCase(url, kFtpScheme); }
constexpr bool HasScheme(std::string_view url) { return HasHttpScheme(url) || HasFtpScheme(url); }

// In lower case only, as copied texts are offered.
constexpr bool HasLowerCaseScheme(std::string_view text) {
  return text.starts_with(kHttpScheme) || text.starts_with(kFtpScheme);
}

// What may go to the desktop's opener: https as well, and not the scheme alone.
constexpr bool IsOpenableUrl(std::string_view url) {
  for (const std::string_view scheme : {kHttpScheme, std::string_view("https://"), kFtpScheme}) {
    if (url.size() > scheme.size() && StartsWithNoCase(url, scheme)) return true;
  }
  return false;
}

}  // namespace pellora
