// DigestHeaders: checksums of the file that a server names in the head of a reply.
//
// They come on the same way as the bytes: they find damage, and prove nothing against who could change both.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "core/Checksum.h"
#include "ports/Fetcher.h"

namespace pellora {

// The strongest checksum of the whole file that this answer of http or https names; nothing if there is none, or if two
// of that kind differ. Repr-Digest (RFC 9530) and Digest (RFC 3230) are of the whole file in every answer,
// Content-Digest and Content-MD5 (RFC 1864) of the body: they count in a 200 alone. Nothing counts in an answer whose
// body is coded.
std::optional<Checksum> ChecksumIn(const FetchAnswer& answer);

// Values of single headers; members of other kinds, and unreadable ones, are left out.
// "sha-256=:BASE64:, md5=:BASE64:", a dictionary (RFC 8941): nothing if anything in it breaks its rules.
std::vector<Checksum> ReadReprDigest(std::string_view value);
// "SHA-256=BASE64,MD5=BASE64".
std::vector<Checksum> ReadDigest(std::string_view value);

}  // namespace pellora
