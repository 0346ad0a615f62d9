#include "fetch/LinkHeader.h"

#include <algorithm>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "core/Ascii.h"
#include "core/Metalink.h"
#include "fetch/ReplyHeads.h"

namespace pellora {

namespace {

constexpr std::size_t kLongestHeader = std::size_t{64} << 10;  // bytes; what follows is not read

// Cuts blanks off the front.
void SkipBlanks(std::string_view& text) { text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size())); }

bool Take(std::string_view& text, char c) {
  SkipBlanks(text);
  if (!text.starts_with(c)) return false;
  text.remove_prefix(1);
  return true;
}

std::string_view TakeToken(std::string_view& text) {
  SkipBlanks(text);
  const std::string_view token = text.substr(0, text.find_first_of(" \t=;,\""));
  text.remove_prefix(token.size());
  return token;
}

// Nothing for one without an end (RFC 9110, section 5.6.4).
std::optional<std::string> TakeQuoted(std::string_view& text) {
  std::string value;
  for (std::size_t i = 1; i < text.size(); ++i) {
    if (text[i] == '"') {
      text.remove_prefix(i + 1);
      return value;
    }
    if (text[i] == '\\' && i + 1 < text.size()) ++i;
    value += text[i];
  }
  return {};
}

struct Link {
  std::string_view target;
  std::string rel, pri, geo, type;
  bool anchored = false;  // says something of another file than the one that was asked for
};

// The first parameter of each name counts (RFC 8288, section 3.4.1).
void SetParameter(Link& link, std::string_view name, std::string value) {
  for (const auto& [known, place] : {std::pair{"rel", &link.rel}, std::pair{"pri", &link.pri},
                                     std::pair{"geo", &link.geo}, std::pair{"type", &link.type}}) {
    if (EqualsNoCase(name, known) && place->empty()) *place = value;
  }
  link.anchored |= EqualsNoCase(name, "anchor");
}

// The next link of a header, cut off its front.
std::optional<Link> TakeLink(std::string_view& text) {
  bool more = true;
  while (more) more = Take(text, ',');
  if (!Take(text, '<')) return {};
  const std::size_t end = text.find('>');
  if (end == std::string_view::npos) return {};
  Link link;
  link.target = text.substr(0, end);
  text.remove_prefix(end + 1);
  while (Take(text, ';')) {
    const std::string_view name = TakeToken(text);
    std::string value;
    if (Take(text, '=')) {
      SkipBlanks(text);
      std::optional<std::string> read;
      if (text.starts_with('"')) {
        read = TakeQuoted(text);
      } else {
        read = std::string(TakeToken(text));
      }
      if (!read) return {};
      value = std::move(*read);
    }
    SetParameter(link, name, std::move(value));
  }
  SkipBlanks(text);
  if (!text.empty() && text.front() != ',') return {};
  return link;
}

bool HasRelation(std::string_view relations, std::string_view wanted) {
  for (SkipBlanks(relations); !relations.empty(); SkipBlanks(relations)) {
    const std::string_view one = relations.substr(0, relations.find_first_of(" \t"));
    if (EqualsNoCase(one, wanted)) return true;
    relations.remove_prefix(one.size());
  }
  return false;
}

// Of a link of that relation to the file that was asked for.
std::optional<WebAddress> TargetOf(const Link& link, std::string_view relation, const WebAddress& base) {
  if (link.anchored || !HasRelation(link.rel, relation) || link.target.empty()) return {};
  std::optional<WebAddress> address = ParseWebAddress(link.target);
  if (address) return address;
  const ResolvedRedirect resolved = ResolveRedirect(base, link.target);
  return resolved.fault == RedirectFault::None ? std::optional(resolved.address) : std::nullopt;
}

std::optional<Mirror> MirrorOf(const Link& link, const WebAddress& base) {
  const std::optional<WebAddress> address = TargetOf(link, "duplicate", base);
  if (!address) return {};
  Mirror mirror;
  mirror.url = WireUrl(*address);
  if (mirror.url.size() > kLongestMirror || mirror.url == WireUrl(base)) return {};
  const std::int64_t priority = ParseLength(link.pri).value_or(0);
  if (priority >= 1 && priority < kLastPriority) mirror.priority = static_cast<int>(priority);
  const auto isLetter = [](char c) { return ToLower(c) >= 'a' && ToLower(c) <= 'z'; };
  if (link.geo.size() == 2 && std::all_of(link.geo.begin(), link.geo.end(), isLetter))
    mirror.location = ToLower(link.geo);
  return mirror;
}

std::vector<Link> LinksOf(const FetchAnswer& answer) {
  std::vector<Link> links;
  for (std::string_view text : HeadersOf(answer, "Link")) {
    text = text.substr(0, kLongestHeader);
    while (std::optional<Link> link = TakeLink(text)) links.push_back(std::move(*link));
  }
  return links;
}

}  // namespace

std::vector<Mirror> MirrorsIn(const FetchAnswer& answer, const WebAddress& base) {
  std::vector<Mirror> mirrors;
  std::set<std::string> known;
  for (const Link& link : LinksOf(answer)) {
    std::optional<Mirror> mirror = MirrorOf(link, base);
    if (mirror && known.insert(mirror->url).second) mirrors.push_back(std::move(*mirror));
  }
  std::stable_sort(mirrors.begin(), mirrors.end(),
                   [](const Mirror& a, const Mirror& b) { return a.priority < b.priority; });
  if (mirrors.size() > kMostMirrors) mirrors.resize(kMostMirrors);
  return mirrors;
}

std::optional<WebAddress> DescriptionIn(const FetchAnswer& answer, const WebAddress& base) {
  for (const Link& link : LinksOf(answer)) {
    const std::optional<WebAddress> address = TargetOf(link, "describedby", base);
    if (!address || !EqualsNoCase(link.type, kMetalinkType) || !IsHttp(address->scheme)) continue;
    if (!IsEncrypted(base.scheme) || IsEncrypted(address->scheme)) return address;
  }
  return {};
}

}  // namespace pellora
