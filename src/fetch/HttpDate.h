// HttpDate: the dates of HTTP headers (RFC 9110, section 5.6.7).
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace pellora {

// Seconds since 1 January 1970, 00:00 UTC, from any of the three forms: "Sun, 06 Nov 1994 08:49:37 GMT",
// "Sunday, 06-Nov-94 08:49:37 GMT" and "Sun Nov  6 08:49:37 1994". The day of the week is not looked at. Years of two
// digits are of this century below 70, else of the last.
std::optional<std::int64_t> ParseHttpDate(std::string_view text);

}  // namespace pellora
