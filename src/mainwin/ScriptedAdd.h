// ScriptedAdd: adding a download for a script, from the texts of its request. Nothing is ever asked: what cannot be
// done as requested is refused with a reason.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "mainwin/AddDownload.h"

namespace pellora {

class Program;

// What is empty is not given.
struct ScriptedAdd {
  std::string url;
  std::string folder{};  // of the file, absolute
  std::string name{};    // of the file
  std::string user{};
  std::string password{};
  std::string checksum{};   // ParseChecksum
  std::string referrer{};   // address of the page
  std::string cookies{};    // "name=value; name=value"
  std::string userAgent{};  // the browser's
  // Page, cookies and user agent are a browser's: an engine that knows none does without them.
  bool fromBrowser = false;
  std::optional<ExpectedAnswer> expected{};
  std::string at{};        // "YYYY-MM-DD HH:MM": not before then
  std::int64_t limit = 0;  // KiB/s; 0: none
  bool later = false;      // it is not started
  bool duplicate = false;  // a listed download of this address begins anew
  bool quiet = false;      // no window opens
  std::string caller{};    // who waits for a take-over, as App::CallerGone names it
  bool opensFile = false;  // the address may be a local file of addresses, where nobody could choose among them
  std::string metalink{};  // a Metalink's bytes: its files are added, and `url` is only what the script calls it
};

// One outcome for each file that is added or refused; one for an address.
std::vector<AddOutcome> AddForScript(Program& program, const ScriptedAdd& wanted);

}  // namespace pellora
