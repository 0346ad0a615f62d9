// WebAdd: what an add gives the web engine besides the address.
#pragma once

#include <optional>
#include <string>

#include "ports/DownloadFiles.h"

namespace pellora {

// By a browser. The cookies are kept in memory alone.
struct HandOver {
  std::string referrer;  // the address of the page
  std::string cookies;   // "name=value; name=value", of the download's address; empty: none
};

struct WebAdd {
  HandOver handOver;
  // The user has confirmed that this file, which the save dialog found at the record's SavePath, be replaced.
  std::optional<FileState> replaced;
};

}  // namespace pellora
