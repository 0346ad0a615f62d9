#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "SimPlatform.h"
#include "async/InBackground.h"
#include "async/TaskLoop.h"
#include "ports/Failure.h"

namespace pellora {
namespace {

Task<> Wait(const Platform* platform, Background::Work work, std::string* outcome) {
  try {
    co_await InBackground(platform, std::move(work));
    *outcome = "done";
  } catch (const Failure& failure) {
    *outcome = failure.what();
  }
}

TEST(InBackground, WaitsForTheEndAndRethrowsAFailure) {
  SimPlatform sim;
  std::string good;
  std::string bad;
  sim.Do([&] {
    sim.tasks().Spawn(Wait(
        &sim.platform(), [] {}, &good));
  });
  sim.Do([&] {
    sim.tasks().Spawn(Wait(
        &sim.platform(), [] { throw Failure(FailureNumber::File, "gone"); }, &bad));
  });
  EXPECT_EQ(good + bad, "");
  sim.RunFor(20);
  EXPECT_EQ(good, "done");
  EXPECT_EQ(bad, "gone");
  EXPECT_EQ(sim.tasks().RunningTasks(), 0U);
}

}  // namespace
}  // namespace pellora
