// LinkHeader: mirrors that a server names in its Link headers, "<...>; rel=duplicate; pri=1; geo=de", and the Metalink
// of the file, "<...>; rel=describedby; type="application/metalink4+xml"" (RFC 8288, RFC 6249).
#pragma once

#include <optional>
#include <vector>

#include "core/Mirror.h"
#include "core/WebAddress.h"
#include "ports/Fetcher.h"

namespace pellora {

// By priority, kMostMirrors at most, no address twice, without that of the answer itself. `base` is the address of the
// request, for relative ones. Values that break the grammar end the reading of their header.
std::vector<Mirror> MirrorsIn(const FetchAnswer& answer, const WebAddress& base);

// A Metalink that describes the file, as a link of the relation "describedby" and of the Metalinks' type names it.
// Never an unencrypted one of an encrypted `base`.
std::optional<WebAddress> DescriptionIn(const FetchAnswer& answer, const WebAddress& base);

}  // namespace pellora
