// Challenge: how a server of http or https wants its login (RFC 9110, section 11.6.1).
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ports/Fetcher.h"

namespace pellora {

struct Challenge {
  FetchAuth auth = FetchAuth::Basic;
  std::string realm;  // may be empty
  bool operator==(const Challenge&) const = default;
};

// Of all that are offered the one that tells others on the way least: Digest, NTLM, Basic. Negotiate comes last: it
// needs a ticket, and makes no use of the login. Nothing if no scheme is known. `values` are those of WWW-Authenticate.
std::optional<Challenge> ReadChallenge(const std::vector<std::string_view>& values);

}  // namespace pellora
