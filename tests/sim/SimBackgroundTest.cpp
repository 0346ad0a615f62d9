#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "SimBackground.h"
#include "SimPlatform.h"
#include "ports/Failure.h"

namespace pellora {
namespace {

TEST(SimBackground, KeepsTheOrderAndReleasesCapturesBeforeTheReport) {
  SimPlatform sim;
  std::vector<int> done;
  const auto held = std::make_shared<int>(0);
  for (int i = 0; i < 20; ++i) {
    sim.background().Run([held] {},
                         [&, i](std::exception_ptr) {
                           EXPECT_EQ(held.use_count(), 20 - i);
                           done.push_back(i);
                         });
  }
  EXPECT_EQ(sim.background().Pending(), 20U);
  sim.RunFor(100);
  ASSERT_EQ(done.size(), 20U);
  EXPECT_TRUE(std::is_sorted(done.begin(), done.end()));
  EXPECT_EQ(sim.background().Pending(), 0U);
}

TEST(SimBackground, DeliversNothingOnceTheProgramIsDropped) {
  SimPlatform sim;
  int calls = 0;
  for (int i = 0; i < 3; ++i) sim.background().Run([&] { ++calls; }, [&](std::exception_ptr) { ++calls; });
  sim.DropProgram();
  EXPECT_EQ(sim.background().Pending(), 0U);
  sim.RunFor(100);
  EXPECT_EQ(calls, 0);
}

}  // namespace
}  // namespace pellora
