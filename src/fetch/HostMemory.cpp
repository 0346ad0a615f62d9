#include "fetch/HostMemory.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace pellora {

namespace {

constexpr std::int64_t kRemembered = std::int64_t{10} * 60 * 1000;  // ms

}  // namespace

HostMemory::Connection::Connection(HostMemory& memory, std::string origin)
    : memory_(memory), origin_(std::move(origin)) {
  ++memory_.hosts_[origin_].open;
}

HostMemory::Connection::~Connection() { --memory_.hosts_[origin_].open; }

HostMemory::Host HostMemory::Of(const std::string& origin) const {
  const auto found = hosts_.find(origin);
  return found == hosts_.end() ? Host{} : found->second;
}

void HostMemory::RefusedMore(const std::string& origin, std::int64_t now) {
  Host& host = hosts_[origin];
  host.most = std::max(host.open, 1);
  host.refusedAt = now;
}

void HostMemory::Accepted(const std::string& origin) {
  Host& host = hosts_[origin];
  if (host.most > 0) host.most = std::max(host.most, host.open);
}

int HostMemory::Room(const std::string& origin, std::int64_t now) const {
  const Host host = Of(origin);
  if (host.most == 0 || now - host.refusedAt >= kRemembered) return std::numeric_limits<int>::max();
  return std::max(host.most - host.open, 0);
}

void HostMemory::SetWait(const std::string& origin, std::int64_t until) {
  Host& host = hosts_[origin];
  host.waitUntil = std::max(host.waitUntil, until);
}

std::int64_t HostMemory::WaitFor(const std::string& origin, std::int64_t now) const {
  return std::max<std::int64_t>(Of(origin).waitUntil - now, 0);
}

}  // namespace pellora
