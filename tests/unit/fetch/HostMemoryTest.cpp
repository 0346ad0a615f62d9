#include <gtest/gtest.h>

#include "fetch/HostMemory.h"

namespace pellora {
namespace {

TEST(HostMemory, RemembersServersWithoutRanges) {
  HostMemory memory;
  EXPECT_TRUE(memory.TakesRanges("https://a"));
  memory.SetTakesNoRanges("https://a");
  EXPECT_FALSE(memory.TakesRanges("https://a"));
  EXPECT_TRUE(memory.TakesRanges("https://b"));
}

TEST(HostMemory, RemembersHowManyConnectionsAServerTakes) {
  HostMemory memory;
  EXPECT_EQ(memory.MostConnections("https://a", 8), 8);
  memory.RefusedBeyond("https://a", 4);
  EXPECT_EQ(memory.MostConnections("https://a", 8), 4);
  EXPECT_EQ(memory.MostConnections("https://a", 2), 2);
  memory.RefusedBeyond("https://a", 6);
  EXPECT_EQ(memory.MostConnections("https://a", 8), 4);
  memory.RefusedBeyond("https://a", 0);
  EXPECT_EQ(memory.MostConnections("https://a", 8), 1);
  EXPECT_EQ(memory.MostConnections("https://b", 8), 8);
}

TEST(HostMemory, LearnsThatAServerTakesMore) {
  HostMemory memory;
  memory.Accepted("https://a", 1);
  EXPECT_EQ(memory.MostConnections("https://a", 8), 8);
  memory.SetTakesNoRanges("https://a");
  memory.Accepted("https://a", 1);
  EXPECT_EQ(memory.MostConnections("https://a", 8), 8);
  memory.RefusedBeyond("https://a", 2);
  memory.Accepted("https://a", 3);
  EXPECT_EQ(memory.MostConnections("https://a", 8), 3);
  memory.Accepted("https://a", 1);
  EXPECT_EQ(memory.MostConnections("https://a", 8), 3);
}

TEST(HostMemory, BindsAHostUntilItsTime) {
  HostMemory memory;
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
