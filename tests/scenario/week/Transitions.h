// Transitions: the possible changes of a segment's state, and what causes each.
#pragma once

#include <cstdint>

namespace pellora {

// Kinds of events, as the machine sees them.
enum class Cause : unsigned {
  Connected = 1,  // a connection was made
  Block = 2,      // bytes arrived
  Alarm = 4,      // a timer ticked
  Post = 8,       // a wait ended, or a question was answered
  Act = 16,       // the user acted
  Other = 32,     // a connection failed or its peer closed
};

// Whether an event of that kind may make the change.
bool MayChange(std::int16_t from, std::int16_t to, Cause cause);
// Whether any event may.
bool MayChange(std::int16_t from, std::int16_t to);

}  // namespace pellora
