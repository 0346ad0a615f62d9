// RoomTexts: room on a disk as messages about too little of it say it, in MB, or in kB below 10 MB.
#pragma once

#include <cstdint>
#include <string>

namespace pellora {

std::string NeededRoom(std::uint64_t bytes);  // rounded up
std::string FreeRoom(std::uint64_t bytes);    // rounded down

}  // namespace pellora
