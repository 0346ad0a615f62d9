// The harness finds faults inserted between the program and the machine.
#include <gtest/gtest.h>

#include "Life.h"

namespace pellora {
namespace {

// The first seed that finds the fault; 0 if none up to `most` does.
std::uint64_t FoundBy(Planted planted, bool invariants, std::uint64_t most) {
  LifeOptions options;
  options.planted = planted;
  options.invariants = invariants;
  for (std::uint64_t seed = 1; seed <= most; ++seed) {
    if (!Life(seed, options).Run().empty()) return seed;
  }
  return 0;
}

TEST(PlantedFaults, AreFoundByInvariantsWithinFewSeeds) {
  struct Case {
    Planted planted;
    std::uint64_t within;
  };
  for (const Case& one :
       {Case{Planted::ListAheadOfData, 10}, Case{Planted::WrongOffset, 20}, Case{Planted::LostByte, 40},
        Case{Planted::LateBlock, 200}, Case{Planted::SocketLeftOpen, 40}}) {
    const std::uint64_t seed = FoundBy(one.planted, true, one.within);
    EXPECT_NE(seed, 0U) << static_cast<int>(one.planted);
  }
}

// A kill between saving the list and writing the data leaves a finished file with a hole.
TEST(PlantedFaults, AreFoundByFinishedFilesAloneIfTheListIsSavedEarly) {
  EXPECT_NE(FoundBy(Planted::ListAheadOfData, false, 1000), 0U);
}

}  // namespace
}  // namespace pellora
