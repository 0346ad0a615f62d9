#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "SimLoop.h"
#include "SimPlatform.h"

namespace pellora {
namespace {

TEST(SimLoop, TicksEqualAlarmsInTheOrderAsked) {
  SimPlatform sim;
  std::string order;
  const auto first = sim.loop().NewAlarm([&] { order += "1"; });
  const auto second = sim.loop().NewAlarm([&] { order += "2"; });
  const auto third = sim.loop().NewAlarm([&] { order += "3"; });
  second->Start(50, false);
  third->Start(50, false);
  first->Start(50, false);
  sim.RunFor(50);
  EXPECT_EQ(order, "231");
}

}  // namespace
}  // namespace pellora
