// The harness finds faults inserted between the program and the machine.
#include <gtest/gtest.h>

#include "Life.h"

namespace pellora {
namespace {

// The first seed with a finding that holds `text`; 0 if none up to `most` has one.
std::uint64_t FoundBy(Planted planted, bool invariants, std::uint64_t most, const std::string& text = {},
                      bool web = false) {
  LifeOptions options;
  options.web = web;
  options.planted = planted;
  options.invariants = invariants;
  for (std::uint64_t seed = 1; seed <= most; ++seed) {
    for (const std::string& finding : Life(seed, options).Run()) {
      if (finding.find(text) != std::string::npos) return seed;
    }
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

TEST(PlantedFaults, ProbeThatIsLeftOpenIsFoundAsSuch) {
  EXPECT_NE(FoundBy(Planted::ProbeLeftOpen, true, 40, "its probe is open"), 0U);
}

TEST(PlantedFaults, OfTheWebEngineAreFoundWithinFewSeeds) {
  struct Case {
    Planted planted;
    std::uint64_t within;
    const char* text;
  };
  for (const Case& one : {Case{Planted::EarlyFlush, 60, "claims bytes that are not in the part file"},
                          Case{Planted::UncheckedRange, 60, "no version of the origin's"},
                          Case{Planted::PartLeft, 30, "a part file that no download needs"},
                          Case{Planted::LateJournal, 20, "renamed before the journal says so"},
                          Case{Planted::FetchLeftOpen, 20, "a request is open"}}) {
    EXPECT_NE(FoundBy(one.planted, true, one.within, one.text, true), 0U) << one.text;
  }
}

// A kill between saving the list and writing the data leaves a finished file with a hole.
TEST(PlantedFaults, AreFoundByFinishedFilesAloneIfTheListIsSavedEarly) {
  EXPECT_NE(FoundBy(Planted::ListAheadOfData, false, 1000), 0U);
}

}  // namespace
}  // namespace pellora
