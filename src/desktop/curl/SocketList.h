// SocketList: the sockets of one thread's transfer, so that another thread can end its waits.
#pragma once

#include <sys/socket.h>

#include <mutex>
#include <set>

#include "desktop/SocketBudget.h"

namespace pellora {

class SocketList {
 public:
  void Add(int fd) {
    const std::lock_guard lock(mutex_);
    open_.insert(fd);
    if (shut_) shutdown(fd, SHUT_RDWR);
  }
  void Close(int fd) {
    const std::lock_guard lock(mutex_);  // or ShutDown might meet the next owner of the number
    open_.erase(fd);
    CloseCounted(fd);
  }
  // Each read and write on them ends at once, now and later.
  void ShutDown() {
    const std::lock_guard lock(mutex_);
    shut_ = true;
    for (const int fd : open_) shutdown(fd, SHUT_RDWR);
  }

 private:
  std::mutex mutex_;
  std::set<int> open_;
  bool shut_ = false;
};

}  // namespace pellora
