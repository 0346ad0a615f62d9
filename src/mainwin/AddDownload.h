// AddDownload: the one way into the list.
#pragma once

#include <cstdint>
#include <string>

#include "platform/Task.h"

namespace pellora {

class Program;

// Parses `url`, asks for a path or about a duplicate where that is due, takes a slot and fills its record;
// then starts it, or queues it while all transfer slots are busy. `later`: it is not started. `kind`: its
// absolute value becomes the record's DownloadKind. `caller` tells who says that a URL is bad: for one
// caller at most one such box waits.
Task<> AddDownload(Program* program, std::string url, bool later, std::int16_t kind, const void* caller);

}  // namespace pellora
