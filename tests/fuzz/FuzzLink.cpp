#include <set>
#include <string>

#include "Oracle.h"
#include "Targets.h"

namespace pellora {

namespace {

const char* const kBase = "https://o.example/dir/a.bin?x=1";

std::string Written(const Mirror& mirror) {
  std::string text = "<" + mirror.url + ">; rel=\"x duplicate\"; pri=" + std::to_string(mirror.priority);
  if (!mirror.location.empty()) text += "; geo=" + mirror.location;
  return text;
}

}  // namespace

void FuzzLink(std::string_view bytes, const LinkReader& read) {
  const WebAddress base = *ParseWebAddress(kBase);
  FetchAnswer answer;
  for (const std::string& line : Pieces(std::string(bytes), "\n")) answer.headers.push_back({"Link", line});
  const std::vector<Mirror> mirrors = read(answer, base);
  Demand(mirrors.size() <= kMostMirrors, "mirrors are not too many");
  std::set<std::string> urls;
  int last = 1;
  FetchAnswer together;
  FetchAnswer apart;
  std::string all;
  for (const Mirror& mirror : mirrors) {
    const std::optional<WebAddress> address = ParseWebAddress(mirror.url);
    Demand(address && WireUrl(*address) == mirror.url, "a mirror is an address as it is sent");
    Demand(urls.insert(mirror.url).second && mirror.url != WireUrl(base), "no mirror twice, nor the address itself");
    Demand(mirror.priority >= last && mirror.priority <= kLastPriority, "mirrors are in the order of their priority");
    Demand(mirror.location.empty() || mirror.location.size() == 2, "a location is two letters");
    last = mirror.priority;
    all += (all.empty() ? "" : ", ") + Written(mirror);
    apart.headers.push_back({"LINK", Written(mirror)});
  }
  together.headers.push_back({"link", all});
  if (all.size() < 65536) Demand(read(together, base) == mirrors, "mirrors in one header are read as they were");
  Demand(read(apart, base) == mirrors, "mirrors in a header each are read as they were");
  const std::optional<WebAddress> description = DescriptionIn(answer, base);
  Demand(!description || (IsHttp(description->scheme) && IsEncrypted(description->scheme)),
         "a description of an encrypted address is encrypted");
  std::string plain = LowerCase(std::string(bytes));
  std::erase(plain, '\\');  // of quoted strings
  Demand(!description || plain.find("describedby") != std::string::npos, "only describedby names a description");
  Demand(mirrors.empty() || plain.find("duplicate") != std::string::npos, "only duplicates are mirrors");
}

}  // namespace pellora
