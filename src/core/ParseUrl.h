// ParseUrl: splits the address of a download into the fields of its record.
//
// A scan by positions, with no grammar of addresses behind it: nothing is percent-decoded, a query stays
// part of path and file name, and a port is read from an FTP address only behind a user and password.
// An address longer than the list file can keep is refused.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace pellora {

inline constexpr std::int32_t kUrlAccepted = 100;
inline constexpr std::int32_t kUrlRefused = -1;

// All but `result` means something only where the URL was accepted.
struct ParsedUrl {
  std::int32_t result = kUrlRefused;
  std::string host;
  std::int32_t port = 0;      // any number that an int32 holds; whether it is a port shows at the connect
  std::string fileName;       // behind the last "/" of path; may be empty
  std::string path;           // with its leading "/"
  std::int16_t protocol = 0;  // 1 for FTP
  std::string user;           // FTP only
  std::string password;       // FTP only
};

ParsedUrl ParseUrl(std::string_view url);

}  // namespace pellora
