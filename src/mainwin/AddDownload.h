// AddDownload: the one way into the list.
#pragma once

#include <cstdint>
#include <string>

#include "async/Task.h"
#include "core/WebAdd.h"

namespace pellora {

class Program;

// Parses `url`, asks for a path or about a duplicate if necessary, takes a slot and fills its record; then starts it,
// or queues it while all transfer slots are busy. `later`: does not start it. `kind`: its absolute value becomes the
// record's DownloadKind. `caller`: each caller has at most one box about a bad URL. `handOver` is for the web engine; a
// listed download that has stopped for want of cookies takes it and continues.
Task<> AddDownload(Program* program, std::string url, bool later, std::int16_t kind, const void* caller,
                   HandOver handOver);
Task<> AddDownload(Program* program, std::string url, bool later, std::int16_t kind, const void* caller);

// The slot of an added download, or why it has none.
struct AddOutcome {
  std::int16_t index = 0;
  std::string reason;
};

// The same for scripts, which may run unattended: never asks, refuses a listed address, and ignores the setting
// "SaveAs".
AddOutcome AddWithoutAsking(Program& program, const std::string& url);

}  // namespace pellora
