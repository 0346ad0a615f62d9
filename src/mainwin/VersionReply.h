// VersionReply: what one block of the version server's reply says. Every block is read for itself.
#pragma once

#include <string>
#include <string_view>

namespace pellora {

struct VersionReply {
  float version = 0;  // 0 where there is no number
  std::string notes;
};

// The body begins behind the first blank line, or at the fourth character if there is none; the notes
// behind the body's first line end, or at its second character if there is none.
VersionReply ReadVersionReply(std::string_view block);

// The version as text without any "." and ",": 5.3 gives "53".
std::string VersionDigits(float version);

}  // namespace pellora
