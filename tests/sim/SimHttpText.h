// Texts of HTTP that several parts of the simulator read or write.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "ports/Fetcher.h"

namespace pellora {

// Equality without case, of ASCII.
bool SameWithoutCase(std::string_view a, std::string_view b);
// "Sun, 06 Nov 1994 08:49:37 GMT" (RFC 9110, section 5.6.7), of seconds since 1970.
std::string SimHttpDate(std::int64_t seconds);
// Of Basic logins (RFC 7617).
std::string SimBase64(std::string_view bytes);
// "Basic", "Digest", ...: the simulated servers take what follows the name for a Basic login in all of them.
std::string SimAuthName(FetchAuth auth);

}  // namespace pellora
