// Seeds that once found a fault of the program.
#include <gtest/gtest.h>

#include "Life.h"
#include "soak/Shrink.h"

namespace pellora {
namespace {

TEST(FoundSeeds, NoLongerFail) {
  struct Found {
    std::uint64_t seed;
    const char* what;
    bool web = false;
  };
  for (const Found& one : {
           Found{374, "an unreadable list, and new downloads that took its part files"},
           Found{506, "the folder of an update that was never created again"},
           Found{2788, "part files deleted while the program ended with the list as last saved"},
           Found{2354, "a dropped transfer that waited for nothing and stayed forever"},
           Found{10409469, "a download restarted in part files that the list on the disk still needed"},
           Found{10424602, "the same, with another plan"},
           Found{3000657, "a part file whose line could not be written before a kill", true},
           Found{3013962, "the same on a full disk", true},
           Found{3072125, "lines that the end of the program wrote again in part, after newer ones", true},
           Found{3216970, "a journal that could be read again after the classic engine had begun its downloads", true},
       }) {
    LifeOptions options;
    options.web = one.web;
    const std::vector<std::string> wrong = Life(one.seed, options).Run();
    EXPECT_TRUE(wrong.empty()) << one.seed << ", " << one.what << ": " << wrong.front();
  }
}

// Drops every item that the failure does not need; the rest still fails.
TEST(Shrinking, KeepsOnlyWhatMakesALifeFail) {
  LifeOptions options;
  options.planted = Planted::WrongOffset;
  std::uint64_t seed = 1;
  while (Life(seed, options).Run().empty()) ++seed;
  int lives = 0;
  options.dropped = Shrink(seed, options, lives);
  const std::size_t items = MakePlan(seed).items.size();
  EXPECT_LT((items - options.dropped.size()) * 5, items);
  EXPECT_FALSE(Life(seed, options).Run().empty());
}

TEST(Shrinking, LeavesAPassingLifeUnchanged) {
  int lives = 0;
  EXPECT_TRUE(Shrink(2, {}, lives).empty());
  EXPECT_EQ(lives, 1);
}

}  // namespace
}  // namespace pellora
