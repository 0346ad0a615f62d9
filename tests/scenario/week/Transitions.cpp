#include "Transitions.h"

#include <algorithm>
#include <array>

#include "core/Record.h"

namespace pellora {

namespace {

constexpr unsigned Set(Cause cause) { return static_cast<unsigned>(cause); }

constexpr unsigned kConnected = Set(Cause::Connected);
constexpr unsigned kBlock = Set(Cause::Block);
// The user pauses, answers the question behind which everything is paused, or has the program paused.
constexpr unsigned kPause = Set(Cause::Act) | Set(Cause::Post) | Set(Cause::Alarm);
// A segment's turn comes when a wait is over, and waits look again after every event.
constexpr unsigned kAny = 63;

struct Change {
  std::int16_t from;
  std::int16_t to;
  unsigned causes;
};

// Over HTTP a segment goes 0, 1, 2, 3; over FTP 0, 1, 2 (greeted), 6 (logged in), 7 (asked for the bytes), 2, 3.
// One block can do two steps at once: the first one that fills its range.
constexpr std::array kChanges = {
    // Its socket is connected anew: at a start, a resume, a stall, or when it is let in again.
    Change{kSegmentRequested, kSegmentUnconnected, kAny},
    Change{kSegmentReceiving, kSegmentUnconnected, kAny},
    Change{kSegmentPaused, kSegmentUnconnected, kAny},
    Change{kSegmentLoggedIn, kSegmentUnconnected, kAny},
    Change{kSegmentRetrieving, kSegmentUnconnected, kAny},
    Change{kSegmentRefused, kSegmentUnconnected, kAny},
    // The connection stands.
    Change{kSegmentUnconnected, kSegmentRequested, kConnected},
    // Bytes of the file, or the greeting.
    Change{kSegmentRequested, kSegmentReceiving, kBlock},
    Change{kSegmentRetrieving, kSegmentReceiving, kBlock},
    Change{kSegmentRefused, kSegmentReceiving, kBlock},  // dismissed, while its data still flowed
    // The range is full.
    Change{kSegmentRequested, kSegmentComplete, kBlock},
    Change{kSegmentReceiving, kSegmentComplete, kBlock},
    Change{kSegmentRetrieving, kSegmentComplete, kBlock},
    Change{kSegmentRefused, kSegmentComplete, kBlock},
    // The login's half second is over.
    Change{kSegmentReceiving, kSegmentLoggedIn, kAny},
    // 350 was replied. A reply that came in one block behind a 230 or 227 has its turn when their wait is over.
    Change{kSegmentLoggedIn, kSegmentRetrieving, kAny},
    // 421 or 530 was replied.
    Change{kSegmentRequested, kSegmentRefused, kBlock},
    Change{kSegmentReceiving, kSegmentRefused, kAny},
    Change{kSegmentLoggedIn, kSegmentRefused, kAny},
    Change{kSegmentRetrieving, kSegmentRefused, kAny},
    // Paused.
    Change{kSegmentUnconnected, kSegmentPaused, kPause},
    Change{kSegmentRequested, kSegmentPaused, kPause},
    Change{kSegmentReceiving, kSegmentPaused, kPause},
    Change{kSegmentLoggedIn, kSegmentPaused, kPause},
    Change{kSegmentRetrieving, kSegmentPaused, kPause},
    Change{kSegmentRefused, kSegmentPaused, kPause},
};

unsigned CausesOf(std::int16_t from, std::int16_t to) {
  const auto at = std::find_if(kChanges.begin(), kChanges.end(),
                               [&](const Change& change) { return change.from == from && change.to == to; });
  return at == kChanges.end() ? 0 : at->causes;
}

}  // namespace

bool MayChange(std::int16_t from, std::int16_t to, Cause cause) { return (CausesOf(from, to) & Set(cause)) != 0; }

bool MayChange(std::int16_t from, std::int16_t to) { return CausesOf(from, to) != 0; }

}  // namespace pellora
