// WebAddress: an address of https, http, ftps, ftp or sftp, taken apart and normalised (RFC 3986).
//
// Equal places have equal fields: scheme and host are in lower case, a host with other letters is in its A-labels
// (UTS 46, non-transitional), the default port is a number like any other, "." and ".." are resolved, and what must be
// percent-encoded is. The login is percent-decoded. A text with a control character anywhere is no address, nor one
// whose login, or whose path on a server of ftp or sftp, decodes to one. Nor is one of http, https or ftp
// with a backslash before its path: the host ends there for browsers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace pellora {

enum class WebScheme : std::uint8_t { Http, Https, Ftp, Ftps, Sftp };

inline constexpr std::size_t kLongestWebAddress = 65535;  // bytes, as given and as sent; the list file keeps no more

struct WebAddress {
  WebScheme scheme = WebScheme::Https;
  std::string user;
  std::string password;
  std::string host;  // without the brackets of an IPv6 literal
  std::uint16_t port = 0;
  std::string path;      // begins with "/"
  std::string query;     // with its "?"; or empty
  std::string fragment;  // with its "#", as given; or empty. Never sent

  bool operator==(const WebAddress&) const = default;
};

// Blanks around the text are dropped. Nothing if it is no address of these schemes.
std::optional<WebAddress> ParseWebAddress(std::string_view text);

std::string_view SchemeName(WebScheme scheme);  // "https"
std::uint16_t DefaultPort(WebScheme scheme);
bool IsHttp(WebScheme scheme);       // http or https
bool IsEncrypted(WebScheme scheme);  // https, ftps or sftp

// "https://host:8443", without a default port. Equal for addresses of one origin, and for no others.
std::string OriginOf(const WebAddress& address);
// What a request names: without login and fragment.
std::string WireUrl(const WebAddress& address);
// The last part of the path, still encoded; empty for a path that ends in "/".
std::string_view LastPathPart(const WebAddress& address);

// The form for the list, for titles and for finding duplicates: `text` as it is, but for the password and its ":".
// Takes any text, so that what is refused can be shown too.
std::string WithoutPassword(std::string_view text);

// True if a login or cookies for `from` may go to `to`: one origin, or https instead of http on the same host.
bool SharesSecrets(const WebAddress& from, const WebAddress& to);
// What a request to `to` says of the page it comes from: that page's address on its own origin, the origin and "/" on
// another, nothing from an encrypted page to an unencrypted server or if one of both is not http or https.
std::string ReferrerFor(const WebAddress& page, const WebAddress& to);

// True for copied addresses worth a question: the path ends in a name with an extension, one to eight ASCII letters and
// digits, one letter at least.
bool NamesAFile(const WebAddress& address);

enum class RedirectFault : std::uint8_t {
  None,
  Unreadable,   // empty, no address, or too long
  LessSafe,     // from an encrypted scheme to an unencrypted one
  OtherScheme,  // neither http, https, ftp nor ftps
};

struct ResolvedRedirect {
  RedirectFault fault = RedirectFault::Unreadable;
  WebAddress address;  // meaningful without a fault; has a login only if the location names one
};

// Where the Location of a reply from `base` leads (RFC 9110, section 10.2.2; RFC 3986, section 5.2).
ResolvedRedirect ResolveRedirect(const WebAddress& base, std::string_view location);

}  // namespace pellora
