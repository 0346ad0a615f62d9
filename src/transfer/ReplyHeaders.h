// ParseReplyHeaders: what an HTTP reply says about the file, read from the first block that arrived.
//
// The block is searched whole, body bytes included: a body line that looks like a header counts as one,
// and a later line wins. Linear in the block, and nothing is copied but the values found.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace pellora {

struct ReplyHeaders {
  std::int32_t status = 0;  // 0 where the reply is too short to have one
  std::string location;
  bool tooLong = false;            // the length lies beyond what contentLength holds
  std::int32_t contentLength = 0;  // as the server says, so possibly negative; held at the limits of the type
  std::string contentType;         // with any parameter after it
};

ReplyHeaders ParseReplyHeaders(std::string_view reply);

}  // namespace pellora
