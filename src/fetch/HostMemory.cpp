#include "fetch/HostMemory.h"

#include <algorithm>

namespace pellora {

HostMemory::Host HostMemory::Of(const std::string& origin) const {
  const auto found = hosts_.find(origin);
  return found == hosts_.end() ? Host{} : found->second;
}

void HostMemory::RefusedBeyond(const std::string& origin, int open) {
  Host& host = hosts_[origin];
  const int most = std::max(open, 1);
  host.most = host.most == 0 ? most : std::min(host.most, most);
}

void HostMemory::Accepted(const std::string& origin, int open) {
  const auto found = hosts_.find(origin);
  if (found != hosts_.end() && found->second.most > 0) found->second.most = std::max(found->second.most, open);
}

int HostMemory::MostConnections(const std::string& origin, int otherwise) const {
  const int most = Of(origin).most;
  return most == 0 ? otherwise : std::min(most, otherwise);
}

void HostMemory::SetWait(const std::string& origin, std::int64_t until) {
  Host& host = hosts_[origin];
  host.waitUntil = std::max(host.waitUntil, until);
}

std::int64_t HostMemory::WaitFor(const std::string& origin, std::int64_t now) const {
  return std::max<std::int64_t>(Of(origin).waitUntil - now, 0);
}

}  // namespace pellora
