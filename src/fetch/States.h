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
  Question,      // login, key or changed file, and no lane flows
  AnswerYes,
  AnswerNo,
  NetworkOrTimeBack,
  DiskFailed,  // a write or flush failed, or the part file is another
  Renamed,
  HashWrong,
  Reloaded,         // the program was ended and is started again
  ReloadedRenamed,  // the same, and the file has been renamed
};
inline constexpr int kFetchEvents = 16;

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
  WrongAnswer,
  Block,
  EndReached,
  Lost,                 // ended early, lost or silent
  Busy,                 // 429 or 503, and no other lane flows
  BusyWhileOthersFlow,  // the same, and others do
  Due,                  // the wait is over
  SiblingEnded,
  LastSiblingLost,  // the last lane that flowed
  Stop,             // pause, stop or unload
};
inline constexpr int kLaneEvents = 12;

LaneState StateAfter(LaneState state, LaneEvent event);

}  // namespace pellora
