#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <vector>

#include "fetch/HostMemory.h"

namespace pellora {
namespace {

constexpr int kAny = std::numeric_limits<int>::max();
constexpr std::int64_t kTenMinutes = 600'000;

class HostMemoryTest : public testing::Test {
 protected:
  void Open(int connections) {
    for (int i = 0; i < connections; ++i) {
      open.push_back(std::make_unique<HostMemory::Connection>(memory, "https://a"));
    }
  }

  HostMemory memory;
  std::vector<std::unique_ptr<HostMemory::Connection>> open;
};

TEST_F(HostMemoryTest, CountsTheConnectionsOfAllDownloads) {
  Open(4);
  EXPECT_EQ(memory.Room("https://a", 0), kAny);
  memory.RefusedMore("https://a", 0);
  EXPECT_EQ(memory.Room("https://a", 0), 0);
  EXPECT_EQ(memory.Room("https://b", 0), kAny);
  open.pop_back();
  EXPECT_EQ(memory.Room("https://a", 0), 1);
  open.clear();
  EXPECT_EQ(memory.Room("https://a", 0), 4);
}

TEST_F(HostMemoryTest, AlwaysLeavesOneConnection) {
  memory.RefusedMore("https://a", 0);
  EXPECT_EQ(memory.Room("https://a", 0), 1);
}

TEST_F(HostMemoryTest, LearnsThatAServerTakesMore) {
  memory.Accepted("https://a");
  EXPECT_EQ(memory.Room("https://a", 0), kAny);
  Open(2);
  memory.RefusedMore("https://a", 0);
  Open(1);
  memory.Accepted("https://a");
  open.clear();
  EXPECT_EQ(memory.Room("https://a", 0), 3);
  Open(1);
  memory.Accepted("https://a");
  EXPECT_EQ(memory.Room("https://a", 0), 2);
}

TEST_F(HostMemoryTest, ForgetsARefusalAfterTenMinutes) {
  Open(2);
  memory.RefusedMore("https://a", 1000);
  EXPECT_EQ(memory.Room("https://a", kTenMinutes + 999), 0);
  EXPECT_EQ(memory.Room("https://a", kTenMinutes + 1000), kAny);
}

TEST_F(HostMemoryTest, ForgetsARefusalOnRequest) {
  Open(2);
  memory.RefusedMore("https://a", 0);
  memory.Forget("https://a");
  EXPECT_EQ(memory.Room("https://a", 0), kAny);
}

TEST_F(HostMemoryTest, BindsAHostUntilItsTime) {
  EXPECT_EQ(memory.WaitFor("https://a", 1000), 0);
  memory.SetWait("https://a", 31000);
  memory.SetWait("https://a", 2000);
  EXPECT_EQ(memory.WaitFor("https://a", 1000), 30000);
  EXPECT_EQ(memory.WaitFor("https://a", 31000), 0);
  EXPECT_EQ(memory.WaitFor("https://a", 99000), 0);
  EXPECT_EQ(memory.WaitFor("https://b", 1000), 0);
}

}  // namespace
}  // namespace pellora
