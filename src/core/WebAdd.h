// WebAdd: what an add gives the web engine besides the address.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/Checksum.h"
#include "ports/DownloadFiles.h"

namespace pellora {

// By a browser. The cookies are kept in memory alone.
struct HandOver {
  std::string referrer;  // the address of the page
  std::string cookies;   // "name=value; name=value", of the download's address; empty: none
};

struct WebAdd {
  HandOver handOver;
  std::string folder;  // of the file, absolute; empty: that of the settings
  // Login for the address's origin, kept in memory alone; empty: the one in the address, or none.
  std::string user;
  std::string password;
  std::optional<Checksum> checksum;  // of the whole file
  std::int64_t speedLimit = 0;       // bytes per second; 0: none
  std::optional<double> startAt;     // not before this date and time, in days like DateAdded
  bool quiet = false;                // added among many: no window opens by itself; in this run for either engine
  // The user has confirmed that this file, which the save dialog found at the record's SavePath, be replaced.
  std::optional<FileState> replaced;
};

}  // namespace pellora
