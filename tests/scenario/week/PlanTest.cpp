#include <gtest/gtest.h>

#include "Plan.h"

namespace pellora {
namespace {

TEST(LifePlans, OmitDroppedItems) {
  const std::string text = PlanText(MakePlan(7), {0});
  EXPECT_EQ(text.find("  0: "), std::string::npos);
  EXPECT_NE(text.find("  1: "), std::string::npos);
}

TEST(LifePlans, WriteNumbersAsRangesAndReadThemBack) {
  const std::set<int> numbers = {1, 2, 3, 7, 9, 10};
  EXPECT_EQ(WriteNumbers(numbers), "1-3,7,9-10");
  EXPECT_EQ(ReadNumbers("1-3,7,9-10"), numbers);
  EXPECT_TRUE(ReadNumbers("").empty());
}

}  // namespace
}  // namespace pellora
