#include <string>

#include "Oracle.h"
#include "Targets.h"

namespace pellora {

namespace {

// A name that excepts itself and all names below it.
bool IsPlainName(const std::string& name) {
  return !name.empty() && name.find_first_not_of("abcdefghijklmnopqrstuvwxyz-") == std::string::npos;
}

}  // namespace

void FuzzNoProxy(std::string_view bytes, const NoProxyReader& excepted) {
  const std::size_t mark = std::min(bytes.find('\x01'), bytes.size());
  const std::string list(bytes.substr(0, mark));
  const std::string_view host = bytes.substr(std::min(mark + 1, bytes.size()));
  const std::optional<WebAddress> address = ParseWebAddress("https://" + std::string(host) + "/");
  if (!address) return;
  bool any = false;
  for (const std::string& byComma : Pieces(list, ",")) {
    for (const std::string& byBlank : Pieces(byComma, " ")) {
      for (const std::string& entry : Pieces(byBlank, "\t")) {
        const bool one = excepted(entry, *address);
        any |= one;
        if (entry == "*") Demand(one, "a star excepts everything");
        const bool literal = address->host.find_first_not_of("0123456789.:") == std::string::npos ||
                             address->host.find(':') != std::string::npos;
        if (!IsPlainName(entry) || literal) continue;
        const std::string name =
            address->host.ends_with('.') ? address->host.substr(0, address->host.size() - 1) : address->host;
        Demand(one == (name == entry || name.ends_with("." + entry)), "a name excepts itself and what is below it");
      }
    }
  }
  Demand(excepted(list, *address) == any, "a list excepts what one of its entries does");

  // The empty one means a direct connection.
  const auto proxy = [&](const std::string& exceptions) {
    return EnvironmentProxy(*address, [&](const std::string& name) {
      return name == "https_proxy" ? std::string("p:1") : name == "no_proxy" ? exceptions : std::string();
    });
  };
  Demand(proxy(list) == (any ? "" : "http://p:1"), "what is excepted has no proxy");
}

}  // namespace pellora
