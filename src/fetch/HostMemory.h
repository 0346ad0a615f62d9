// HostMemory: what the program has learned of servers while it runs, by origin (OriginOf), and its connections to them.
//
// Times are milliseconds of a clock that never goes back.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace pellora {

class HostMemory {
 public:
  // Counted while it lives. The memory lives longer.
  class Connection {
   public:
    Connection(HostMemory& memory, std::string origin);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

   private:
    HostMemory& memory_;
    const std::string origin_;
  };

  // The server has refused one connection more than those that are open, of all downloads together. For ten minutes no
  // more are asked of it, but always one.
  void RefusedMore(const std::string& origin, std::int64_t now);
  void Forget(const std::string& origin) { hosts_[origin].most = 0; }  // such a refusal
  // The server serves all that are open.
  void Accepted(const std::string& origin);
  // How many more connections the server takes.
  int Room(const std::string& origin, std::int64_t now) const;

  // Retry-After binds the whole host. A shorter wait does not shorten the one that is known.
  void SetWait(const std::string& origin, std::int64_t until);
  // Milliseconds; 0: none.
  std::int64_t WaitFor(const std::string& origin, std::int64_t now) const;

 private:
  struct Host {
    int open = 0;
    int most = 0;  // 0: not known
    std::int64_t refusedAt = 0;
    std::int64_t waitUntil = 0;
  };
  Host Of(const std::string& origin) const;

  std::map<std::string, Host> hosts_;
};

}  // namespace pellora
