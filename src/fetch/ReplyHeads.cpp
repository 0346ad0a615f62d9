#include "fetch/ReplyHeads.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "core/Ascii.h"
#include "fetch/HttpDate.h"

namespace pellora {

namespace {

constexpr std::int64_t kSettledAfter = 60;                                     // s (RFC 9110, section 8.8.2.2)
constexpr std::int64_t kLongestWait = std::int64_t{100} * 365 * 24 * 60 * 60;  // s

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::vector<std::string_view> Members(std::string_view list) {
  std::vector<std::string_view> members;
  while (true) {
    const std::size_t comma = list.find(',');
    if (const std::string_view member = Trimmed(list.substr(0, comma)); !member.empty()) members.push_back(member);
    if (comma == std::string_view::npos) return members;
    list.remove_prefix(comma + 1);
  }
}

}  // namespace

std::vector<std::string_view> HeadersOf(const FetchAnswer& answer, std::string_view name) {
  std::vector<std::string_view> values;
  for (const FetchHeader& header : answer.headers) {
    if (EqualsNoCase(header.name, name)) values.push_back(Trimmed(header.value));
  }
  return values;
}

std::string_view HeaderOf(const FetchAnswer& answer, std::string_view name) {
  const std::vector<std::string_view> values = HeadersOf(answer, name);
  return values.empty() ? std::string_view() : values.front();
}

std::optional<std::int64_t> ParseLength(std::string_view text) {
  std::int64_t value = 0;
  const bool digits = !text.empty() && std::all_of(text.begin(), text.end(), IsDigit);
  if (!digits || std::from_chars(text.data(), text.data() + text.size(), value).ec != std::errc()) return {};
  return value;
}

std::optional<ContentRange> ParseContentRange(std::string_view text) {
  constexpr std::string_view kUnit = "bytes";
  if (!StartsWithNoCase(text, kUnit)) return {};
  text.remove_prefix(kUnit.size());
  const std::size_t slash = text.find('/');
  if (text.empty() || (text.front() != ' ' && text.front() != '\t') || slash == std::string_view::npos) return {};
  const std::string_view range = Trimmed(text.substr(0, slash));
  const std::string_view total = Trimmed(text.substr(slash + 1));

  ContentRange found;
  if (total != "*") {
    const std::optional<std::int64_t> length = ParseLength(total);
    if (!length) return {};
    found.total = *length;
  }
  if (range == "*") return found.total < 0 ? std::nullopt : std::optional(found);
  const std::size_t dash = range.find('-');
  if (dash == std::string_view::npos) return {};
  const std::optional<std::int64_t> first = ParseLength(range.substr(0, dash));
  const std::optional<std::int64_t> last = ParseLength(range.substr(dash + 1));
  constexpr std::int64_t kMost = std::int64_t{1} << 62;
  if (!first || !last || *last < *first || *last >= kMost) return {};
  if (found.total >= 0 && *last >= found.total) return {};
  found.range = Range{*first, *last + 1};
  return found;
}

LengthReading ReadContentLength(const FetchAnswer& answer) {
  LengthReading reading;
  for (const std::string_view value : HeadersOf(answer, "Content-Length")) {
    const std::vector<std::string_view> members = Members(value);
    if (members.empty()) reading.sound = false;
    for (const std::string_view member : members) {
      const std::optional<std::int64_t> length = ParseLength(member);
      if (!length || (reading.length >= 0 && reading.length != *length)) reading.sound = false;
      if (length) reading.length = *length;
    }
  }
  return reading;
}

std::vector<std::string> ListMembers(const FetchAnswer& answer, std::string_view name) {
  std::vector<std::string> found;
  for (const std::string_view value : HeadersOf(answer, name)) {
    for (const std::string_view member : Members(value)) {
      found.push_back(ToLower(Trimmed(member.substr(0, member.find(';')))));
    }
  }
  return found;
}

Validator ReadValidator(const FetchAnswer& answer) {
  Validator validator;
  std::string_view etag = HeaderOf(answer, "ETag");
  validator.weak = etag.starts_with("W/");
  if (validator.weak) etag.remove_prefix(2);
  const bool quoted = etag.size() >= 2 && etag.front() == '"' && etag.find('"', 1) == etag.size() - 1;
  if (quoted) validator.etag = etag;
  if (!quoted) validator.weak = false;

  const std::string_view modified = HeaderOf(answer, "Last-Modified");
  const std::optional<std::int64_t> moment = ParseHttpDate(modified);
  if (!moment) return validator;
  validator.lastModified = modified;
  const std::optional<std::int64_t> now = ParseHttpDate(HeaderOf(answer, "Date"));
  validator.settled = now && *now - *moment >= kSettledAfter;
  return validator;
}

std::string IfRangeOf(const Validator& validator) {
  if (!validator.etag.empty()) return validator.weak ? std::string() : validator.etag;
  return validator.settled ? validator.lastModified : std::string();
}

std::optional<std::int64_t> RetryAfter(const FetchAnswer& answer) {
  const std::string_view text = HeaderOf(answer, "Retry-After");
  if (const std::optional<std::int64_t> seconds = ParseLength(text)) return std::min(*seconds, kLongestWait);
  const std::optional<std::int64_t> moment = ParseHttpDate(text);
  const std::optional<std::int64_t> now = ParseHttpDate(HeaderOf(answer, "Date"));
  if (!moment || !now) return {};
  return std::clamp<std::int64_t>(*moment - *now, 0, kLongestWait);
}

bool IsRedirect(int status) {
  constexpr std::array kRedirects = {301, 302, 303, 307, 308};
  return std::find(kRedirects.begin(), kRedirects.end(), status) != kRedirects.end();
}

}  // namespace pellora
