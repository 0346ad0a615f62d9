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
  std::uint64_t Received() const;  // bytes on all of them so far

 private:
  mutable std::mutex mutex_;
  std::set<int> open_;
  std::uint64_t closedReceived_ = 0;
  bool shut_ = false;
};

}  // namespace pellora
