#include "core/ProxyServer.h"

#include <algorithm>
#include <array>

#include "core/Ascii.h"
#include "core/Percent.h"
#include "core/Settings.h"
#include "core/WebAddress.h"

namespace pellora {

namespace {

constexpr std::array<std::string_view, 6> kSchemes{"http", "https", "socks4", "socks4a", "socks5", "socks5h"};
constexpr std::string_view kAfterScheme = "://";

std::string Encoded(std::string_view text) {
  constexpr std::string_view kPlain = "-._~";
  std::string encoded;
  for (const char c : text) {
    if (IsDigit(c) || (ToLower(c) >= 'a' && ToLower(c) <= 'z') || kPlain.find(c) != std::string_view::npos) {
      encoded += c;
    } else {
      AppendPercent(encoded, c);
    }
  }
  return encoded;
}

bool NamesPort(std::string_view authority) {
  const std::size_t at = authority.rfind('@');
  std::string_view host = at == std::string_view::npos ? authority : authority.substr(at + 1);
  if (const std::size_t end = host.rfind(']'); end != std::string_view::npos) host.remove_prefix(end);
  return host.find(':') != std::string_view::npos;
}

}  // namespace

std::optional<ProxyServer> ParseProxy(std::string_view text, std::uint16_t defaultPort) {
  text = TrimBlanks(text);
  ProxyServer proxy;
  proxy.scheme = "http";
  if (const std::size_t end = text.find(kAfterScheme); end != std::string_view::npos) {
    proxy.scheme = ToLower(text.substr(0, end));
    text.remove_prefix(end + kAfterScheme.size());
  }
  if (text.ends_with('/')) text.remove_suffix(1);
  const bool known = std::find(kSchemes.begin(), kSchemes.end(), proxy.scheme) != kSchemes.end();
  if (!known || text.find_first_of("/?#") != std::string_view::npos) return std::nullopt;
  const std::optional<WebAddress> address = ParseWebAddress("http://" + std::string(text) + "/");
  if (!address) return std::nullopt;
  proxy.host = address->host;
  proxy.port = NamesPort(text) ? address->port : defaultPort;
  proxy.login = {address->user, address->password};
  return proxy;
}

// As libcurl has them.
std::uint16_t PortOfProxies(std::string_view url) {
  constexpr std::uint16_t kPort = 1080;
  constexpr std::uint16_t kHttpsPort = 443;
  return StartsWithNoCase(url, "https://") ? kHttpsPort : kPort;
}

std::string UrlOf(const ProxyServer& proxy) {
  std::string url = proxy.scheme + std::string(kAfterScheme);
  if (!proxy.login.user.empty() || !proxy.login.password.empty()) {
    url += Encoded(proxy.login.user) + ":" + Encoded(proxy.login.password) + "@";
  }
  const bool six = proxy.host.find(':') != std::string::npos;
  return url + (six ? "[" + proxy.host + "]" : proxy.host) + ":" + std::to_string(proxy.port);
}

std::string ProxyOf(const Settings& settings) {
  const auto proxy = ParseProxy(settings.ProxyServer, static_cast<std::uint16_t>(settings.ProxyPort));
  if (proxy) return UrlOf(*proxy);
  if (!IsPlainProxy(settings.ProxyServer)) return settings.ProxyServer;
  return "http://" + settings.ProxyServer + ":" + std::to_string(settings.ProxyPort);
}

bool IsPlainProxy(std::string_view server) {
  return server.find(kAfterScheme) == std::string_view::npos && server.find('@') == std::string_view::npos;
}

}  // namespace pellora
