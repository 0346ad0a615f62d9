// AddDownload: the one way into the list.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "async/Task.h"
#include "core/WebAdd.h"

namespace pellora {

class Program;

// What is to be added, and how.
struct AddRequest {
  std::string url;
  bool later = false;            // does not start it
  std::int16_t kind = 0;         // its absolute value becomes the record's DownloadKind
  const void* caller = nullptr;  // each caller has at most one box about a bad URL
  // Where the file is to be saved, absolute, and its name. If either is given, the setting "SaveAs" is ignored; what is
  // empty is that of the settings and of the server.
  std::string folder{};
  std::string name{};
  bool duplicate = false;  // of AddWithoutAsking: a listed download of this address begins anew
  // Of the download that this one replaces; it keeps the id, of which the first is a part, and the place in the queue.
  std::optional<double> added{};
  std::optional<std::int64_t> queuePlace{};
  WebAdd web{};  // for the web engine; the classic one ignores all but the login for an FTP server
};

// Parses the address, asks for a path or about a duplicate if necessary, takes a slot and fills its record; then starts
// it, or queues it while all transfer slots are busy. A listed download that has stopped for want of cookies takes
// those of `web` and continues.
Task<> AddDownload(Program* program, AddRequest request);

// The path that the request asks for; nothing if it is the settings' to say, or the server's.
std::optional<std::string> PathAskedFor(const Program& program, const AddRequest& request);

// Why a file cannot be saved there, in English; empty if it can, or if both are empty.
std::string FaultOfPlace(const std::string& folder, const std::string& name);

// The slot of an added download, or why it has none.
struct AddOutcome {
  std::int16_t index = 0;
  std::string reason;
};

// The same for scripts, which may run unattended: never asks, refuses a listed address unless it is to begin anew, and
// ignores the setting "SaveAs". One that is added for later is not queued either.
AddOutcome AddWithoutAsking(Program& program, const AddRequest& request);

}  // namespace pellora
