#include "core/CookieFile.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <set>
#include <utility>

#include "core/Ascii.h"
#include "core/CookiePath.h"
#include "core/TextPieces.h"

namespace pellora {

namespace {

enum Field : std::size_t { kDomain, kSubdomains, kPath, kSecure, kEnd, kName, kValue, kFields };

std::optional<std::array<std::string_view, kFields>> FieldsOf(std::string_view line) {
  std::array<std::string_view, kFields> fields;
  for (std::size_t i = 0; i < kFields; ++i) {
    const std::size_t tab = line.find('\t');
    const bool last = i + 1 == kFields;
    if (last != (tab == std::string_view::npos)) return std::nullopt;
    fields.at(i) = line.substr(0, tab);
    if (!last) line.remove_prefix(tab + 1);
  }
  return fields;
}

// Some programs write a fraction.
std::optional<std::int64_t> EndIn(std::string_view text) {
  std::int64_t end = 0;
  const auto [next, error] = std::from_chars(text.data(), text.data() + text.size(), end);
  if (error != std::errc() || (next != text.data() + text.size() && *next != '.')) return std::nullopt;
  return end;
}

// A character that would end the value or the header.
bool CannotBeSent(std::string_view text) { return HasControls(text) || text.find(';') != std::string_view::npos; }

std::optional<ListedCookie> CookieIn(std::string_view line) {
  constexpr std::string_view kHttpOnly = "#HttpOnly_";
  if (line.starts_with(kHttpOnly)) {
    line.remove_prefix(kHttpOnly.size());
  } else if (line.starts_with('#')) {
    return std::nullopt;
  }
  const auto fields = FieldsOf(line);
  if (!fields) return std::nullopt;
  const auto& field = *fields;
  const std::optional<std::int64_t> end = EndIn(field[kEnd]);
  ListedCookie cookie{ToLower(field[kDomain]),   EqualsNoCase(field[kSubdomains], "TRUE"),
                      std::string(field[kPath]), EqualsNoCase(field[kSecure], "TRUE"),
                      end.value_or(0),           std::string(field[kName]),
                      std::string(field[kValue])};
  if (cookie.domain.starts_with('.')) cookie.domain.erase(0, 1);
  const bool whole = end && !cookie.domain.empty() && cookie.path.starts_with('/') && !cookie.name.empty() &&
                     cookie.name.find('=') == std::string::npos && !CannotBeSent(cookie.name) &&
                     !CannotBeSent(cookie.value);
  return whole ? std::optional(cookie) : std::nullopt;
}

bool IsNumericHost(std::string_view host) {
  return host.find(':') != std::string_view::npos || (!host.empty() && IsDigit(host.back()));
}

// RFC 6265, section 5.1.3. No browser keeps a cookie for all hosts of one name without a dot.
bool DomainFits(const ListedCookie& cookie, std::string_view host) {
  if (cookie.domain == host) return true;
  if (!cookie.subdomains || cookie.domain.find('.') == std::string::npos || IsNumericHost(host)) return false;
  return host.ends_with("." + cookie.domain);
}

bool Fits(const ListedCookie& cookie, const WebAddress& address, std::int64_t now) {
  if (!IsHttp(address.scheme) || (cookie.secure && !IsEncrypted(address.scheme))) return false;
  if (cookie.end != 0 && cookie.end <= now) return false;
  return DomainFits(cookie, address.host) && CookiePathFits(cookie.path, address.path);
}

}  // namespace

std::vector<ListedCookie> ReadCookieFile(std::string_view file) {
  std::vector<ListedCookie> cookies;
  while (!file.empty()) {
    if (std::optional<ListedCookie> cookie = CookieIn(NextLine(file))) cookies.push_back(std::move(*cookie));
  }
  return cookies;
}

std::string CookiesFor(const std::vector<ListedCookie>& cookies, const WebAddress& address, std::int64_t now) {
  std::vector<const ListedCookie*> fitting;
  for (const ListedCookie& cookie : cookies) {
    if (Fits(cookie, address, now)) fitting.push_back(&cookie);
  }
  std::stable_sort(fitting.begin(), fitting.end(),
                   [](const ListedCookie* a, const ListedCookie* b) { return a->path.size() > b->path.size(); });
  std::string pairs;
  std::set<std::string_view> names;
  for (const ListedCookie* const cookie : fitting) {
    if (!names.insert(cookie->name).second) continue;
    if (!pairs.empty()) pairs += "; ";
    pairs.append(cookie->name).append("=").append(cookie->value);
  }
  return pairs;
}

}  // namespace pellora
