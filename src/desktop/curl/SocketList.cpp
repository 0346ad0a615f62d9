#include "desktop/curl/SocketList.h"

#include <linux/tcp.h>  // its tcp_info counts bytes, that of netinet/tcp.h does not
#include <netinet/in.h>

#include "desktop/SocketBudget.h"

namespace pellora {

namespace {

std::uint64_t ReceivedOn(int fd) {
  tcp_info info{};
  socklen_t size = sizeof info;
  return getsockopt(fd, IPPROTO_TCP, TCP_INFO, &info, &size) == 0 ? info.tcpi_bytes_received : 0;
}

}  // namespace

void SocketList::Add(int fd) {
  const std::lock_guard lock(mutex_);
  open_.insert(fd);
  if (shut_) shutdown(fd, SHUT_RDWR);
}

void SocketList::Close(int fd) {
  const std::lock_guard lock(mutex_);  // or ShutDown might meet the next owner of the number
  if (open_.erase(fd) > 0) closedReceived_ += ReceivedOn(fd);
  CloseCounted(fd);
}

void SocketList::ShutDown() {
  const std::lock_guard lock(mutex_);
  shut_ = true;
  for (const int fd : open_) shutdown(fd, SHUT_RDWR);
}

std::uint64_t SocketList::Received() const {
  const std::lock_guard lock(mutex_);
  std::uint64_t bytes = closedReceived_;
  for (const int fd : open_) bytes += ReceivedOn(fd);
  return bytes;
}

}  // namespace pellora
