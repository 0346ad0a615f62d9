// ParseUrl: splits the address of a download into the fields of its record.
//
// A scan by positions rather than a URL grammar: nothing is percent-decoded, a query stays part of path and file name,
// and an FTP address has a port only after a user and password. Addresses longer than the list file can keep are
// refused.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace pellora {

inline constexpr std::int32_t kUrlAccepted = 100;
inline constexpr std::int32_t kUrlRefused = -1;

// The other fields mean nothing if `result` refuses the URL.
struct ParsedUrl {
  std::int32_t result = kUrlRefused;
  std::string host;
  std::int32_t port = 0;      // any int32; only connecting tells whether it is a port
  std::string fileName;       // after the last "/" of path; may be empty
  std::string path;           // with its leading "/"
  std::int16_t protocol = 0;  // 1 for FTP
  std::string user;           // FTP only
  std::string password;       // FTP only
};

ParsedUrl ParseUrl(std::string_view url);

}  // namespace pellora
