#include <gtest/gtest.h>

#include "SimPlatform.h"
#include "core/WebTexts.h"

namespace pellora {
namespace {

TEST(FillText, PutsEachValueInItsPlaces) {
  EXPECT_EQ(FillText("Retry in %1 s", {"8"}), "Retry in 8 s");
  EXPECT_EQ(FillText("%2 of %1, %1", {"a", "b"}), "b of a, a");
  EXPECT_EQ(FillText("%3%1", {"a", "b", "c"}), "ca");
  EXPECT_EQ(FillText("no place", {"8"}), "no place");
}

TEST(FillText, LeavesOtherPercentSignsAndDropsPlacesWithoutAValue) {
  EXPECT_EQ(FillText("100% %4 %", {"8"}), "100% %4 %");
  EXPECT_EQ(FillText("a%2b", {"8"}), "ab");
}

TEST(FillText, DoesNotSearchWhatItInserts) { EXPECT_EQ(FillText("%1 %2", {"%2", "x"}), "%2 x"); }

TEST(WebTexts, AreEnglishBeforeAnyLanguageIsRead) {
  SimPlatform sim;
  const Program program(sim.platform());
  EXPECT_EQ(TextOf(program, WebText::Connecting), "Connecting");
  EXPECT_EQ(program.Text(805), "");  // belongs to the basket
}

}  // namespace
}  // namespace pellora
