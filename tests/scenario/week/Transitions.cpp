#include "Transitions.h"

#include <algorithm>
#include <array>

#include "core/Record.h"

namespace pellora {

namespace {

constexpr unsigned Set(Cause cause) { return static_cast<unsigned>(cause); }

constexpr unsigned kConnected = Set(Cause::Connected);
constexpr unsigned kBlock = Set(Cause::Block);
// The user pauses, answers a question that pauses all, or makes the program pause.
constexpr unsigned kPause = Set(Cause::Act) | Set(Cause::Post) | Set(Cause::Alarm);
// For changes after a wait, since waits test their conditions after every event.
constexpr unsigned kAny = 63;

struct Change {
  std::int16_t from;
  std::int16_t to;
  unsigned causes;
};

// Over HTTP a segment goes 0, 1, 2, 3; over FTP 0, 1, 2 (greeted), 6 (logged in), 7 (RETR sent), 2, 3.
// The first block can take two steps if it fills the range.
constexpr std::array kChanges = {
    // Its socket reconnects: at a start, a resume, a stall, or when a refused login is retried.
    Change{kSegmentRequested, kSegmentUnconnected, kAny},
    Change{kSegmentReceiving, kSegmentUnconnected, kAny},
    Change{kSegmentPaused, kSegmentUnconnected, kAny},
    Change{kSegmentLoggedIn, kSegmentUnconnected, kAny},
    Change{kSegmentRetrieving, kSegmentUnconnected, kAny},
    Change{kSegmentRefused, kSegmentUnconnected, kAny},
    // Connected.
    Change{kSegmentUnconnected, kSegmentRequested, kConnected},
    // Bytes of the file, or the greeting.
    Change{kSegmentRequested, kSegmentReceiving, kBlock},
    Change{kSegmentRetrieving, kSegmentReceiving, kBlock},
    Change{kSegmentRefused, kSegmentReceiving, kBlock},  // dismissed, while its data still flowed
    // The range is complete.
    Change{kSegmentRequested, kSegmentComplete, kBlock},
    Change{kSegmentReceiving, kSegmentComplete, kBlock},
    Change{kSegmentRetrieving, kSegmentComplete, kBlock},
    Change{kSegmentRefused, kSegmentComplete, kBlock},
    // The login's half second is over.
    Change{kSegmentReceiving, kSegmentLoggedIn, kAny},
    // Reply 350. If it came in one block after a 230 or 227, its turn is after their wait.
    Change{kSegmentLoggedIn, kSegmentRetrieving, kAny},
    // Reply 421 or 530.
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
