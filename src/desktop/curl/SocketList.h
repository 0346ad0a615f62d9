// SocketList: the sockets of one thread's transfer, so that another thread can end its waits.
#pragma once

#include <sys/socket.h>

#include <cstdint>
#include <mutex>
#include <set>

namespace pellora {

class SocketList {
 public:
  void Add(int fd);
  void Close(int fd);
  // Each read and write on them ends at once, now and later.
  void ShutDown();
  // What has come on those that are open.
  std::uint64_t Received() const;

 private:
  mutable std::mutex mutex_;
  std::set<int> open_;
  bool shut_ = false;
};

}  // namespace pellora
