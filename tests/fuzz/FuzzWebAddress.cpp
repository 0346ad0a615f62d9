#include <algorithm>
#include <string>

#include "Oracle.h"
#include "Targets.h"

namespace pellora {

namespace {

bool IsEncryptedText(const std::string& url) {
  return url.starts_with("https://") || url.starts_with("ftps://") || url.starts_with("sftp://");
}

// What is sent is printable ASCII, and names the same place when read again.
void DemandWire(const WebAddress& address) {
  const std::string wire = WireUrl(address);
  Demand(std::all_of(wire.begin(), wire.end(), [](char c) { return c > 0x20 && c < 0x7F; }),
         "what is sent is printable ASCII");
  Demand(wire == OriginOf(address) + address.path + address.query && address.path.starts_with('/'),
         "what is sent is origin, path and query");
  const std::optional<WebAddress> again = ParseWebAddress(wire);
  Demand(again.has_value(), "what is sent is an address");
  WebAddress bare = address;
  bare.user.clear();
  bare.password.clear();
  bare.fragment.clear();
  Demand(*again == bare, "what is sent names the same place");
  Demand(wire.find('#') == std::string::npos, "no fragment is sent");
  Demand(SharesSecrets(address, *again) && ReferrerFor(address, bare) == (IsHttp(address.scheme) ? wire : ""),
         "a place is of its own origin");
}

void DemandHost(const WebAddress& address) {
  Demand(!address.host.empty() && address.host.size() <= 253 && address.port != 0, "there is a host and a port");
  Demand(address.host.find_first_of("/?#@[]\\ ") == std::string::npos, "a host holds no mark of an address");
  Demand(LowerCase(address.host.substr(0, address.host.find('%'))) == address.host.substr(0, address.host.find('%')),
         "a host is in lower case");
}

// Found by other means than the parser's: the query begins at the first "?" before a "#".
void DemandQuery(const WebAddress& address, const std::string& text) {
  const std::string sent = text.substr(0, text.find('#'));
  Demand((sent.find('?') != std::string::npos) == !address.query.empty(), "a query is kept");
  Demand(text.ends_with(address.fragment) && (text.find('#') != std::string::npos) == !address.fragment.empty(),
         "a fragment is kept as it is");
}

void DemandListed(const WebAddress& address, const std::string& text) {
  const std::string listed = WithoutPassword(text);
  const std::optional<WebAddress> again = ParseWebAddress(listed);
  WebAddress cut = address;
  cut.password.clear();
  Demand(again == cut, "only the password is cut");
  Demand(WithoutPassword(listed) == listed, "a password is cut at once");
  Demand(address.password.empty() || listed != text, "a password is cut");
}

void DemandRedirect(const WebAddress& base, const std::string& location) {
  const ResolvedRedirect redirect = ResolveRedirect(base, location);
  if (redirect.fault != RedirectFault::None) return;
  DemandWire(redirect.address);
  DemandHost(redirect.address);
  const std::string target = WireUrl(redirect.address);
  Demand(!IsEncryptedText(WireUrl(base)) || IsEncryptedText(target),
         "no redirect leads from an encrypted scheme to another");
  Demand(!target.starts_with("sftp:"), "no redirect leads to sftp");
}

}  // namespace

void FuzzWebAddress(std::string_view bytes, const std::function<std::optional<WebAddress>(std::string_view)>& parse) {
  const std::size_t mark = std::min(bytes.find('\1'), bytes.size());
  const std::string text = WithoutOuterBlanks(bytes.substr(0, mark));
  const std::string location(bytes.substr(std::min(mark + 1, bytes.size())));
  const AllocationMeter meter;
  const std::optional<WebAddress> address = parse(bytes.substr(0, mark));
  // The conversion of a host has tables of its own.
  Demand(meter.Bytes() <= 32 * bytes.size() + 65536, "an address takes memory in proportion to its length");
  if (!address) return;
  Demand(!HasControls(text), "an address has no control characters");
  DemandWire(*address);
  DemandHost(*address);
  DemandQuery(*address, text);
  DemandListed(*address, text);
  DemandRedirect(*address, location);
}

}  // namespace pellora
