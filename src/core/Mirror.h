// Mirror: another address of a file, as a Metalink (RFC 5854) or a server's Link headers (RFC 6249) name it.
#pragma once

#include <cstddef>
#include <string>

namespace pellora {

inline constexpr int kLastPriority = 999999;         // also of a mirror without one
inline constexpr std::size_t kLongestMirror = 2048;  // bytes of an address
inline constexpr std::size_t kMostMirrors = 32;      // of one file; the first ones by priority are kept

struct Mirror {
  std::string url;               // that ParseWebAddress takes; without password
  int priority = kLastPriority;  // 1 is asked first
  std::string location;          // ISO 3166-1, two small letters; empty: not known
  std::string fault;             // why it is not used any more, for the user; empty: it is

  bool operator==(const Mirror&) const = default;
};

}  // namespace pellora
