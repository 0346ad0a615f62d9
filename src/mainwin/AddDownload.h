// AddDownload: the one way into the list.
#pragma once

#include <cstdint>
#include <string>

#include "async/Task.h"

namespace pellora {

class Program;

// Parses `url`, asks for a path or about a duplicate where that is due, takes a slot and fills its record;
// then starts it, or queues it while all transfer slots are busy. `later`: it is not started. `kind`: its
// absolute value becomes the record's DownloadKind. `caller` tells who says that a URL is bad: for one
// caller at most one such box waits.
Task<> AddDownload(Program* program, std::string url, bool later, std::int16_t kind, const void* caller);

// The slot that an added download has got, or why there is none.
struct AddOutcome {
  std::int16_t index = 0;
  std::string reason;
};

// The same for scripts, which nobody may be watching: no box, and the download starts or is queued. An address that
// is listed already is refused; the setting "SaveAs" plays no part.
AddOutcome AddWithoutAsking(Program& program, const std::string& url);

}  // namespace pellora
