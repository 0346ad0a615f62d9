#include "core/WebAddress.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <vector>

#include "core/Ascii.h"
#include "core/Idn.h"
#include "core/Percent.h"

namespace pellora {

namespace {

struct SchemeRow {
  WebScheme scheme;
  std::string_view name;
  std::uint16_t port;
};
constexpr std::array kSchemes = {SchemeRow{WebScheme::Http, "http", 80}, SchemeRow{WebScheme::Https, "https", 443},
                                 SchemeRow{WebScheme::Ftp, "ftp", 21}, SchemeRow{WebScheme::Ftps, "ftps", 990},
                                 SchemeRow{WebScheme::Sftp, "sftp", 22}};

constexpr std::string_view kMark = "://";
constexpr std::size_t kLongestHost = 253;
constexpr std::size_t kLongestUtf8Host = 4 * kLongestHost;  // before its conversion, which is not made for more
// What a path or query cannot hold as it is, besides blanks and bytes above 127. Controls are refused before.
constexpr std::string_view kEncoded = "\"<>\\^`{|}";
// What no host holds once it is decoded, besides controls, blanks and bytes above 126.
constexpr std::string_view kNotInHosts = "\"#%/:<>?@[\\]^`{|}";

bool IsAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}
bool IsLetter(char c) { return ToLower(c) >= 'a' && ToLower(c) <= 'z'; }

const SchemeRow& RowOf(WebScheme scheme) {
  return *std::find_if(kSchemes.begin(), kSchemes.end(), [&](const SchemeRow& row) { return row.scheme == scheme; });
}

// The length of a scheme at the start of `text` without its ":"; 0 if there is none (RFC 3986, section 3.1).
std::size_t SchemeLength(std::string_view text) {
  if (text.empty() || !IsLetter(text.front())) return 0;
  std::size_t at = 1;
  while (at < text.size() &&
         (IsLetter(text[at]) || IsDigit(text[at]) || text[at] == '+' || text[at] == '-' || text[at] == '.')) {
    ++at;
  }
  return at < text.size() && text[at] == ':' ? at : 0;
}

std::string Encoded(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    const bool escape = c == '%' && text.size() - i > 2 && HexValue(text[i + 1]) >= 0 && HexValue(text[i + 2]) >= 0;
    const bool plain = c > 0x20 && c != '%' && kEncoded.find(c) == std::string_view::npos;
    if (plain || escape) {
      result += c;
    } else {
      AppendPercent(result, c);
    }
  }
  return result;
}

// Resolves dot segments in a path that begins with a slash (RFC 3986, section 5.2.4).
std::string WithoutDots(std::string_view path) {
  std::vector<std::string_view> parts;
  bool folder = false;  // it ends in "/", written or meant
  while (!path.empty()) {
    path.remove_prefix(1);
    const std::string_view part = path.substr(0, path.find('/'));
    path.remove_prefix(part.size());
    folder = part == "." || part == "..";
    if (part == ".." && !parts.empty()) parts.pop_back();
    if (!folder) parts.push_back(part);
  }
  std::string result;
  for (const std::string_view part : parts) result.append(1, '/').append(part);
  if (folder) result += '/';
  return result;
}

// Up to eight groups of up to four hexadecimal digits, one "::" for the missing ones, an IPv4 address at the end
// (RFC 3986, section 3.2.2).
bool IsIpv4(std::string_view text) {
  for (int i = 0; i < 4; ++i) {
    const std::string_view part = text.substr(0, text.find('.'));
    int value = -1;
    const auto [end, error] = std::from_chars(part.data(), part.data() + part.size(), value);
    if (error != std::errc() || end != part.data() + part.size() || part.size() > 3 || value < 0 || value > 255)
      return false;
    text.remove_prefix(part.size());
    if (i < 3 && text.empty()) return false;
    if (i < 3) text.remove_prefix(1);
  }
  return text.empty();
}

// The number of 16-bit groups; nothing if a group is none.
std::optional<int> GroupsIn(std::string_view text, bool ipv4AtEnd) {
  if (text.empty()) return 0;
  int groups = 0;
  while (true) {
    const std::size_t colon = text.find(':');
    const std::string_view group = text.substr(0, colon);
    if (colon == std::string_view::npos && ipv4AtEnd && IsIpv4(group)) return groups + 2;
    const bool hex = std::all_of(group.begin(), group.end(), [](char c) { return HexValue(c) >= 0; });
    if (group.empty() || group.size() > 4 || !hex) return {};
    ++groups;
    if (colon == std::string_view::npos) return groups;
    text.remove_prefix(colon + 1);
  }
}

bool IsIpv6(std::string_view text) {
  const std::size_t gap = text.find("::");
  if (gap == std::string_view::npos) return GroupsIn(text, true) == 8;
  const std::optional<int> before = GroupsIn(text.substr(0, gap), false);
  const std::optional<int> after = GroupsIn(text.substr(gap + 2), true);
  return before && after && *before + *after <= 7;
}

// "%25" and a zone of unreserved characters (RFC 6874).
bool IsZone(std::string_view text) {
  constexpr std::string_view kStart = "%25";
  if (!text.starts_with(kStart) || text.size() == kStart.size()) return false;
  text.remove_prefix(kStart.size());
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return IsLetter(c) || IsDigit(c) || c == '-' || c == '.' || c == '_' || c == '~'; });
}

std::optional<std::string> Ipv6Host(std::string_view text) {
  const std::size_t zone = std::min(text.find('%'), text.size());
  if (!IsIpv6(text.substr(0, zone))) return {};
  if (zone < text.size() && !IsZone(text.substr(zone))) return {};
  return ToLower(text.substr(0, zone)).append(text.substr(zone));
}

std::optional<std::string> NamedHost(std::string_view text) {
  std::string host = PercentDecoded(text);
  if (host.size() > kLongestUtf8Host) return {};
  if (!IsAscii(host)) {
    std::optional<std::string> ascii = HostToAscii(host);
    if (!ascii) return {};
    host = std::move(*ascii);
  }
  host = ToLower(host);
  const bool clean = std::all_of(host.begin(), host.end(), [](char c) {
    return c > 0x20 && c < 0x7F && kNotInHosts.find(c) == std::string_view::npos;
  });
  if (host.empty() || host.front() == '.' || !clean) return {};
  return host;
}

bool TakePort(WebAddress& address, std::string_view text) {
  address.port = DefaultPort(address.scheme);
  if (text.empty()) return true;  // "host:" means the default (RFC 3986, section 3.2.3)
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), address.port);
  return error == std::errc() && end == text.data() + text.size() && address.port != 0;
}

bool TakeLogin(WebAddress& address, std::string_view text) {
  const std::size_t colon = std::min(text.find(':'), text.size());
  address.user = PercentDecoded(text.substr(0, colon));
  if (colon < text.size()) address.password = PercentDecoded(text.substr(colon + 1));
  return !HasControls(address.user) && !HasControls(address.password);
}

// Browsers read "\\" as "/" in these schemes, so that they would go to another host than the one after the "@".
bool EndsAtBackslash(WebScheme scheme, std::string_view authority) {
  const bool special = IsHttp(scheme) || scheme == WebScheme::Ftp;
  return special && authority.find('\\') != std::string_view::npos;
}

// "user:password@host:port". A login ends at the last "@": people paste passwords that hold one.
bool TakeAuthority(WebAddress& address, std::string_view text) {
  if (EndsAtBackslash(address.scheme, text)) return false;
  if (const std::size_t at = text.rfind('@'); at != std::string_view::npos) {
    if (!TakeLogin(address, text.substr(0, at))) return false;
    text.remove_prefix(at + 1);
  }
  const bool literal = text.starts_with('[');
  const std::size_t bracket = literal ? text.find(']') : 0;
  if (bracket == std::string_view::npos) return false;
  const std::size_t end = literal ? bracket + 1 : std::min(text.find(':'), text.size());
  std::optional<std::string> host = literal ? Ipv6Host(text.substr(1, bracket - 1)) : NamedHost(text.substr(0, end));
  if (!host || host->size() > kLongestHost) return false;
  address.host = std::move(*host);
  text.remove_prefix(end);
  if (text.empty()) return TakePort(address, {});
  return text.front() == ':' && TakePort(address, text.substr(1));
}

// Cuts `text` at the first of `marks`; what follows, with its mark, goes to `rest`.
std::string_view CutAt(std::string_view text, std::string_view marks, std::string_view& rest) {
  const std::size_t end = std::min(text.find_first_of(marks), text.size());
  rest = text.substr(end);
  return text.substr(0, end);
}

bool TakePath(WebAddress& address, std::string_view path) {
  address.path = "/";
  if (!path.empty()) address.path = WithoutDots(Encoded(path));
  const bool control = HasControls(PercentDecoded(address.path));
  return IsHttp(address.scheme) || !control;
}

std::string HostText(const WebAddress& address) {
  const bool literal = address.host.find(':') != std::string::npos;
  std::string text = address.host;
  if (literal) text.insert(0, 1, '[').append(1, ']');
  return text;
}

bool IsSameOrigin(const WebAddress& a, const WebAddress& b) {
  return a.scheme == b.scheme && a.host == b.host && a.port == b.port;
}

// The absolute form of a relative reference (RFC 3986, section 5.2.2).
std::string Absolute(const WebAddress& base, std::string_view reference) {
  if (reference.starts_with("//")) return std::string(SchemeName(base.scheme)).append(":").append(reference);
  std::string text = OriginOf(base);
  if (reference.starts_with('/')) return text.append(reference);
  if (reference.starts_with('?')) return text.append(base.path).append(reference);
  if (reference.starts_with('#')) return text.append(base.path).append(base.query).append(reference);
  return text.append(base.path, 0, base.path.rfind('/') + 1).append(reference);
}

std::string_view TrimSpace(std::string_view text) {
  constexpr std::string_view kSpace = " \t";
  const std::size_t first = text.find_first_not_of(kSpace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kSpace) - first + 1);
}

}  // namespace

std::string_view SchemeName(WebScheme scheme) { return RowOf(scheme).name; }
std::uint16_t DefaultPort(WebScheme scheme) { return RowOf(scheme).port; }
bool IsHttp(WebScheme scheme) { return scheme == WebScheme::Http || scheme == WebScheme::Https; }
bool IsEncrypted(WebScheme scheme) { return scheme != WebScheme::Http && scheme != WebScheme::Ftp; }

std::optional<WebAddress> ParseWebAddress(std::string_view text) {
  text = TrimBlanks(text);
  if (text.size() > kLongestWebAddress || HasControls(text)) return {};
  const std::size_t length = SchemeLength(text);
  const auto* const row = std::find_if(kSchemes.begin(), kSchemes.end(), [&](const SchemeRow& candidate) {
    return EqualsNoCase(candidate.name, text.substr(0, length));
  });
  if (row == kSchemes.end() || !text.substr(length).starts_with(kMark)) return {};
  WebAddress address;
  address.scheme = row->scheme;

  std::string_view rest;
  const std::string_view authority = CutAt(text.substr(length + kMark.size()), "/?#", rest);
  if (!TakeAuthority(address, authority)) return {};
  const std::string_view path = CutAt(rest, "?#", rest);
  if (!TakePath(address, path)) return {};
  address.query = Encoded(CutAt(rest, "#", rest));
  address.fragment = rest;
  if (WireUrl(address).size() > kLongestWebAddress) return {};
  return address;
}

std::string OriginOf(const WebAddress& address) {
  std::string text(SchemeName(address.scheme));
  text.append(kMark).append(HostText(address));
  if (address.port != DefaultPort(address.scheme)) text.append(":").append(std::to_string(address.port));
  return text;
}

std::string WireUrl(const WebAddress& address) { return OriginOf(address).append(address.path).append(address.query); }

std::string_view LastPathPart(const WebAddress& address) {
  return std::string_view(address.path).substr(address.path.rfind('/') + 1);
}

std::string WithoutPassword(std::string_view text) {
  const std::size_t mark = text.find(kMark);
  if (mark == std::string_view::npos) return std::string(text);
  const std::size_t begin = mark + kMark.size();
  const std::size_t end = std::min(text.find_first_of("/?#", begin), text.size());
  const std::size_t at = text.substr(0, end).rfind('@');
  if (at == std::string_view::npos || at < begin) return std::string(text);
  const std::size_t colon = std::min(text.find(':', begin), at);
  return std::string(text.substr(0, colon)).append(text.substr(at));
}

bool SharesSecrets(const WebAddress& from, const WebAddress& to) {
  const bool safer = from.scheme == WebScheme::Http && to.scheme == WebScheme::Https && from.host == to.host;
  return safer || IsSameOrigin(from, to);
}

std::string ReferrerFor(const WebAddress& page, const WebAddress& to) {
  const bool lessSafe = IsEncrypted(page.scheme) && !IsEncrypted(to.scheme);
  if (!IsHttp(page.scheme) || !IsHttp(to.scheme) || lessSafe) return {};
  if (IsSameOrigin(page, to)) return WireUrl(page);
  return OriginOf(page).append("/");
}

bool NamesAFile(const WebAddress& address) {
  constexpr std::size_t kLongestExtension = 8;
  const std::string name = PercentDecoded(LastPathPart(address));
  const std::size_t dot = name.rfind('.');
  if (dot == std::string::npos || dot == 0) return false;
  const std::string_view extension = std::string_view(name).substr(dot + 1);
  return !extension.empty() && extension.size() <= kLongestExtension &&
         std::any_of(extension.begin(), extension.end(), IsLetter) &&
         std::all_of(extension.begin(), extension.end(), [](char c) { return IsLetter(c) || IsDigit(c); });
}

ResolvedRedirect ResolveRedirect(const WebAddress& base, std::string_view location) {
  location = TrimSpace(location);
  if (location.empty()) return {};
  const bool absolute = SchemeLength(location) > 0;
  std::string text(location);
  if (!absolute) text = Absolute(base, location);
  std::optional<WebAddress> target = ParseWebAddress(text);
  const bool known = !absolute || std::any_of(kSchemes.begin(), kSchemes.end(), [&](const SchemeRow& row) {
    return EqualsNoCase(row.name, location.substr(0, SchemeLength(location)));
  });
  if (!known || (target && target->scheme == WebScheme::Sftp)) return {RedirectFault::OtherScheme, {}};
  if (!target) return {};
  if (IsEncrypted(base.scheme) && !IsEncrypted(target->scheme)) return {RedirectFault::LessSafe, {}};
  return {RedirectFault::None, std::move(*target)};
}

}  // namespace pellora
