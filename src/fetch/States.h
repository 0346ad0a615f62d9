// States: what becomes of a download and of a lane at each event, as two tables.
//
// Events of an older run of a download are dropped before they come here. An event that cannot happen in a state is a
// fault of the engine: Failure(InvalidCall), whose text names both.
#pragma once

#include <cstdint>

namespace pellora {

enum class FetchState : std::uint8_t {
  Waiting,    // for a place in the queue
  Opening,    // the first request is on its way
  Running,    // bytes come on one lane at least
  Holding,    // no lane is left; tries remain
  Asking,     // the user is to decide
  Finishing,  // all bytes are held: flush, hash, rename
  Paused,
  Stopped,  // with a reason
  Done,
};
inline constexpr int kFetchStates = 9;

enum class FetchEvent : std::uint8_t {
  Start,         // start or resume, and there is a place
  StartNoPlace,  // the same without a place
  Pause,
  FirstAnswerRight,
  AllBytesHeld,
  LastLaneLost,  // and tries are left
  GivenUp,       // tries spent, or refused for good
  Question,      // key, changed file or missing part, and no lane flows
  AnswerNo,      // a yes is a pause, and a start
  NetworkOrTimeBack,
  DiskFailed,  // a write or flush failed, or the part file is another
  Renamed,
};
inline constexpr int kFetchEvents = 12;

// The same state where the event means nothing.
FetchState StateAfter(FetchState state, FetchEvent event);

enum class LaneState : std::uint8_t {
  Idle,
  Connecting,  // up to the checked answer
  Receiving,
  BackingOff,
  Refused,  // the server takes no more connections
};
inline constexpr int kLaneStates = 5;

enum class LaneEvent : std::uint8_t {
  PieceGiven,
  RightAnswer,
  Lost,     // ended early, refused or silent, after Stop; others are open
  OneMore,  // the server takes no more connections, or this one has been refused for good; after Stop
  Again,    // the wait is over, or there is room
  Stop,     // closed: its piece is done or given back
};
inline constexpr int kLaneEvents = 6;

LaneState StateAfter(LaneState state, LaneEvent event);

}  // namespace pellora
