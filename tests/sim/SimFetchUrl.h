// FetchUrl: the parts of an address, as the simulated fetcher needs them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace pellora {

struct FetchUrl {
  std::string scheme, host, target, login;
  std::int32_t port = 0;
  bool hasPort = false;
  bool IsHttp() const { return scheme == "http" || scheme == "https"; }
  std::string HostLine() const {
    const std::string name = host.find(':') == std::string::npos ? host : "[" + host + "]";
    return hasPort ? name + ":" + std::to_string(port) : name;
  }
};

// nullopt if the scheme or the port is none that can be fetched from.
std::optional<FetchUrl> SplitFetchUrl(const std::string& text);
// An address of IPv4 or IPv6 instead of a name.
bool IsNumericHost(const std::string& host);

}  // namespace pellora
