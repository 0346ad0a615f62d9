// HostMemory: what the program has learned of servers while it runs, by origin (OriginOf).
//
// Times are milliseconds of a clock that never goes back.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace pellora {

class HostMemory {
 public:
  // The server has answered a range with the whole file.
  void SetTakesNoRanges(const std::string& origin) { hosts_[origin].noRanges = true; }
  bool TakesRanges(const std::string& origin) const { return !Of(origin).noRanges; }

  // The server has refused a connection while `open` of them, of all downloads together, were open. It is never
  // remembered as fewer than one.
  void RefusedBeyond(const std::string& origin, int open);
  // It has let in one more than remembered.
  void Accepted(const std::string& origin, int open);
  int MostConnections(const std::string& origin, int otherwise) const;

  // Retry-After binds the whole host. A shorter wait does not shorten the one that is known.
  void SetWait(const std::string& origin, std::int64_t until);
  // Milliseconds; 0: none.
  std::int64_t WaitFor(const std::string& origin, std::int64_t now) const;

 private:
  struct Host {
    bool noRanges = false;
    int most = 0;  // 0: not known
    std::int64_t waitUntil = 0;
  };
  Host Of(const std::string& origin) const;

  std::map<std::string, Host> hosts_;
};

}  // namespace pellora
