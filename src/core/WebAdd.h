// WebAdd: what an add gives the web engine besides the address.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/Checksum.h"
#include "core/Mirror.h"
#include "core/Pieces.h"
#include "ports/DownloadFiles.h"

namespace pellora {

struct Selection;

// What a browser's own request has got. The download is taken over from the browser only if the web engine gets the
// same.
struct ExpectedAnswer {
  std::int64_t size = -1;  // bytes of the file; -1: not stated
  std::string type{};      // media type, without parameters; empty: none

  bool operator==(const ExpectedAnswer&) const = default;
};

// By a browser. It is kept in memory alone.
struct HandOver {
  std::string referrer{};   // the address of the page
  std::string cookies{};    // "name=value; name=value", of the download's address; empty: none
  std::string userAgent{};  // the browser's, which servers may have tied the cookies to; empty: Pellora's own
  std::optional<ExpectedAnswer> expected{};  // until it has come; nothing is expected of any other download

  bool IsEmpty() const { return referrer.empty() && cookies.empty() && userAgent.empty() && !expected; }
  bool operator==(const HandOver&) const = default;
};

struct WebAdd {
  HandOver handOver;
  std::string folder;  // of the file, absolute; empty: that of the settings
  // Login for the address's origin, kept in memory alone; empty: the one in the address, or none.
  std::string user;
  std::string password;
  std::optional<Checksum> checksum;  // of the whole file
  std::optional<PieceHashes> pieces;
  bool hashesAreSafe = true;      // checksum and pieces are the user's, or came by an encrypted connection
  std::int64_t size = -1;         // that the file is to have, bytes; -1: not known
  std::vector<Mirror> mirrors;    // besides the address
  std::int64_t speedLimit = 0;    // bytes per second; 0: none
  std::optional<double> startAt;  // not before this date and time, in days like DateAdded
  bool quiet = false;             // added among many: no window opens by itself; in this run for either engine
  // A Metalink names it: it is kept even if it is one, since two that name each other never end.
  bool ofMetalink = false;
  // Only this of the archive at the address is fetched, and unpacked; null: the file as it is.
  std::shared_ptr<const Selection> selection;
  std::string archivePassword;  // kept in memory alone
  // The user has confirmed that this file, which the save dialog found at the record's SavePath, be replaced.
  std::optional<FileState> replaced;

  bool operator==(const WebAdd&) const = default;
};

}  // namespace pellora
