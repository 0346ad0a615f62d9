#include "fetch/CookieJar.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "core/Ascii.h"
#include "core/CookiePath.h"
#include "core/TextPieces.h"
#include "fetch/HttpDate.h"
#include "fetch/ReplyHeads.h"

namespace pellora {

namespace {

constexpr std::size_t kLongestCookie = 4096;  // bytes of name and value
constexpr std::size_t kMostCookies = 50;
constexpr std::int64_t kYear = std::int64_t{365} * 24 * 60 * 60;  // s

// The next member up to the separator, which is cut off `rest` too.
std::string_view NextOf(std::string_view& rest, std::string_view separator) {
  return Trimmed(CutAt(rest, separator), kHttpBlanks);
}

// Of a cookie whose server names no path (RFC 6265, section 5.1.4).
std::string DefaultPath(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == 0 || slash == std::string::npos ? "/" : path.substr(0, slash);
}

bool MaxAgeIsOver(std::string_view value) {
  if (value.starts_with('-')) return ParseLength(value.substr(1)).has_value();
  return ParseLength(value) == 0;
}

}  // namespace

void CookieJar::Take(const WebAddress& from, std::string_view header, std::int64_t now) {
  std::string_view rest = header;
  std::string_view pair = NextOf(rest, ";");
  if (pair.find('=') == std::string_view::npos) return;
  Cookie cookie{from, std::string(NextOf(pair, "=")), std::string(Trimmed(pair, kHttpBlanks)), DefaultPath(from.path),
                false};
  const std::size_t size = cookie.name.size() + cookie.value.size();
  if (cookie.name.empty() || size > kLongestCookie || HasControls(cookie.name) || HasControls(cookie.value)) return;
  std::optional<bool> over;  // as Max-Age says, which counts more than Expires
  bool expired = false;
  while (!rest.empty()) {
    std::string_view attribute = NextOf(rest, ";");
    const std::string name = ToLower(NextOf(attribute, "="));
    const std::string_view value = Trimmed(attribute, kHttpBlanks);
    if (name == "secure") cookie.secure = true;
    if (name == "path" && value.starts_with('/')) cookie.path = value;
    if (name == "max-age") over = MaxAgeIsOver(value);
    if (name == "expires") {
      const std::optional<std::int64_t> end = ParseHttpDate(value);
      expired = end && *end <= (now > 0 ? now : kYear);
    }
  }
  std::erase_if(cookies_, [&](const Cookie& other) {
    return other.name == cookie.name && other.path == cookie.path && OriginOf(other.from) == OriginOf(from);
  });
  if (over.value_or(expired)) return;
  if (cookies_.size() == kMostCookies) cookies_.erase(cookies_.begin());
  cookies_.push_back(std::move(cookie));
}

void CookieJar::TakeAll(const WebAddress& from, std::string_view pairs) {
  while (!pairs.empty()) Take(from, std::string(NextOf(pairs, ";")) + "; Path=/", 0);
}

std::string CookieJar::For(const WebAddress& to) const {
  std::vector<const Cookie*> sent;
  for (const Cookie& cookie : cookies_) {
    if (!SharesSecrets(cookie.from, to) || !CookiePathFits(cookie.path, to.path)) continue;
    if (!cookie.secure || to.scheme == WebScheme::Https) sent.push_back(&cookie);
  }
  std::stable_sort(sent.begin(), sent.end(),
                   [](const Cookie* a, const Cookie* b) { return a->path.size() > b->path.size(); });
  std::string value;
  for (const Cookie* const cookie : sent) {
    value += (value.empty() ? "" : "; ") + cookie->name + "=" + cookie->value;
  }
  return value;
}

}  // namespace pellora
