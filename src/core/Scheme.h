// Scheme: how an address begins that Pellora accepts. Nothing here trims; each caller does as its texts need.
//
// The classic engine fetches http and ftp; the new schemes are the web engine's alone.
#pragma once

#include <algorithm>
#include <array>
#include <string_view>

#include "core/Ascii.h"

namespace pellora {

inline constexpr std::string_view kHttpScheme = "http://";
inline constexpr std::string_view kFtpScheme = "ftp://";

// In any case, as the parser accepts it.
constexpr bool HasHttpScheme(std::string_view url) { return StartsWithNoCase(url, kHttpScheme); }
constexpr bool HasFtpScheme(std::string_view url) { return StartsWithNoCase(url, kFtpScheme); }
constexpr bool HasScheme(std::string_view url) { return HasHttpScheme(url) || HasFtpScheme(url); }

// In lower case only, as required of copied texts.
constexpr bool HasLowerCaseScheme(std::string_view text) {
  return text.starts_with(kHttpScheme) || text.starts_with(kFtpScheme);
}

inline constexpr std::array<std::string_view, 3> kNewSchemes = {"https://", "ftps://", "sftp://"};

constexpr bool HasNewScheme(std::string_view url) {
  return std::any_of(kNewSchemes.begin(), kNewSchemes.end(),
                     [url](auto scheme) { return StartsWithNoCase(url, scheme); });
}
constexpr bool HasLowerCaseNewScheme(std::string_view text) {
  return std::any_of(kNewSchemes.begin(), kNewSchemes.end(), [text](auto scheme) { return text.starts_with(scheme); });
}

// What the desktop may open: https too, but not a scheme alone.
constexpr bool IsOpenableUrl(std::string_view url) {
  for (const std::string_view scheme : {kHttpScheme, std::string_view("https://"), kFtpScheme}) {
    if (url.size() > scheme.size() && StartsWithNoCase(url, scheme)) return true;
  }
  return false;
}

}  // namespace pellora
