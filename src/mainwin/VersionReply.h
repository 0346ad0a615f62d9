// VersionReply: what one block of the version server's reply says. Each block is read separately.
#pragma once

#include <string>
#include <string_view>

namespace pellora {

struct VersionReply {
  float version = 0;  // 0 where there is no number
  std::string notes;
};

// The body begins after the first blank line, or at the fourth character if there is none; the notes after the body's
// first line end, or at its second character if there is none.
VersionReply ReadVersionReply(std::string_view block);

// The version as text without "." and ",": 5.3 gives "53".
std::string VersionDigits(float version);

}  // namespace pellora
