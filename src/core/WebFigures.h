// WebFigures: what the web engine knows of a record that the record's own fields cannot hold. Bytes count in 64 bits.
//
// A record has figures once its download was begun by the web engine. They are not in the list file: the engine's
// journal has them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>

namespace pellora {

enum class WebStanding : std::uint8_t {
  Active,  // fetching, waiting for a server, or finishing
  Paused,
  Stopped,  // by itself, with a reason
  Finished,
};

struct WebFigures {
  std::int64_t received = 0;  // bytes held
  std::int64_t size = -1;     // of the file; -1: not known
  double bytesPerSecond = 0;  // over the last seconds
  WebStanding standing = WebStanding::Active;
  // Of Stopped why, one sentence. Else what is being waited for, or what is to be known of the file, or empty.
  std::string reason;
  // Active, but another download has its place in the limit meanwhile: it waits for long, or all its bytes are here and
  // it waits for the disk.
  bool yields = false;
  bool answered = false;  // in this run: an answer was right, and there is a file for what comes
  bool inFolder = false;  // it was unpacked: its path is that of the folder
  double notBefore = 0;  // while queued: a date and time, before which the queue passes it over; in days like DateAdded
};

// Of an unfinished download whose size is known: below 100, which is for a file that has its name.
inline float UnfinishedPercent(const WebFigures& figures) {
  constexpr float kMost = 99.9F;
  const double percent = static_cast<double>(figures.received) * 100 / static_cast<double>(figures.size);
  return std::min(kMost, static_cast<float>(percent));
}

}  // namespace pellora
