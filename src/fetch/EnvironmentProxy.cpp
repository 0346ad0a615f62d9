#include "fetch/EnvironmentProxy.h"

#include <algorithm>
#include <optional>

#include "core/Ascii.h"

namespace pellora {

namespace {

const char* VariableOf(WebScheme scheme) {
  switch (scheme) {
    case WebScheme::Http:
      return "http_proxy";
    case WebScheme::Https:
      return "https_proxy";
    case WebScheme::Ftp:
    case WebScheme::Ftps:
      return "ftp_proxy";
    case WebScheme::Sftp:
      break;
  }
  return "all_proxy";
}

std::string InEitherCase(const std::string& name, const Variables& variable) {
  std::string value = variable(name);
  return value.empty() && name != "http_proxy" ? variable(ToUpper(name)) : value;
}

struct Entry {
  std::string_view host;
  std::string_view port;  // empty: any
};

// "name", "name:port", "address", "[address]:port".
Entry Parsed(std::string_view text) {
  if (text.starts_with('[')) {
    const std::size_t end = std::min(text.find(']'), text.size());
    const std::string_view rest = text.substr(std::min(end + 1, text.size()));
    return {text.substr(1, end - 1), rest.starts_with(':') ? rest.substr(1) : std::string_view()};
  }
  const std::size_t colon = text.find(':');
  if (colon == std::string_view::npos || text.find(':', colon + 1) != std::string_view::npos) return {text, {}};
  return {text.substr(0, colon), text.substr(colon + 1)};
}

bool IsLiteral(std::string_view host) {
  return host.find(':') != std::string_view::npos || host.find_first_not_of("0123456789.") == std::string_view::npos;
}

bool CoversHost(std::string_view name, std::string_view host) {
  if (name.starts_with("*.")) name.remove_prefix(1);
  if (name.starts_with('.')) name.remove_prefix(1);
  if (name.ends_with('.')) name.remove_suffix(1);
  if (host.ends_with('.')) host.remove_suffix(1);
  if (name.empty() || name.size() > host.size()) return false;
  if (!EqualsNoCase(name, host.substr(host.size() - name.size()))) return false;
  return name.size() == host.size() || (!IsLiteral(host) && host[host.size() - name.size() - 1] == '.');
}

}  // namespace

bool IsExcepted(std::string_view noProxy, const WebAddress& to) {
  constexpr std::string_view kSeparators = ", \t";
  while (!noProxy.empty()) {
    noProxy.remove_prefix(std::min(noProxy.size(), noProxy.find_first_not_of(kSeparators)));
    const std::string_view text = noProxy.substr(0, noProxy.find_first_of(kSeparators));
    noProxy.remove_prefix(text.size());
    if (text.empty()) continue;
    if (text == "*") return true;
    const Entry entry = Parsed(text);
    const bool samePort = entry.port.empty() || entry.port == std::to_string(to.port);
    if (samePort && CoversHost(entry.host, to.host)) return true;
  }
  return false;
}

std::string EnvironmentProxy(const WebAddress& to, const Variables& variable) {
  std::string proxy = InEitherCase(VariableOf(to.scheme), variable);
  if (proxy.empty()) proxy = InEitherCase("all_proxy", variable);
  if (proxy.empty() || IsExcepted(InEitherCase("no_proxy", variable), to)) return {};
  return proxy.find("://") == std::string::npos ? "http://" + proxy : proxy;
}

}  // namespace pellora
