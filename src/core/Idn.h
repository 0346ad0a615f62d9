// HostToAscii: internationalised host names (UTS 46, non-transitional; RFC 5891).
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace pellora {

// A host in UTF-8 as A-labels, in lower case. Nothing if it is not valid. The result may hold characters that no host
// has: fullwidth forms become ASCII, "/" and "@" too.
std::optional<std::string> HostToAscii(std::string_view host);

}  // namespace pellora
