// ReplyHeads: what the heads of replies say, read header by header.
//
// Readers take the value of one header, as FetchAnswer has it; HeaderOf finds it. Blanks are spaces and tabs.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/FileFacts.h"
#include "core/IntervalSet.h"
#include "ports/Fetcher.h"

namespace pellora {

// All values of the header in any case, without outer blanks, in their order.
std::vector<std::string_view> HeadersOf(const FetchAnswer& answer, std::string_view name);
// The first of them; empty if there is none.
std::string_view HeaderOf(const FetchAnswer& answer, std::string_view name);

// Decimal digits and nothing else; nothing beyond 64 bits.
std::optional<std::int64_t> ParseLength(std::string_view text);

// "bytes 0-99/200", "bytes 0-99/*" or "bytes */200" (RFC 9110, section 14.4).
struct ContentRange {
  std::optional<Range> range;  // half open, unlike in the text; nothing for "*"
  std::int64_t total = -1;     // -1 for "*"
};
// Nothing for another unit, an empty range, one beyond the total, or "*/*".
std::optional<ContentRange> ParseContentRange(std::string_view text);

// Content-Length: the same in every header and every member of a list (RFC 9110, section 8.6).
struct LengthReading {
  bool sound = true;         // False: a value that is no length, or two that differ
  std::int64_t length = -1;  // -1: no header
};
LengthReading ReadContentLength(const FetchAnswer& answer);

// The members of a list "a, b;x=1" in lower case and without parameters; empty members are dropped.
std::vector<std::string> ListMembers(const FetchAnswer& answer, std::string_view name);

Validator ReadValidator(const FetchAnswer& answer);
// What If-Range may send: a strong entity tag, else a settled date; empty if there is neither (RFC 9110,
// section 13.1.5).
std::string IfRangeOf(const Validator& validator);

// Seconds to wait, from a number or from a date read against the answer's own Date; 0 for a past one, and a hundred
// years at most, so that there is a date for their end. Nothing without the header, with an unreadable one, or with a
// date in an answer without Date.
std::optional<std::int64_t> RetryAfter(const FetchAnswer& answer);

// The status says that the file is at another address, which a header "Location" names.
bool IsRedirect(int status);

}  // namespace pellora
