#include "core/RoomTexts.h"

namespace pellora {

namespace {

constexpr std::uint64_t kKilobyte = 1'000;
constexpr std::uint64_t kMegabyte = 1'000'000;

struct Unit {
  std::uint64_t bytes;
  const char* name;
};

Unit UnitFor(std::uint64_t bytes) { return bytes < 10 * kMegabyte ? Unit{kKilobyte, " kB"} : Unit{kMegabyte, " MB"}; }

}  // namespace

std::string NeededRoom(std::uint64_t bytes) {
  const Unit unit = UnitFor(bytes);
  return std::to_string(bytes / unit.bytes + (bytes % unit.bytes == 0 ? 0 : 1)) + unit.name;
}

std::string FreeRoom(std::uint64_t bytes) {
  const Unit unit = UnitFor(bytes);
  return std::to_string(bytes / unit.bytes) + unit.name;
}

}  // namespace pellora
