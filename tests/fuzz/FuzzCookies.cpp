#include <algorithm>
#include <string>
#include <vector>

#include "Oracle.h"
#include "Targets.h"

namespace pellora {

namespace {

constexpr std::int64_t kNow = 1'900'000'000;

// The names of cookies that may be sent, found by other means than the reader's: every field is looked at for what it
// allows, and nothing else.
bool MayBeSent(std::vector<std::string> fields, const WebAddress& address) {
  if (fields.size() != 7) return false;
  std::string domain = LowerCase(fields[0]);
  const std::string httpOnly = "#httponly_";
  if (domain.starts_with(httpOnly)) domain.erase(0, httpOnly.size());
  if (domain.starts_with('.')) domain.erase(0, 1);
  const bool own = domain == address.host;
  const bool above = ("." + address.host).ends_with("." + domain) && domain.find('.') != std::string::npos &&
                     LowerCase(fields[1]) == "true";
  const bool inPath = address.path.starts_with(fields[2]) && fields[2].starts_with('/');
  const bool scheme =
      address.scheme == WebScheme::Https || (address.scheme == WebScheme::Http && LowerCase(fields[3]) != "true");
  return (own || above) && inPath && scheme;
}

}  // namespace

void FuzzCookies(std::string_view bytes, const CookieChooser& choose) {
  const std::size_t cut = std::min(bytes.find('\1'), bytes.size());
  const std::optional<WebAddress> address = ParseWebAddress(bytes.substr(0, cut));
  const std::string file(bytes.substr(std::min(cut + 1, bytes.size())));
  if (!address) return;
  const std::string pairs = choose(ReadCookieFile(file), *address, kNow);
  Demand(!HasControls(pairs), "no control character is sent");
  Demand(pairs.size() <= file.size() + Pieces(file, "\n").size(), "nothing is sent that the file does not have");
  if (pairs.empty()) return;
  std::vector<std::string> allowed;
  for (std::string line : Pieces(file, "\n")) {
    if (line.ends_with('\r')) line.pop_back();
    const std::vector<std::string> fields = Pieces(line, "\t");
    if (MayBeSent(fields, *address)) allowed.push_back(fields[5] + "=" + fields[6]);
  }
  std::vector<std::string> names;
  for (const std::string& pair : Pieces(pairs, "; ")) {
    Demand(std::count(allowed.begin(), allowed.end(), pair) > 0, "only cookies of this host, path and scheme are sent");
    names.push_back(pair.substr(0, pair.find('=')));
  }
  std::sort(names.begin(), names.end());
  Demand(std::adjacent_find(names.begin(), names.end()) == names.end(), "each name is sent once");
}

}  // namespace pellora
