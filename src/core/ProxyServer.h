// ProxyServer: a proxy as the options or the environment name it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "ports/Login.h"

namespace pellora {

struct Settings;

struct ProxyServer {
  std::string scheme;  // "http", "https", "socks4", "socks4a", "socks5", or "socks5h", which looks names up itself
  std::string host;    // without the brackets of an IPv6 literal
  std::uint16_t port = 0;
  Login login;
};

// "[SCHEME://][USER[:PASSWORD]@]HOST[:PORT]"; without a scheme "http". Nothing for any other text.
std::optional<ProxyServer> ParseProxy(std::string_view text, std::uint16_t defaultPort);

// The port of a proxy that the environment names without one.
std::uint16_t PortOfProxies(std::string_view url);

std::string UrlOf(const ProxyServer& proxy);  // with its login

// The proxy of the options as a URL, with its login. What is no proxy is not left out, since that would mean a direct
// connection.
std::string ProxyOf(const Settings& settings);

// A name or address and nothing else, which is all that the classic engine knows.
bool IsPlainProxy(std::string_view server);

}  // namespace pellora
