// MirrorsIn: mirrors that a server names in its Link headers, "<...>; rel=duplicate; pri=1; geo=de" (RFC 8288, RFC
// 6249).
#pragma once

#include <vector>

#include "core/Mirror.h"
#include "core/WebAddress.h"
#include "ports/Fetcher.h"

namespace pellora {

// By priority, kMostMirrors at most, no address twice, without that of the answer itself. `base` is the address of the
// request, for relative ones. Values that break the grammar end the reading of their header.
std::vector<Mirror> MirrorsIn(const FetchAnswer& answer, const WebAddress& base);

}  // namespace pellora
