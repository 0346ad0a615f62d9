// The changes of a segment's state that there may be, and what brings each about.
#pragma once

#include <cstdint>

namespace pellora {

// What an event was, as the machine sees it.
enum class Cause : unsigned {
  Connected = 1,  // a connection stands
  Block = 2,      // bytes arrived
  Alarm = 4,      // a timer ticked
  Post = 8,       // a wait went on, or a question was answered
  Act = 16,       // the user did something
  Other = 32,     // a connection failed or its peer closed
};

// False if no such event may change a state so.
bool MayChange(std::int16_t from, std::int16_t to, Cause cause);
// Any event may.
bool MayChange(std::int16_t from, std::int16_t to);

}  // namespace pellora
